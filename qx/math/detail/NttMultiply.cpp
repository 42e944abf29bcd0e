#include <qx/math/detail/NttMultiply.h>

#include <algorithm>
#include <bit>

namespace qx::math::detail {

namespace {

constexpr size_t MinimumLength = 16;

size_t coefficients(size_t n, unsigned bits) { return (n * LimbBits + bits - 1) / bits; }

} // namespace

// The primes' product exceeds 2^146.99. With 64 bits a coefficient of the product is below
// min(an, bn) * 2^128, with 60 bits below twice that many times 2^120.
bool nttApplies(size_t, size_t bn) noexcept { return bn < size_t{1} << 25; }

NttPlan nttPlan(size_t an, size_t bn) noexcept {
    const unsigned bits = bn <= size_t{1} << 18 ? 64 : 60;
    const size_t needed = coefficients(an, bits) + coefficients(bn, bits) - 1;
    const size_t main = std::max(std::bit_floor(needed), MinimumLength);
    if (main >= needed)
        return {main, 0, bits};
    for (size_t tail = main / 4; tail <= main / 2; tail *= 2) {
        if (tail >= MinimumLength && main + tail >= needed)
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
