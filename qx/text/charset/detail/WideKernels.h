#pragma once

#include <qx/text/charset/detail/Kernels.h>

namespace qx::text::charset::detail {

/// 16 bytes at a time with the compiler's portable vectors: runs on every machine.
extern const KernelSet WideKernels;

namespace wide {

/// @tparam Swapped  for UTF-32 in the order of bytes that is not the machine's
template <bool Swapped>
RunLength fromUtf32(const uint8_t* in, size_t units, char16_t* out, size_t capacity);
template <bool Swapped>
RunLength toUtf32(const char16_t* in, size_t size, uint8_t* out, size_t capacityInUnits);

} // namespace wide

} // namespace qx::text::charset::detail
