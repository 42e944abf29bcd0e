#pragma once

#include <qx/text/charset/detail/Avx2Kernels.h>

#if defined(__x86_64__)

#include <immintrin.h>

#include <qx/text/charset/detail/Sse4Vectors.h>

/// The operations on 32 bytes of which the kernels are made; those that Sse4Vectors.h has too do
/// the same on twice as much.
namespace qx::text::charset::detail::avx2 {

using sse4::ones;
using sse4::squeeze;
using Vector = __m256i;

inline constexpr size_t VectorUnits = 16;

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

/// Every byte, or every 16-bit unit, of a vector set to one constant.
QX_INLINE_AVX2 __m256i bytes(unsigned value) {
    return hidden(_mm256_set1_epi8(static_cast<char>(value)));
}

QX_INLINE_AVX2 __m256i units(unsigned value) {
    return hidden(_mm256_set1_epi16(static_cast<short>(value)));
}

QX_INLINE_AVX2 constexpr Vector repeated(uint16_t unit) {
    const auto four = static_cast<long long>(unit * 0x0001000100010001u);
    return Vector{four, four, four, four};
}

/// The sixteen bytes @p table in both halves: what a look-up by nibble wants.
QX_INLINE_AVX2 __m256i bothHalves(const void* table) {
    return hidden(_mm256_broadcastsi128_si256(loadHalf(table)));
}

QX_INLINE_AVX2 unsigned topBits(__m256i vector) {
    return static_cast<unsigned>(_mm256_movemask_epi8(vector));
}

QX_INLINE_AVX2 bool hasNone(Vector vector, Vector bits) {
    return _mm256_testz_si256(vector, bits) != 0;
}

QX_INLINE_AVX2 Vector leastOfUnits(Vector a, Vector b) { return _mm256_min_epu16(a, b); }
QX_INLINE_AVX2 Vector addUnits(Vector a, Vector b) { return _mm256_add_epi16(a, b); }
QX_INLINE_AVX2 Vector addBytesSaturated(Vector a, Vector b) { return _mm256_adds_epu8(a, b); }
QX_INLINE_AVX2 Vector addBytes(Vector a, Vector b) { return _mm256_add_epi8(a, b); }
QX_INLINE_AVX2 Vector subtractSaturated(Vector a, Vector b) { return _mm256_subs_epu16(a, b); }
QX_INLINE_AVX2 Vector subtractSigned(Vector a, Vector b) { return _mm256_subs_epi8(a, b); }
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

QX_INLINE_AVX2 Vector select(Vector mask, Vector there, Vector elsewhere) {
    return _mm256_blendv_epi8(elsewhere, there, mask);
}
QX_INLINE_AVX2 Vector selectByTopBit(Vector mask, Vector there, Vector elsewhere) {
    return _mm256_blendv_epi8(elsewhere, there, mask);
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
    return _mm256_set_m128i(sse4::moveUnitsDown(loadHalf(in + size - 8), 16 - size), loadHalf(in));
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
        const __m256i first = load(in + i);
        const __m256i second = load(in + i + 32);
        if (topBits(_mm256_or_si256(first, second)) != 0)
            break;
        widen(first, out + i);
        widen(second, out + i + 32);
    }
    return i;
}

/// Narrows units without a bit of @p tooHigh in steps of 32; returns the count of units it took.
QX_INLINE_AVX2 size_t narrowBlocks(const char16_t* in, size_t size, uint8_t* out, __m256i tooHigh) {
    size_t i = 0;
    for (; size - i >= 32; i += 32) {
        const __m256i low = load(in + i);
        const __m256i high = load(in + i + 16);
        if (!_mm256_testz_si256(_mm256_or_si256(low, high), tooHigh))
            break;
        store(narrow(low, high), out + i);
    }
    return i;
}

} // namespace qx::text::charset::detail::avx2

#endif
