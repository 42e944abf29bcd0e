#pragma once

#include <cstddef>

namespace qx::math::detail {

/// Lengths in limbs, of the shorter operand, from which on an algorithm is used.
struct MultiplyThresholds {
    size_t karatsuba;       ///< at least 2
    size_t karatsubaSquare; ///< at least 2
    size_t toom3;           ///< at least 5
    size_t toom3Square;     ///< at least 5
    size_t ntt;             ///< at least 2
    size_t nttSquare;       ///< at least 2
    size_t montgomery;      ///< of a modulus, for its reduction by products instead of rows
};

constexpr MultiplyThresholds PlainThresholds = {24, 30, 100, 120, 1000, 1000, 200};
constexpr MultiplyThresholds AdxThresholds = {24, 36, 130, 150, 300, 350, 250};

} // namespace qx::math::detail
