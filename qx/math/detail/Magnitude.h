#pragma once

#include <bit>

#include <qx/math/IntegerView.h>
#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// -1, 0 or 1 as the magnitude of left is below, equal to or above that of right.
inline int compareMagnitudes(const IntegerView& left, const IntegerView& right) noexcept {
    if (left.length() != right.length())
        return left.length() < right.length() ? -1 : 1;
    return compare(left.limbs(), right.limbs(), left.length());
}

/// Length in bits, 0 for zero.
inline int64_t bitLength(const IntegerView& value) noexcept {
    if (value.isZero())
        return 0;
    const uint64_t top = value.limbs()[value.length() - 1];
    return static_cast<int64_t>(value.length()) * LimbBits - std::countl_zero(top);
}

} // namespace qx::math::detail
