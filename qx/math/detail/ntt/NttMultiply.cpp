#include "qx/math/detail/ntt/NttMultiply.h"

#include <algorithm>
#include <bit>

namespace qx::math::detail {

namespace {

constexpr size_t MinimumLength = 16;

size_t coefficients(size_t n, unsigned bits) { return (n * LimbBits + bits - 1) / bits; }

} // namespace

// The primes' product exceeds 2^146.99, and a coefficient of the product is a sum of as many
// products as the shorter operand has coefficients: at most 2^18 of 128 bits, or 2^25 of 120 bits.
// The limit is lower than that and than the roots of unity allow, to bound the scratch, which is
// five times the product: above it Toom and Cook's algorithm takes less.
bool nttApplies(size_t an, size_t bn) noexcept { return an + bn <= size_t{1} << 25; }

NttPlan nttPlan(size_t an, size_t bn) noexcept {
    const unsigned bits = bn <= size_t{1} << 18 ? 64 : 60;
    const size_t needed = coefficients(an, bits) + coefficients(bn, bits) - 1;
    const size_t main = std::max(std::bit_floor(needed), MinimumLength);
    if (main >= needed)
        return {main, 0, bits};
    for (size_t tail = MinimumLength; tail <= main / 2; tail *= 2) {
        if (main + tail >= needed)
            return {main, tail, bits};
    }
    return {2 * main, 0, bits};
}

// Residues modulo three primes, one more row for the second operand, and the roots;
// what aligns them.
size_t nttScratch(const NttPlan& plan) noexcept {
    return 4 * plan.length() + (plan.tail == 0 ? plan.main / 2 : plan.main) + 8;
}

} // namespace qx::math::detail
