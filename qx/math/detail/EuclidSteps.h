#pragma once

#include <qx/math/detail/Limbs.h>

/// Exported for the tests.
namespace qx::math::detail {

/// A run of steps of Euclid's algorithm as one linear map: for a >= b it takes (a, b) to the
/// remainders (u0 * a - v0 * b, v1 * b - u1 * a) after an even number of steps, and to their
/// negatives after an odd one. v1 is the largest of the cofactors.
struct EuclidSteps {
    Limb u0 = 1;
    Limb v0 = 0;
    Limb u1 = 0;
    Limb v1 = 1;
    bool odd = false;

    /// False when nothing would change.
    explicit operator bool() const noexcept { return u1 != 0; }
};

/// The steps that the leading 128 bits of a and b determine, whatever the bits below are (Lehmer's
/// algorithm): some 62 bits of either where the quotients are small, none where the first one is
/// beyond 30 bits. The cofactors stay below 2^63.
/// @param a the leading bits, with the top bit set
/// @param b those of the same weight, b <= a
QX_API EuclidSteps euclidSteps(DoubleLimb a, DoubleLimb b) noexcept;

/// (a, b) = the remainders after @p steps. Both have n limbs.
QX_API void applySteps(const EuclidSteps& steps, Limb* a, Limb* b, size_t n) noexcept;

/// (s, t) = (u0 * s + v0 * t, u1 * s + v1 * t): the magnitudes of the cofactors that belong to the
/// remainders. Both have n limbs, which suffice for the results.
QX_API void applyToCofactors(const EuclidSteps& steps, Limb* s, Limb* t, size_t n) noexcept;

} // namespace qx::math::detail
