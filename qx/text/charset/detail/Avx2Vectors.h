#pragma once

#include <qx/text/charset/detail/Avx2Kernels.h>

#if defined(__x86_64__)

#include <immintrin.h>

namespace qx::text::charset::detail::avx2 {

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

/// The sixteen bytes @p table in both halves: what a look-up by nibble wants.
QX_INLINE_AVX2 __m256i bothHalves(const void* table) {
    return hidden(_mm256_broadcastsi128_si256(loadHalf(table)));
}

QX_INLINE_AVX2 unsigned topBits(__m256i vector) {
    return static_cast<unsigned>(_mm256_movemask_epi8(vector));
}

/// The vector moved up by @p Count bytes; zeros come in at the bottom.
template <int Count>
QX_INLINE_AVX2 __m256i moveUp(__m256i vector) {
    return _mm256_alignr_epi8(vector, _mm256_permute2x128_si256(vector, vector, 0x08), 16 - Count);
}

QX_INLINE_AVX2 unsigned ones(unsigned bits) { return static_cast<unsigned>(_mm_popcnt_u32(bits)); }

/// Zero-extends 32 bytes to 32 units.
QX_INLINE_AVX2 void widen(__m256i block, char16_t* out) {
    store(_mm256_cvtepu8_epi16(_mm256_castsi256_si128(block)), out);
    store(_mm256_cvtepu8_epi16(_mm256_extracti128_si256(block, 1)), out + 16);
}

/// The low bytes of 32 units that are all below 0x100.
QX_INLINE_AVX2 __m256i narrow(__m256i low, __m256i high) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8);
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
