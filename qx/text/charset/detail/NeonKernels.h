#pragma once

#include <qx/text/charset/detail/Kernels.h>

#if defined(__aarch64__)

/// NEON belongs to every such processor, so that its functions need no target of their own.
#define QX_TARGET_NEON
#define QX_INLINE_NEON __attribute__((always_inline)) inline

namespace qx::text::charset::detail {

/// 16 bytes at a time with byte shuffles.
extern const KernelSet NeonKernels;

} // namespace qx::text::charset::detail

#endif
