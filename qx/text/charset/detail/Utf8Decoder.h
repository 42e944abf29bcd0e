#pragma once

// UTF-8 to UTF-16 with the vectors of one instruction set; Utf8Encoder.h says how a source includes
// this.
//
// A step takes a vector of bytes that begins at a character boundary. For every position it
// computes, all positions at once, the unit of a character that would end there, from the byte
// itself and the two before it. A four-byte character gives its high surrogate at its third byte
// and its low one at its fourth. Positions that give no unit are then squeezed out. What the block
// cuts off at its end is left to the next step.

#include <algorithm>
#include <array>
#include <cstring>

#include <qx/text/charset/detail/RunCoder.h>
#include <qx/text/charset/detail/WideVectors.h>

namespace qx::text::charset::detail::QX_VECTOR_SPACE {

namespace {

/// Kinds of fault that two neighbouring bytes can show, a bit each. A pair is faulty when the
/// three tables below, asked with the nibbles of the first byte and the high nibble of the second,
/// agree on a bit. (The look-up scheme of Keiser and Lemire.)
enum PairFault : uint8_t {
    TooShort = 0x01,      // a lead without continuation
    TooLong = 0x02,       // a continuation behind ASCII
    ThreeOverlong = 0x04, // E0 80..9F
    SurrogateHalf = 0x08, // ED A0..BF
    TwoOverlong = 0x10,   // C0, C1
    TooLarge = 0x20,      // F4 90..BF, F5..FF 90..BF
    FourOverlong = 0x40,  // F0 80..8F; also F5..FF 80..8F
    TwoContinuations = 0x80,
};

using Nibbles = std::array<uint8_t, 16>;

constexpr Nibbles FirstHigh = [] {
    Nibbles faults{};
    for (size_t nibble = 0x0; nibble <= 0x7; ++nibble)
        faults[nibble] = TooLong;
    for (size_t nibble = 0x8; nibble <= 0xB; ++nibble)
        faults[nibble] = TwoContinuations;
    faults[0xC] = TooShort | TwoOverlong;
    faults[0xD] = TooShort;
    faults[0xE] = TooShort | ThreeOverlong | SurrogateHalf;
    faults[0xF] = TooShort | TooLarge | FourOverlong;
    return faults;
}();

constexpr Nibbles FirstLow = [] {
    Nibbles faults{};
    for (auto& fault : faults)
        fault = TooShort | TooLong | TwoContinuations;
    faults[0x0] |= TwoOverlong | ThreeOverlong | FourOverlong;
    faults[0x1] |= TwoOverlong;
    faults[0x4] |= TooLarge;
    for (size_t nibble = 0x5; nibble <= 0xF; ++nibble)
        faults[nibble] |= TooLarge | FourOverlong;
    faults[0xD] |= SurrogateHalf;
    return faults;
}();

constexpr Nibbles SecondHigh = [] {
    constexpr uint8_t anyContinuation = TooLong | TwoOverlong | TwoContinuations;
    Nibbles faults{};
    for (auto& fault : faults)
        fault = TooShort;
    faults[0x8] = anyContinuation | ThreeOverlong | FourOverlong;
    faults[0x9] = anyContinuation | ThreeOverlong | TooLarge;
    faults[0xA] = faults[0xB] = anyContinuation | SurrogateHalf | TooLarge;
    return faults;
}();

/// The constants of a step; b0F has 0x0F in every byte.
struct DecodeConstants {
    Vector b03 = repeated(0x0303);
    Vector b07 = repeated(0x0707);
    Vector b0F = repeated(0x0F0F);
    Vector b3F = repeated(0x3F3F);
    Vector b40 = repeated(0x4040);
    Vector b60 = repeated(0x6060);
    Vector b70 = repeated(0x7070);
    Vector b80 = repeated(0x8080);
    Vector bC0 = repeated(0xC0C0);
    Vector bD8 = repeated(0xD8D8);
    Vector bDC = repeated(0xDCDC);
    Vector bEF = repeated(0xEFEF);
    Vector bF0 = repeated(0xF0F0);
    Vector bFC = repeated(0xFCFC);
    Vector bFE = repeated(0xFEFE);
    Vector firstHigh = nibbleTable(FirstHigh);
    Vector firstLow = nibbleTable(FirstLow);
    Vector secondHigh = nibbleTable(SecondHigh);

    constexpr DecodeConstants() = default;
    /// One by one, into registers as far as these go; a copy at once would stay in memory.
    QX_INLINE_VECTOR DecodeConstants(const DecodeConstants& other)
        : b03(other.b03), b07(other.b07), b0F(other.b0F), b3F(other.b3F), b40(other.b40),
          b60(other.b60), b70(other.b70), b80(other.b80), bC0(other.bC0), bD8(other.bD8),
          bDC(other.bDC), bEF(other.bEF), bF0(other.bF0), bFC(other.bFC), bFE(other.bFE),
          firstHigh(other.firstHigh), firstLow(other.firstLow), secondHigh(other.secondHigh) {}
};

constinit const DecodeConstants ConstantsOfDecoder;

/// Constants behind the compiler's back, for the reason that the encoder has.
QX_INLINE_VECTOR const DecodeConstants& decodeConstants() {
    const DecodeConstants* hidden = &ConstantsOfDecoder;
    __asm__("" : "+r"(hidden));
    return *hidden;
}

QX_INLINE_VECTOR Vector highNibbles(const DecodeConstants& c, Vector vector) {
    return shiftRight<4>(vector) & c.b0F;
}

/// True when the block, whose first byte begins a character, is well-formed up to a character that
/// its end may cut off.
QX_INLINE_VECTOR bool isWellFormed(const DecodeConstants& c, Vector block, Vector before,
                                   Vector twoBefore, Vector threeBefore) {
    const Vector faults = shuffle(c.firstHigh, highNibbles(c, before)) &
                          shuffle(c.firstLow, before & c.b0F) &
                          shuffle(c.secondHigh, highNibbles(c, block));
    // Two continuations in a row are right exactly behind the lead of three or four bytes: the
    // saturated differences have their top bit set from E0 and from F0 on.
    const Vector third = subtractBytesSaturated(twoBefore, c.b60);
    const Vector fourth = subtractBytesSaturated(threeBefore, c.b70);
    const Vector wrong = faults ^ ((third | fourth) & c.b80);
    return hasNone(wrong, wrong);
}

/// One step. Reads nothing when the block is ill-formed.
/// @param size  bytes of the block that count, all of them or the first half; the others are 0
QX_INLINE_VECTOR RunLength decodeBlock(const DecodeConstants& c, Vector block, size_t size,
                                       char16_t* out) {
    const Vector before = moveUp<1>(block);
    const Leads leads(block, before);
    const unsigned end = leads.end();

    const Vector isContinuation = lessSigned(block, c.bC0); // 80..BF only
    const Vector replaced = isContinuation & c.bC0;
    // Six bits of a continuation and the low two of the byte before it; ASCII as it is.
    Vector low = without(block, replaced) | (shiftLeft<6>(before) & replaced);
    Vector high = shiftRight<2>(before) & c.b0F & isContinuation;
    if (!leads.haveThree()) {
        const Vector overlong = equalBytes(block & c.bFE, c.bC0);
        if (!leads.areFollowedBy(isContinuation) || !hasNone(overlong, overlong))
            return {};
        return {end, writeKept(low, high, leads.kept(end), size, out)};
    }

    const Vector twoBefore = moveUp<2>(block);
    const Vector threeBefore = moveUp<3>(block);
    if (!isWellFormed(c, block, before, twoBefore, threeBefore))
        return {};
    // Behind a continuation stands the lead of three bytes with the top four bits.
    const Vector endsThree = lessSigned(before, c.bC0);
    high |= (shiftLeft<4>(twoBefore) & c.bF0) & (endsThree & isContinuation);
    if (leads.haveFour()) {
        const Vector zero = repeated(0);
        const Vector notThird = equalBytes(subtractBytesSaturated(twoBefore, c.bEF), zero);
        const Vector notFourth = equalBytes(subtractBytesSaturated(threeBefore, c.bEF), zero);
        // Fourth byte, low surrogate: ten bits, of which `low` has eight.
        high = select(notFourth, high, (high & c.b03) | c.bDC);
        // Third byte, high surrogate: 0xD800 + (the value's top eleven bits - 0x40).
        const Vector top = (shiftLeft<2>(before) & c.bFC) | (shiftRight<4>(block) & c.b03);
        const Vector borrow = equalBytes(leastOfBytes(top, c.b3F), top);
        const Vector highSurrogate = addBytes(addBytes(twoBefore & c.b07, c.bD8), borrow);
        low = select(notThird, low, subtractBytes(top, c.b40));
        high = select(notThird, high, highSurrogate);
    }
    return {end, writeKept(low, high, leads.kept(end), size, out)};
}

/// Less than a vector of bytes. Reads nothing when they are ill-formed, cut off at the end or more
/// than fits the output.
QX_INLINE_VECTOR RunLength decodePart(const DecodeConstants& c, const uint8_t* in, size_t size,
                                      char16_t* out, size_t capacity) {
    constexpr size_t Half = VectorBytes / 2;
    const size_t padded = size <= Half ? Half : VectorBytes;
    const size_t absent = padded - size; // a zero byte for each
    char16_t aside[VectorBytes];
    char16_t* const to = capacity < padded ? aside : out;
    const RunLength step = decodeBlock(c, loadPart(in, size), padded, to);
    if (step.read == 0 || step.written - absent > capacity)
        return {};
    const size_t written = step.written - absent;
    if (to == aside)
        std::memcpy(out, aside, written * sizeof *out);
    return {size, written};
}

constexpr size_t FewBlocks = 3;

/// All but the last blocks, and what is in front of the first that is ill-formed. Apart from the
/// kernel, so that short text does not wait for the constants.
QX_TARGET_VECTOR __attribute__((noinline)) RunLength decodeBlocks(const uint8_t* in, size_t size,
                                                                  char16_t* out, size_t capacity) {
    const DecodeConstants c = decodeConstants();
    RunLength done;
    size_t steps = 0; // until the next look
    // A step writes up to a unit for each byte, scratch included.
    while (size - done.read >= VectorBytes && capacity - done.written >= VectorBytes) {
        if (steps == 0) {
            // Only longer runs of ASCII are worth a branch: in mixed text shorter ones come and go.
            const size_t ascii = widenAsciiBlocks(
                in + done.read, std::min(size - done.read, capacity - done.written),
                out + done.written);
            if (ascii != 0) {
                done += {ascii, ascii};
                continue;
            }
            steps = StepsPerLook;
        }
        const RunLength step =
            decodeBlock(c, load(in + done.read), VectorBytes, out + done.written);
        if (step.read == 0)
            break;
        done += step;
        --steps;
    }
    return done;
}

/// The same for text that is too short to wait for the constants.
QX_INLINE_VECTOR RunLength decodeFewBlocks(const DecodeConstants& c, const uint8_t* in, size_t size,
                                           char16_t* out, size_t capacity) {
    RunLength done;
    while (size - done.read >= VectorBytes && capacity - done.written >= VectorBytes) {
        const RunLength step =
            decodeBlock(c, load(in + done.read), VectorBytes, out + done.written);
        if (step.read == 0)
            break;
        done += step;
    }
    return done;
}

/// Widens up to two vectors of bytes, not even one byte when they are not ASCII.
QX_INLINE_VECTOR bool widenIfAscii(const uint8_t* in, size_t size, char16_t* out) {
    if (size < VectorBytes)
        return wide::widenIfAscii(in, size, out);
    const size_t last = size - VectorBytes; // the two may overlap
    const Vector start = load(in);
    const Vector end = load(in + last);
    if (!hasNone(start | end, repeated(0x8080)))
        return false;
    widen(start, out);
    widen(end, out + last);
    return true;
}

/// The kernel itself.
QX_INLINE_VECTOR RunLength decodeUtf8(const uint8_t* in, size_t size, char16_t* out,
                                      size_t capacity) {
    if (size <= std::min(capacity, 2 * VectorBytes) && widenIfAscii(in, size, out))
        return {size, size};
    RunLength done;
    if (size >= FewBlocks * VectorBytes)
        done = decodeBlocks(in, size, out, capacity);
    else
        done = decodeFewBlocks(decodeConstants(), in, size, out, capacity);
    const size_t left = size - done.read;
    if (left == 0)
        return done;
    if (left < VectorBytes)
        done += decodePart(decodeConstants(), in + done.read, left, out + done.written,
                           capacity - done.written);
    if (done.read < size)
        done += WideKernels.utf8ToUtf16(in + done.read, size - done.read, out + done.written,
                                        capacity - done.written);
    return done;
}

} // namespace

} // namespace qx::text::charset::detail::QX_VECTOR_SPACE
