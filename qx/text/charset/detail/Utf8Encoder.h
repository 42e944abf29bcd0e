#pragma once

// UTF-16 to UTF-8 with the vectors of one instruction set. A source per set includes this once,
// after the header of its vectors and with three macros: QX_VECTOR_SPACE names the namespace of
// those, QX_TARGET_VECTOR and QX_INLINE_VECTOR mark a function that may use them.
//
// Every unit gets three bytes, lead, middle and last, which end a lane of 32 bits. How many of them
// the unit needs shows in two bits: one more from 0x80 on, and another from 0x800 on. The bits of
// four units choose the shuffle that closes the gaps. Text below 0x800 does with lanes of 16 bits.
//
// The way is chosen once for a group of 64 units. Choosing more often costs more than it saves: in
// text of several scripts the processor mispredicts every other choice.

#include <algorithm>
#include <cstring>
#include <iterator>

#include <qx/text/charset/detail/PlainKernels.h>

namespace qx::text::charset::detail::QX_VECTOR_SPACE {

namespace {

/// The constants of a step; u003F has 0x003F in every unit.
struct EncodeConstants {
    Vector u003F = repeated(0x003F);
    Vector u0040 = repeated(0x0040);
    Vector u0080 = repeated(0x0080);
    Vector u00C0 = repeated(0x00C0);
    Vector u03FF = repeated(0x03FF);
    Vector u0C00 = repeated(0x0C00);
    Vector u1840 = repeated(0x1840);
    Vector u7800 = repeated(0x7800);
    Vector uD800 = repeated(0xD800);
    Vector uDC00 = repeated(0xDC00);
    Vector uE000 = repeated(0xE000);
    Vector uF800 = repeated(0xF800);
    Vector uFC00 = repeated(0xFC00);
    Vector uFF80 = repeated(0xFF80);

    constexpr EncodeConstants() = default;
    /// One by one, into registers as far as these go; a copy at once would stay in memory.
    QX_INLINE_VECTOR EncodeConstants(const EncodeConstants& other)
        : u003F(other.u003F), u0040(other.u0040), u0080(other.u0080), u00C0(other.u00C0),
          u03FF(other.u03FF), u0C00(other.u0C00), u1840(other.u1840), u7800(other.u7800),
          uD800(other.uD800), uDC00(other.uDC00), uE000(other.uE000), uF800(other.uF800),
          uFC00(other.uFC00), uFF80(other.uFF80) {}
};

constinit const EncodeConstants Constants;

/// Constants behind the compiler's back. GCC would otherwise build each anew from an integer, in
/// three instructions, within the loop or for the shortest text.
QX_INLINE_VECTOR const EncodeConstants& constants() {
    const EncodeConstants* hidden = &Constants;
    __asm__("" : "+r"(hidden));
    return *hidden;
}

/// The two bytes of every unit below 0x800; of ASCII the second is it. @p least is @p block where
/// that is ASCII, and 0x80 elsewhere.
QX_INLINE_VECTOR Vector lanesBelow800(const EncodeConstants& c, Vector block, Vector least) {
    return shiftRight<6>(block) | c.u00C0 | shiftLeft<8>(least | (block & c.u003F));
}

/// Two vectors of units below 0x800.
QX_INLINE_VECTOR size_t encodeBelow800(const EncodeConstants& c, Vector low, Vector high,
                                       uint8_t* out) {
    const Vector lowLeast = leastOfUnits(low, c.u0080);
    const Vector highLeast = leastOfUnits(high, c.u0080);
    return storeOneOrTwo(lanesBelow800(c, low, lowLeast), lowLeast,
                         lanesBelow800(c, high, highLeast), highLeast, out);
}

/// What runs from one vector of a group with pairs to the next.
struct Pairing {
    unsigned open = 0;   ///< 3 when the last unit was the high half of a pair
    unsigned faults = 0; ///< not 0 when a half was without its other
};

/// A vector of any units. @p before are the units in front of each, asked for low halves only.
template <bool WithPairs>
QX_INLINE_VECTOR size_t encodeAny(const EncodeConstants& c, Vector block, Vector before,
                                  Pairing& pairing, uint8_t* out) {
    const Vector least = leastOfUnits(block, c.u0080);
    const Vector large = addBytesSaturated(block, c.u7800); // top bit of the unit: 0x800 or more
    unsigned kept = topBits(least | large);

    // Either half of a pair gives two bytes, middle and last. The low half brings four of the six
    // bits of its middle byte and takes the others from the high one.
    Vector isHigh = block;
    Vector value = block;
    if constexpr (WithPairs) {
        const Vector kind = block & c.uFC00;
        isHigh = equalUnits(kind, c.uD800);
        const Vector isLow = equalUnits(kind, c.uDC00);
        const unsigned highs = topBits(isHigh);
        const unsigned lows = topBits(isLow);
        constexpr unsigned Width = 2 * VectorUnits;
        constexpr unsigned All = 0xFFFFFFFFu >> (32 - Width);
        pairing.faults |= ((highs << 2 | pairing.open) & All) ^ lows;
        pairing.open = highs >> (Width - 2);
        kept &= ~((highs | lows) & 0xAAAAAAAA);
        value = select(isLow, (block & c.u03FF) | (shiftLeft<10>(before) & c.u0C00), block);
    }

    const Vector lead = shiftRight<4>(value) | c.uE000; // the byte below is never kept
    const Vector last = shiftLeft<8>(least | (value & c.u003F));
    const Vector middle = (shiftRight<6>(value) & c.u003F) |
                          // 0x80, or 0xC0 where it leads
                          ((shiftRight<9>(large) & c.u0040) ^ c.u00C0);
    Vector rest = middle | last;
    if constexpr (WithPairs) {
        // From 0xD800 and ten bits to 0xF000 and the upper eleven bits of the character.
        const Vector upper = addUnits(block, c.u1840);
        rest = select(
            isHigh, shiftRight<8>(upper) | shiftLeft<8>((shiftRight<2>(upper) & c.u003F) | c.u0080),
            rest);
    }
    return storeOneToThree(lead, rest, kept, out);
}

/// Room for the bytes of @p units units, and for the scratch that the last store leaves.
constexpr size_t roomForGroup(size_t unitCount) { return 3 * unitCount + 4; }

/// Whether no unit of @p blocks has one of @p bits.
template <size_t Count>
QX_INLINE_VECTOR bool haveNone(const Vector (&blocks)[Count], Vector bits) {
    Vector all = blocks[0];
    for (size_t i = 1; i < Count; ++i)
        all |= blocks[i];
    return hasNone(all, bits);
}

/// Vectors of ASCII.
template <size_t Count>
QX_INLINE_VECTOR void encodeAscii(const Vector (&blocks)[Count], uint8_t* out) {
    for (size_t i = 0; i < Count; i += 2)
        store(narrow(blocks[i], blocks[Count > 1 ? i + 1 : i]), out + i * VectorUnits);
}

/// A group that begins at a character boundary. Reads one unit less when the last one is the high
/// half of a pair, and nothing when a half is without its other.
/// @param in  where the first of @p blocks comes from; what stands in front of it is not read
template <size_t Count>
QX_INLINE_VECTOR RunLength encodeGroup(const EncodeConstants& c, const Vector (&blocks)[Count],
                                       const char16_t* in, uint8_t* out) {
    constexpr size_t Units = Count * VectorUnits;
    if (haveNone(blocks, c.uFF80)) {
        encodeAscii(blocks, out);
        return {Units, Units};
    }
    const uint8_t* const start = out;
    if (Count > 1 && haveNone(blocks, c.uF800)) {
        for (size_t i = 0; i + 1 < Count; i += 2)
            out += encodeBelow800(c, blocks[i], blocks[i + 1], out);
        return {Units, static_cast<size_t>(out - start)};
    }
    Vector isHalf = equalUnits(blocks[0] & c.uF800, c.uD800);
    for (size_t i = 1; i < Count; ++i)
        isHalf |= equalUnits(blocks[i] & c.uF800, c.uD800);
    Pairing pairing;
    if (hasNone(isHalf, isHalf)) {
        for (size_t i = 0; i < Count; ++i)
            out += encodeAny<false>(c, blocks[i], blocks[i], pairing, out);
        return {Units, static_cast<size_t>(out - start)};
    }
    for (size_t i = 0; i < Count; ++i) {
        const Vector before = i == 0 ? moveUp<2>(blocks[0]) : load(in + i * VectorUnits - 1);
        out += encodeAny<true>(c, blocks[i], before, pairing, out);
    }
    if (pairing.faults != 0)
        return {};
    const size_t cut = pairing.open & 1;
    return {Units - cut, static_cast<size_t>(out - start) - 2 * cut};
}

constexpr size_t GroupUnits = 64;
using Group = Vector[GroupUnits / VectorUnits];

QX_INLINE_VECTOR void loadGroup(const char16_t* in, Group& blocks) {
    for (size_t i = 0; i < std::size(blocks); ++i)
        blocks[i] = load(in + i * VectorUnits);
}

/// Whole groups of ASCII; returns the count of units.
QX_INLINE_VECTOR size_t encodeAsciiGroups(const EncodeConstants& c, const char16_t* in, size_t size,
                                          uint8_t* out) {
    size_t done = 0;
    for (; size - done >= GroupUnits; done += GroupUnits) {
        Group blocks;
        loadGroup(in + done, blocks);
        if (!haveNone(blocks, c.uFF80))
            break;
        encodeAscii(blocks, out + done);
    }
    return done;
}

/// Up to a vector of units, which are read as far as they fit the output.
QX_INLINE_VECTOR RunLength encodeVector(const EncodeConstants& c, const char16_t* in, size_t size,
                                        uint8_t* out, size_t capacity) {
    const size_t absent = size < VectorUnits ? VectorUnits - size : 0; // a zero byte for each
    const Vector block[] = {absent == 0 ? load(in) : loadPart(in, size)};
    uint8_t aside[roomForGroup(VectorUnits)];
    uint8_t* const to = capacity < sizeof aside ? aside : out;
    const RunLength step = encodeGroup(c, block, in, to);
    if (step.read == 0 || step.written - absent > capacity)
        return {};
    const RunLength done = {step.read - absent, step.written - absent};
    if (to == aside)
        std::memcpy(out, aside, done.written);
    return done;
}

/// The kernel itself.
QX_INLINE_VECTOR RunLength encodeUtf8(const char16_t* in, size_t size, uint8_t* out,
                                      size_t capacity) {
    RunLength done;
    if (size >= GroupUnits) {
        const EncodeConstants c = constants();
        RunLength step;
        do {
            step = {};
            if (size - done.read >= GroupUnits &&
                capacity - done.written >= roomForGroup(GroupUnits)) {
                Group blocks;
                loadGroup(in + done.read, blocks);
                step = encodeGroup(c, blocks, in + done.read, out + done.written);
                done += step;
                if (step.written == GroupUnits) { // ASCII seldom comes in one group alone
                    const size_t ascii = encodeAsciiGroups(
                        c, in + done.read, std::min(size - done.read, capacity - done.written),
                        out + done.written);
                    done += {ascii, ascii};
                }
            }
        } while (step.read != 0);
    }
    while (done.read < size) {
        const RunLength step = encodeVector(constants(), in + done.read, size - done.read,
                                            out + done.written, capacity - done.written);
        if (step.read == 0) {
            // In front of the end of the output or of a half without its other.
            return done += PlainKernels.utf16ToUtf8(in + done.read, size - done.read,
                                                    out + done.written, capacity - done.written);
        }
        done += step;
    }
    return done;
}

} // namespace

} // namespace qx::text::charset::detail::QX_VECTOR_SPACE
