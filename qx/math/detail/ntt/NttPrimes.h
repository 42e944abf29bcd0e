#pragma once

#include <array>

#include <qx/math/detail/Limbs.h>

/// The three primes of the number-theoretic transform and what is derived from them.
///
/// Each is k * 2^31 + 1 just below 2^49: a residue, and a sum of a few, is an exact double; each
/// has roots of unity for transforms of up to 2^30 points; their product exceeds 2^146.99, which
/// bounds the coefficients of a product of polynomials.
namespace qx::math::detail {

constexpr size_t NttPrimeCount = 3;
constexpr std::array<uint64_t, NttPrimeCount> NttPrimes = {
    262140 * (uint64_t{1} << 31) + 1,
    262136 * (uint64_t{1} << 31) + 1,
    262115 * (uint64_t{1} << 31) + 1,
};

constexpr uint64_t multiplyModulo(uint64_t a, uint64_t b, uint64_t p) {
    return static_cast<uint64_t>(DoubleLimb{a} * b % p);
}

constexpr uint64_t powerModulo(uint64_t base, uint64_t exponent, uint64_t p) {
    uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1) {
        if ((exponent & 1) != 0)
            result = multiplyModulo(result, base, p);
        base = multiplyModulo(base, base, p);
    }
    return result;
}

/// Inverse modulo the prime p.
constexpr uint64_t inverseModulo(uint64_t a, uint64_t p) { return powerModulo(a, p - 2, p); }

struct NttRoots {
    /// roots[k] has order 2^k, and its square is roots[k - 1].
    std::array<uint64_t, 32> roots;
    /// roots[2] * roots[3]
    uint64_t product;
};

constexpr NttRoots nttRoots(uint64_t p) {
    // A quadratic non-residue raised to the odd part of p - 1 has the full order 2^31.
    uint64_t base = 2;
    while (powerModulo(base, (p - 1) / 2, p) != p - 1)
        ++base;
    NttRoots result = {};
    result.roots[31] = powerModulo(base, (p - 1) >> 31, p);
    for (size_t k = 31; k > 0; --k)
        result.roots[k - 1] = multiplyModulo(result.roots[k], result.roots[k], p);
    result.product = multiplyModulo(result.roots[2], result.roots[3], p);
    return result;
}

constexpr std::array<NttRoots, NttPrimeCount> NttRootsOfUnity = {
    nttRoots(NttPrimes[0]), nttRoots(NttPrimes[1]), nttRoots(NttPrimes[2])};

} // namespace qx::math::detail
