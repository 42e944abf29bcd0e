#pragma once

#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// a = q * b + r with r < b: q[an - bn + 1], r[bn], for an >= bn >= 1 and b[bn - 1] != 0. Leading
/// limbs of a may be zero, and q and r are filled to their lengths. q may be null. q and r overlap
/// neither each other nor an operand.
/// @throws std::bad_alloc with q and r in any state
QX_API void divide(Limb* q, Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn);

} // namespace qx::math::detail
