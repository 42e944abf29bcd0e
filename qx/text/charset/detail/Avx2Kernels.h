#pragma once

#include <qx/text/charset/detail/Kernels.h>

#if defined(__x86_64__)

/// Marks a function that may use AVX2 and the bit instructions that came with it; only
/// Avx2Kernels may lead to it.
#define QX_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))
#define QX_INLINE_AVX2 QX_TARGET_AVX2 __attribute__((always_inline)) inline

namespace qx::text::charset::detail {

/// 32 bytes at a time, for machines with AVX2, BMI1, BMI2 and POPCNT.
extern const KernelSet Avx2Kernels;

namespace avx2 {

RunLength utf8ToUtf16(const uint8_t* in, size_t size, char16_t* out, size_t capacity);
RunLength utf16ToUtf8(const char16_t* in, size_t size, uint8_t* out, size_t capacity);
void swapUnits(const void* in, void* out, size_t units);
void widenLatin1(const uint8_t* in, size_t size, char16_t* out);
size_t widenAscii(const uint8_t* in, size_t size, char16_t* out);
size_t narrowLatin1(const char16_t* in, size_t size, uint8_t* out);
size_t narrowAscii(const char16_t* in, size_t size, uint8_t* out);
size_t decodeBytes(const uint8_t* in, size_t size, char16_t* out, const PageDecoder& page);
size_t encodeUnits(const char16_t* in, size_t size, uint8_t* out, const PageEncoder& page);

} // namespace avx2

} // namespace qx::text::charset::detail

#endif
