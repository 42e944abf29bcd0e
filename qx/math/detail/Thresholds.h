#pragma once

#include <cstddef>

/// Lengths in limbs from which on the better algorithm for long operands takes over.
namespace qx::math::detail {

/// Of divisor and quotient: division by halves, and by Newton's reciprocal.
constexpr size_t DivideHalvesThreshold = 64;
constexpr size_t NewtonDivideThreshold = 1700;
/// Of a divisor whose reciprocal is found by Newton's iteration and not by division.
constexpr size_t NewtonInvertThreshold = 400;

/// Chunks of digits that are read one by one at most; parts of longer numbers that are.
constexpr size_t ReadPlainChunks = 70;
constexpr size_t ReadLeafChunks = 40;
/// Chunks of digits that are written one by one at most.
constexpr size_t WriteLeafChunks = 20;

} // namespace qx::math::detail
