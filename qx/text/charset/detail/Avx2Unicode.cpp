#include "qx/text/charset/detail/Avx2Vectors.h"

#if defined(__x86_64__)

#include <algorithm>
#include <array>

#include <qx/text/charset/detail/CompactionTables.h>
#include <qx/text/charset/detail/WideKernels.h>

#define QX_VECTOR_SPACE avx2
#define QX_INLINE_VECTOR QX_INLINE_AVX2
#include <qx/text/charset/detail/Utf8Encoder.h>

namespace qx::text::charset::detail::avx2 {

namespace {

// UTF-8 to UTF-16
//
// A step takes 32 bytes that begin at a character boundary. For every position it computes, all
// positions at once, the unit of a character that would end there, from the byte itself and the
// two before it. A four-byte character gives its high surrogate at its third byte and its low one
// at its fourth. Positions that give no unit are then squeezed out. What the block cuts off at its
// end is left to the next step.

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

/// The constants of a step, made ahead of the loop; b0F has 0x0F in every byte.
struct DecodeConstants {
    __m256i b03 = bytes(0x03);
    __m256i b07 = bytes(0x07);
    __m256i b0F = bytes(0x0F);
    __m256i b3F = bytes(0x3F);
    __m256i b40 = bytes(0x40);
    __m256i b60 = bytes(0x60);
    __m256i b70 = bytes(0x70);
    __m256i b80 = bytes(0x80);
    __m256i bC0 = bytes(0xC0);
    __m256i bD8 = bytes(0xD8);
    __m256i bDC = bytes(0xDC);
    __m256i bEF = bytes(0xEF);
    __m256i bF0 = bytes(0xF0);
    __m256i bFC = bytes(0xFC);
    __m256i bFE = bytes(0xFE);
    __m256i firstHigh = bothHalves(FirstHigh.data());
    __m256i firstLow = bothHalves(FirstLow.data());
    __m256i secondHigh = bothHalves(SecondHigh.data());

    QX_INLINE_AVX2 DecodeConstants() {}
};

QX_INLINE_AVX2 __m256i highNibbles(const DecodeConstants& c, __m256i vector) {
    return _mm256_and_si256(_mm256_srli_epi16(vector, 4), c.b0F);
}

/// True when the block, whose first byte begins a character, is well-formed up to a character that
/// its end may cut off.
QX_INLINE_AVX2 bool isWellFormed(const DecodeConstants& c, __m256i block, __m256i before,
                                 __m256i twoBefore, __m256i threeBefore) {
    const __m256i faults = _mm256_and_si256(
        _mm256_and_si256(_mm256_shuffle_epi8(c.firstHigh, highNibbles(c, before)),
                         _mm256_shuffle_epi8(c.firstLow, _mm256_and_si256(before, c.b0F))),
        _mm256_shuffle_epi8(c.secondHigh, highNibbles(c, block)));
    // Two continuations in a row are right exactly behind the lead of three or four bytes: the
    // saturated differences have their top bit set from E0 and from F0 on.
    const __m256i third = _mm256_subs_epu8(twoBefore, c.b60);
    const __m256i fourth = _mm256_subs_epu8(threeBefore, c.b70);
    const __m256i wanted = _mm256_and_si256(_mm256_or_si256(third, fourth), c.b80);
    const __m256i wrong = _mm256_xor_si256(faults, wanted);
    return _mm256_testz_si256(wrong, wrong) != 0;
}

/// Writes the units of @p low and @p high bytes whose bit in @p keep is set; returns their count.
QX_INLINE_AVX2 unsigned writeKept(__m256i low, __m256i high, unsigned keep, char16_t* out) {
    const __m256i outer = _mm256_unpacklo_epi8(low, high); // positions 0-7 and 16-23
    const __m256i inner = _mm256_unpackhi_epi8(low, high); // positions 8-15 and 24-31
    const auto squeezed = [](__m128i lanes, unsigned lanesKept) QX_TARGET_AVX2 {
        return _mm_shuffle_epi8(lanes, loadHalf(KeepUnits[lanesKept & 0xFF]));
    };
    storeHalf(squeezed(_mm256_castsi256_si128(outer), keep), out);
    storeHalf(squeezed(_mm256_castsi256_si128(inner), keep >> 8), out + ones(keep & 0xFF));
    storeHalf(squeezed(_mm256_extracti128_si256(outer, 1), keep >> 16), out + ones(keep & 0xFFFF));
    storeHalf(squeezed(_mm256_extracti128_si256(inner, 1), keep >> 24),
              out + ones(keep & 0xFFFFFF));
    return ones(keep);
}

/// Which bytes of the block are continuations, and which are leads of at least two, three and four
/// bytes.
struct Kinds {
    unsigned continuations;
    unsigned leads2;
    unsigned leads3;
    unsigned leads4;
};

QX_INLINE_AVX2 Kinds classify(__m256i block, unsigned nonAscii) {
    const unsigned bit6 = topBits(_mm256_slli_epi16(block, 1));
    const unsigned bit5 = topBits(_mm256_slli_epi16(block, 2));
    const unsigned bit4 = topBits(_mm256_slli_epi16(block, 3));
    const unsigned leads2 = nonAscii & bit6;
    const unsigned leads3 = leads2 & bit5;
    return {nonAscii & ~bit6, leads2, leads3, leads3 & bit4};
}

/// One step. Reads nothing when the block is ill-formed.
QX_INLINE_AVX2 RunLength decodeBlock(const DecodeConstants& c, __m256i block, unsigned nonAscii,
                                     char16_t* out) {
    const Kinds kinds = classify(block, nonAscii);
    // Where the character begins that the end of the block cuts off; 32 when there is none.
    const unsigned end = _tzcnt_u32((kinds.leads2 & 0x80000000u) | (kinds.leads3 & 0xC0000000u) |
                                    (kinds.leads4 & 0xE0000000u));

    const __m256i before = moveUp<1>(block);
    const __m256i isContinuation = _mm256_cmpgt_epi8(c.bC0, block); // signed: 80..BF only
    const __m256i replaced = _mm256_and_si256(isContinuation, c.bC0);
    // Six bits of a continuation and the low two of the byte before it; ASCII as it is.
    __m256i low = _mm256_or_si256(_mm256_andnot_si256(replaced, block),
                                  _mm256_and_si256(_mm256_slli_epi16(before, 6), replaced));
    __m256i high =
        _mm256_and_si256(_mm256_and_si256(_mm256_srli_epi16(before, 2), c.b0F), isContinuation);
    if (kinds.leads3 == 0) {
        const __m256i overlong = _mm256_cmpeq_epi8(_mm256_and_si256(block, c.bFE), c.bC0);
        if ((kinds.leads2 << 1) != kinds.continuations || topBits(overlong) != 0)
            return {};
        return {end, writeKept(low, high, _bzhi_u32(~kinds.leads2, end), out)};
    }

    const __m256i twoBefore = moveUp<2>(block);
    const __m256i threeBefore = moveUp<3>(block);
    if (!isWellFormed(c, block, before, twoBefore, threeBefore))
        return {};
    // Behind a continuation stands the lead of three bytes with the top four bits.
    const __m256i endsThree = _mm256_cmpgt_epi8(c.bC0, before);
    high = _mm256_or_si256(
        high, _mm256_and_si256(_mm256_and_si256(_mm256_slli_epi16(twoBefore, 4), c.bF0),
                               _mm256_and_si256(endsThree, isContinuation)));
    if (kinds.leads4 != 0) {
        const __m256i atLeastF0 = c.bEF;
        const __m256i zero = _mm256_setzero_si256();
        const __m256i notThird = _mm256_cmpeq_epi8(_mm256_subs_epu8(twoBefore, atLeastF0), zero);
        const __m256i notFourth = _mm256_cmpeq_epi8(_mm256_subs_epu8(threeBefore, atLeastF0), zero);
        // Fourth byte, low surrogate: ten bits, of which `low` has eight.
        const __m256i lowSurrogate = _mm256_or_si256(_mm256_and_si256(high, c.b03), c.bDC);
        high = _mm256_blendv_epi8(lowSurrogate, high, notFourth);
        // Third byte, high surrogate: 0xD800 + (the value's top eleven bits - 0x40).
        const __m256i top = _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(before, 2), c.bFC),
                                            _mm256_and_si256(_mm256_srli_epi16(block, 4), c.b03));
        const __m256i borrow = _mm256_cmpeq_epi8(_mm256_min_epu8(top, c.b3F), top);
        const __m256i highSurrogate =
            _mm256_add_epi8(_mm256_add_epi8(_mm256_and_si256(twoBefore, c.b07), c.bD8), borrow);
        low = _mm256_blendv_epi8(_mm256_sub_epi8(top, c.b40), low, notThird);
        high = _mm256_blendv_epi8(highSurrogate, high, notThird);
    }
    const unsigned keep = ~(kinds.leads2 | kinds.leads3 << 1);
    return {end, writeKept(low, high, _bzhi_u32(keep, end), out)};
}

/// All but the last blocks, and what is in front of the first that is ill-formed. Apart from the
/// kernel, so that short text does not wait for the constants.
QX_TARGET_AVX2 __attribute__((noinline)) RunLength decodeBlocks(const uint8_t* in, size_t size,
                                                                char16_t* out, size_t capacity) {
    const DecodeConstants c;
    RunLength done;
    // A step writes up to 32 units, scratch included.
    while (size - done.read >= 32 && capacity - done.written >= 32) {
        // Only longer runs of ASCII are worth a branch: in mixed text shorter ones come and go.
        const size_t ascii =
            widenAsciiBlocks(in + done.read, std::min(size - done.read, capacity - done.written),
                             out + done.written);
        if (ascii != 0) {
            done += {ascii, ascii};
            continue;
        }
        const __m256i block = load(in + done.read);
        const unsigned nonAscii = topBits(block);
        const RunLength step = decodeBlock(c, block, nonAscii, out + done.written);
        if (step.read == 0)
            break;
        done += step;
    }
    return done;
}

} // namespace

QX_TARGET_AVX2 RunLength utf8ToUtf16(const uint8_t* in, size_t size, char16_t* out,
                                     size_t capacity) {
    RunLength done;
    if (size >= 32)
        done = decodeBlocks(in, size, out, capacity);
    const RunLength rest = WideKernels.utf8ToUtf16(in + done.read, size - done.read,
                                                   out + done.written, capacity - done.written);
    return done += rest;
}

QX_TARGET_AVX2 RunLength utf16ToUtf8(const char16_t* in, size_t size, uint8_t* out,
                                     size_t capacity) {
    return encodeUtf8(in, size, out, capacity);
}

} // namespace qx::text::charset::detail::avx2

#endif
