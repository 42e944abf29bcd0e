#pragma once

#include <cstddef>

/// Lengths from which on the better algorithm for long operands takes over; those of multiplication
/// are in MultiplyThresholds.h. Measured on a Zen 4 core with the kernels for ADX: the time of
/// random operands by either algorithm over lengths around the crossing, the least of many runs.
/// The crossings are flat: a length off by a quarter costs some 3 %.
namespace qx::math::detail {

// In limbs, of the shorter of divisor and quotient.

/// From schoolbook to division by halves: 56 to 100 are alike.
constexpr size_t DivideHalvesThreshold = 64;
/// From halves to Newton's reciprocal: at 1,300 limbs 249 and 287 us.
constexpr size_t NewtonDivideThreshold = 1000;

// In limbs, of a divisor.

/// From halves to Newton's reciprocal for quotients of three times its length and more: 4,000 by
/// 400 limbs take 446 and 335 us, 1,200 by 300 take 95 and 103.
constexpr size_t NewtonRepeatedThreshold = 350;
/// From division to Newton's iteration for a reciprocal: 250 to 400 are alike.
constexpr size_t NewtonInvertThreshold = 300;
/// Of a power of a radix, whose reciprocal is then kept where it divides more than once.
constexpr size_t PowerInverseThreshold = 400;

// In chunks of digits, each nearly a limb.

/// Most that are read one by one, and parts of longer numbers that are: at 52 limbs 1.08 us in one
/// part and 1.25 in two.
constexpr size_t ReadPlainChunks = 70;
constexpr size_t ReadLeafChunks = 40;
/// Most that are written one by one: 16 to 24 are alike.
constexpr size_t WriteLeafChunks = 20;

} // namespace qx::math::detail
