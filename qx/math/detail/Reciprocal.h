#pragma once

#include <qx/math/detail/Limbs.h>

/// Division of two limbs by one through a precomputed reciprocal (Möller and Granlund, "Improved
/// division by invariant integers"): two multiplications in place of a division.
namespace qx::math::detail {

/// floor((2^128 - 1) / d) - 2^64 of a divisor with its top bit set.
constexpr Limb reciprocal(Limb d) noexcept {
    return static_cast<Limb>((DoubleLimb{~d} << LimbBits | ~Limb{0}) / d);
}

/// Quotient of high * 2^64 + low by d, for high < d; high becomes the remainder. d has its top bit
/// set and @p inverse is its reciprocal.
inline Limb divideTwo(Limb& high, Limb low, Limb d, Limb inverse) noexcept {
    const DoubleLimb estimate = DoubleLimb{inverse} * high + (DoubleLimb{high} << LimbBits | low);
    Limb quotient = static_cast<Limb>(estimate >> LimbBits) + 1;
    Limb remainder = low - quotient * d;
    // At random for the first, which the compiler is told, so that it moves without a branch;
    // nearly never for the second.
    const bool tooLarge =
        __builtin_expect_with_probability(remainder > static_cast<Limb>(estimate), 1, 0.5);
    const Limb lessOne = quotient - 1;
    const Limb corrected = remainder + d;
    quotient = tooLarge ? lessOne : quotient;
    remainder = tooLarge ? corrected : remainder;
    if (__builtin_expect(remainder >= d, 0)) {
        ++quotient;
        remainder -= d;
    }
    high = remainder;
    return quotient;
}

} // namespace qx::math::detail
