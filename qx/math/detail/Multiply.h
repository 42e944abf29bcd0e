#pragma once

#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// r[an + bn] = a * b for an, bn >= 1. r overlaps neither operand; a and b may be the same array.
QX_API void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn);

/// r[2n] = a * a for n >= 1. r does not overlap a.
QX_API void square(Limb* r, const Limb* a, size_t n);

} // namespace qx::math::detail
