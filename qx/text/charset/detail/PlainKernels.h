#pragma once

#include <qx/text/charset/detail/Kernels.h>

namespace qx::text::charset::detail {

/// One unit at a time: the model for the other sets and their tail.
extern const KernelSet PlainKernels;

} // namespace qx::text::charset::detail
