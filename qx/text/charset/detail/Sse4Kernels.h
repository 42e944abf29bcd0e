#pragma once

#include <qx/text/charset/detail/Kernels.h>

#if defined(__x86_64__)

/// Marks a function that may use SSE 4.2 and POPCNT; only Sse4Kernels and the sets above it may
/// lead to it.
#define QX_TARGET_SSE4 __attribute__((target("sse4.2,popcnt")))
#define QX_INLINE_SSE4 QX_TARGET_SSE4 __attribute__((always_inline)) inline

namespace qx::text::charset::detail {

/// The wide set with kernels that need byte shuffles, for machines with SSE 4.2 and POPCNT.
extern const KernelSet Sse4Kernels;

namespace sse4 {

RunLength utf16ToUtf8(const char16_t* in, size_t size, uint8_t* out, size_t capacity);
size_t decodeBytes(const uint8_t* in, size_t size, char16_t* out, const PageDecoder& page);
size_t encodeUnits(const char16_t* in, size_t size, uint8_t* out, const PageEncoder& page);

} // namespace sse4

} // namespace qx::text::charset::detail

#endif
