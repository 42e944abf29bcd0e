#pragma once

#include <algorithm>

#include <qx/math/detail/Limbs.h>
#include <qx/math/detail/Thresholds.h>

namespace qx::math::detail {

/// a = q * b + r with r < b: q[an - bn + 1], r[bn], for an >= bn >= 1 and b[bn - 1] != 0. Leading
/// limbs of a may be zero, and q and r are filled to their lengths. q may be null. They may lie in
/// the place of the operands, q in that of a and r in that of either; r is written last.
/// @throws std::bad_alloc with q and r in any state, unless failsUnwritten
QX_API void divide(Limb* q, Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn);

/// Whether a division of these lengths throws before it has written anything, if it does.
constexpr bool failsUnwritten(size_t an, size_t bn) noexcept {
    return std::min(an - bn + 1, bn) < DivideHalvesThreshold;
}

} // namespace qx::math::detail
