#pragma once

#include <cstddef>

namespace qx::math::detail {

/// Lengths in limbs from which on an algorithm is used, of operands of the same length unless
/// stated.
struct MultiplyThresholds {
    size_t karatsuba;       ///< at least 2
    size_t karatsubaSquare; ///< at least 2
    size_t toom3;           ///< at least 5
    size_t toom3Square;     ///< at least 5
    size_t ntt;
    size_t nttSquare;
    size_t nttUneven;  ///< of the shorter of two operands, for a transform instead of pieces
    size_t montgomery; ///< of a modulus, for its reduction by products instead of rows
};

// As bench/LimbThresholds measured them on a Zen 4 core at 3.6 GHz, g++ 12. Around each of them the
// algorithms differ by a few percent only, over a range of a third of the length. The rows in ADX
// being fast and the transform in AVX2 faster still, there is little room for others between them.
constexpr MultiplyThresholds PlainThresholds = {
    .karatsuba = 20,
    .karatsubaSquare = 44,
    .toom3 = 116,
    .toom3Square = 160,
    .ntt = 900,
    .nttSquare = 1400,
    .nttUneven = 400,
    .montgomery = 163,
};
constexpr MultiplyThresholds AdxThresholds = {
    .karatsuba = 31,
    .karatsubaSquare = 49,
    .toom3 = 145,
    .toom3Square = 200,
    .ntt = 205,
    .nttSquare = 225,
    .nttUneven = 115,
    .montgomery = 213,
};

} // namespace qx::math::detail
