#pragma once

#include <qx/text/charset/detail/Avx2Kernels.h>

#if defined(__x86_64__)

#include <immintrin.h>

#include <array>

#include <qx/text/charset/detail/Sse4Vectors.h>

/// The operations on 32 bytes of which the kernels are made; those that Sse4Vectors.h has too do
/// the same on twice as much.
namespace qx::text::charset::detail::avx2 {

using sse4::equalBytes;
using sse4::gather;
using sse4::hasNone;
using sse4::ones;
using sse4::Sixteen;
using sse4::squeeze;
using sse4::store;
using Vector = __m256i;

inline constexpr size_t VectorUnits = 16;
inline constexpr size_t VectorBytes = 32;
/// Vectors to a step of the loops that do the same with each.
inline constexpr size_t RunVectors = 1;
/// Vectors of UTF-8 that are decoded between two looks for a run of ASCII.
inline constexpr size_t StepsPerLook = 1;

QX_INLINE_AVX2 __m256i load(const void* in) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(in));
}

QX_INLINE_AVX2 void store(__m256i vector, void* out) {
    _mm256_storeu_si256(static_cast<__m256i*>(out), vector);
}

QX_INLINE_AVX2 __m128i loadHalf(const void* in) {
    return _mm_loadu_si128(static_cast<const __m128i*>(in));
}

QX_INLINE_AVX2 void storeHalf(__m128i vector, void* out) {
    _mm_storeu_si128(static_cast<__m128i*>(out), vector);
}

/// Hides from the compiler that a vector is constant. GCC would otherwise build it anew from an
/// integer wherever it is used, in three instructions within the loop; hidden ahead of the loop it
/// stays in a register or becomes a memory operand.
QX_INLINE_AVX2 __m256i hidden(__m256i constant) {
    __asm__("" : "+x"(constant));
    return constant;
}

/// Every 16-bit unit of a vector set to one constant.
QX_INLINE_AVX2 __m256i units(unsigned value) {
    return hidden(_mm256_set1_epi16(static_cast<short>(value)));
}

QX_INLINE_AVX2 constexpr Vector repeated(uint16_t unit) {
    const auto four = static_cast<long long>(unit * 0x0001000100010001u);
    return Vector{four, four, four, four};
}

/// The sixteen bytes @p table in both halves: what a look-up by nibble wants.
QX_INLINE_AVX2 constexpr Vector nibbleTable(const std::array<uint8_t, 16>& table) {
    long long words[2] = {};
    for (size_t i = 16; i-- > 0;)
        words[i / 8] = static_cast<long long>(static_cast<uint64_t>(words[i / 8]) << 8 | table[i]);
    return Vector{words[0], words[1], words[0], words[1]};
}

QX_INLINE_AVX2 unsigned topBits(__m256i vector) {
    return static_cast<unsigned>(_mm256_movemask_epi8(vector));
}

QX_INLINE_AVX2 bool hasNone(Vector vector, Vector bits) {
    return _mm256_testz_si256(vector, bits) != 0;
}

/// The bits of @p vector that are not set in @p bits.
QX_INLINE_AVX2 Vector without(Vector vector, Vector bits) {
    return _mm256_andnot_si256(bits, vector);
}

QX_INLINE_AVX2 Vector leastOfUnits(Vector a, Vector b) { return _mm256_min_epu16(a, b); }
QX_INLINE_AVX2 Vector addUnits(Vector a, Vector b) { return _mm256_add_epi16(a, b); }
QX_INLINE_AVX2 Vector addBytesSaturated(Vector a, Vector b) { return _mm256_adds_epu8(a, b); }
QX_INLINE_AVX2 Vector addBytes(Vector a, Vector b) { return _mm256_add_epi8(a, b); }
QX_INLINE_AVX2 Vector subtractSaturated(Vector a, Vector b) { return _mm256_subs_epu16(a, b); }
QX_INLINE_AVX2 Vector subtractSigned(Vector a, Vector b) { return _mm256_subs_epi8(a, b); }
QX_INLINE_AVX2 Vector subtractBytes(Vector a, Vector b) { return _mm256_sub_epi8(a, b); }
QX_INLINE_AVX2 Vector subtractBytesSaturated(Vector a, Vector b) { return _mm256_subs_epu8(a, b); }
QX_INLINE_AVX2 Vector leastOfBytes(Vector a, Vector b) { return _mm256_min_epu8(a, b); }
/// Set where the byte of @p a is less than that of @p b, both as signed numbers.
QX_INLINE_AVX2 Vector lessSigned(Vector a, Vector b) { return _mm256_cmpgt_epi8(b, a); }
QX_INLINE_AVX2 Vector equalBytes(Vector a, Vector b) { return _mm256_cmpeq_epi8(a, b); }
QX_INLINE_AVX2 Vector equalUnits(Vector a, Vector b) { return _mm256_cmpeq_epi16(a, b); }

template <int Bits>
QX_INLINE_AVX2 Vector shiftLeft(Vector vector) {
    return _mm256_slli_epi16(vector, Bits);
}

template <int Bits>
QX_INLINE_AVX2 Vector shiftRight(Vector vector) {
    return _mm256_srli_epi16(vector, Bits);
}

QX_INLINE_AVX2 Vector swapBytes(Vector units) { return shiftLeft<8>(units) | shiftRight<8>(units); }

QX_INLINE_AVX2 Vector select(Vector mask, Vector there, Vector elsewhere) {
    return _mm256_blendv_epi8(elsewhere, there, mask);
}
QX_INLINE_AVX2 Vector selectByTopBit(Vector mask, Vector there, Vector elsewhere) {
    return select(mask, there, elsewhere);
}

/// An exchange of halves would do as well, but takes eight steps on some processors.
template <int Count>
QX_INLINE_AVX2 Vector moveUp(Vector vector) {
    const Vector lower =
        _mm256_inserti128_si256(_mm256_setzero_si256(), _mm256_castsi256_si128(vector), 1);
    return _mm256_alignr_epi8(vector, lower, 16 - Count);
}

QX_INLINE_AVX2 Vector loadPart(const char16_t* in, size_t size) {
    if (size < 8)
        return _mm256_zextsi128_si256(sse4::loadPart(in, size));
    return _mm256_set_m128i(sse4::moveDown(loadHalf(in + size - 8), 2 * (16 - size)), loadHalf(in));
}

/// Loads @p size bytes, 0 < size < 32, and zeros behind them.
QX_INLINE_AVX2 Vector loadPart(const uint8_t* in, size_t size) {
    if (size < 16)
        return _mm256_zextsi128_si256(sse4::loadPart(in, size));
    const __m128i end = sse4::moveDown(loadHalf(in + size - 16), 32 - size);
    return _mm256_set_m128i(end, loadHalf(in));
}

/// Zero-extends 32 bytes to 32 units.
QX_INLINE_AVX2 void widen(__m256i block, char16_t* out) {
    store(_mm256_cvtepu8_epi16(_mm256_castsi256_si128(block)), out);
    store(_mm256_cvtepu8_epi16(_mm256_extracti128_si256(block, 1)), out + 16);
}

/// The low bytes of 32 units that are all below 0x100.
QX_INLINE_AVX2 __m256i narrow(__m256i low, __m256i high) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8);
}

QX_INLINE_AVX2 Vector loadToWiden(const uint8_t* in) {
    return _mm256_permute4x64_epi64(load(in), 0xD8); // joined by halves
}
QX_INLINE_AVX2 Vector joinLow(Vector low, Vector high) { return _mm256_unpacklo_epi8(low, high); }
QX_INLINE_AVX2 Vector joinHigh(Vector low, Vector high) { return _mm256_unpackhi_epi8(low, high); }

QX_INLINE_AVX2 Vector loadRow(const uint8_t* row) {
    return _mm256_broadcastsi128_si256(loadHalf(row));
}
QX_INLINE_AVX2 Vector shuffle(Vector row, Vector index) { return _mm256_shuffle_epi8(row, index); }
QX_INLINE_AVX2 Vector placeInRow(Vector distance) {
    return addBytesSaturated(distance, repeated(0x7070));
}
QX_INLINE_AVX2 Vector lowNibbles(Vector index) { return index; }

QX_INLINE_AVX2 size_t storeOneOrTwo(Vector low, Vector lowKept, Vector high, Vector highKept,
                                    uint8_t* out) {
    // Units 0 to 7 of both vectors, then 8 to 15 of both.
    const unsigned kept = topBits(_mm256_packus_epi16(lowKept, highKept));
    squeeze(_mm256_castsi256_si128(low), OneOrTwoBytes, kept, out);
    squeeze(_mm256_extracti128_si256(low, 1), OneOrTwoBytes, kept >> 16,
            out + 8 + ones(kept & 0xFF));
    squeeze(_mm256_castsi256_si128(high), OneOrTwoBytes, kept >> 8,
            out + 16 + ones(kept & 0xFF00FF));
    squeeze(_mm256_extracti128_si256(high, 1), OneOrTwoBytes, kept >> 24,
            out + 24 + ones(kept & 0xFFFFFF));
    return 32 + ones(kept);
}

QX_INLINE_AVX2 size_t storeOneToThree(Vector first, Vector second, unsigned kept, uint8_t* out) {
    const Vector outer = _mm256_unpacklo_epi16(first, second); // units 0-3 and 8-11
    const Vector inner = _mm256_unpackhi_epi16(first, second); // units 4-7 and 12-15
    squeeze(_mm256_castsi256_si128(outer), OneToThreeBytes, kept, out);
    squeeze(_mm256_castsi256_si128(inner), OneToThreeBytes, kept >> 8, out + 4 + ones(kept & 0xFF));
    squeeze(_mm256_extracti128_si256(outer, 1), OneToThreeBytes, kept >> 16,
            out + 8 + ones(kept & 0xFFFF));
    squeeze(_mm256_extracti128_si256(inner, 1), OneToThreeBytes, kept >> 24,
            out + 12 + ones(kept & 0xFFFFFF));
    return 16 + ones(kept);
}

/// Zero-extends ASCII in steps of 64 bytes; returns the count of bytes it took.
QX_INLINE_AVX2 size_t widenAsciiBlocks(const uint8_t* in, size_t size, char16_t* out) {
    size_t i = 0;
    for (; size - i >= 64; i += 64) {
        const Vector first = load(in + i);
        const Vector second = load(in + i + 32);
        if (topBits(first | second) != 0)
            break;
        widen(first, out + i);
        widen(second, out + i + 32);
    }
    return i;
}

/// Writes the units of @p low and @p high bytes whose bit in @p kept is set, of the first @p size,
/// 16 or 32; returns their count.
QX_INLINE_AVX2 unsigned writeKept(__m256i low, __m256i high, unsigned kept, size_t size,
                                  char16_t* out) {
    const __m256i outer = _mm256_unpacklo_epi8(low, high); // positions 0-7 and 16-23
    const __m256i inner = _mm256_unpackhi_epi8(low, high); // positions 8-15 and 24-31
    squeeze(_mm256_castsi256_si128(outer), KeepUnits, kept, out);
    squeeze(_mm256_castsi256_si128(inner), KeepUnits, kept >> 8, out + ones(kept & 0xFF));
    if (size == 16)
        return ones(kept & 0xFFFF);
    squeeze(_mm256_extracti128_si256(outer, 1), KeepUnits, kept >> 16, out + ones(kept & 0xFFFF));
    squeeze(_mm256_extracti128_si256(inner, 1), KeepUnits, kept >> 24, out + ones(kept & 0xFFFFFF));
    return ones(kept);
}

/// The leads of UTF-8 in a block that begins at a character boundary, a bit for each byte.
class Leads {
public:
    QX_INLINE_AVX2 Leads(Vector block, Vector) {
        const unsigned nonAscii = topBits(block);
        const unsigned bit6 = topBits(shiftLeft<1>(block));
        const unsigned bit5 = topBits(shiftLeft<2>(block));
        const unsigned bit4 = topBits(shiftLeft<3>(block));
        m_continuations = nonAscii & ~bit6;
        m_twos = nonAscii & bit6;
        m_threes = m_twos & bit5;
        m_fours = m_threes & bit4;
    }

    /// Whether there is one of at least three bytes.
    QX_INLINE_AVX2 bool haveThree() const { return m_threes != 0; }
    QX_INLINE_AVX2 bool haveFour() const { return m_fours != 0; }

    /// Of leads of two bytes: whether there is a continuation behind each and nowhere else.
    QX_INLINE_AVX2 bool areFollowedBy(Vector) const { return m_twos << 1 == m_continuations; }

    /// Where the character begins that the end of the block cuts off; 32 when there is none.
    QX_INLINE_AVX2 unsigned end() const {
        return _tzcnt_u32((m_twos & 0x80000000u) | (m_threes & 0xC0000000u) |
                          (m_fours & 0xE0000000u));
    }

    /// The positions in front of @p end that give a unit.
    QX_INLINE_AVX2 unsigned kept(unsigned end) const {
        return _bzhi_u32(~(m_twos | m_threes << 1), end);
    }

private:
    unsigned m_continuations; ///< not leads
    unsigned m_twos;          ///< of at least two bytes
    unsigned m_threes;
    unsigned m_fours;
};

} // namespace qx::text::charset::detail::avx2

#endif
