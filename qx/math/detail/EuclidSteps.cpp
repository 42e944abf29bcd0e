#include "qx/math/detail/EuclidSteps.h"

#include <algorithm>
#include <bit>

namespace qx::math::detail {

namespace {

__extension__ typedef __int128 SignedDoubleLimb;

constexpr unsigned HalfLimbBits = LimbBits / 2;

/// Steps on x >= y that hold for all numbers X and Y so near to them that every remainder
/// u * X - v * Y is off by less than Margin * v. A quotient is right where the remainder is neither
/// negative nor as large as the divisor, which is left to see with that uncertainty (Jebelean's
/// condition). Stops before a cofactor reaches @p limit.
template <Limb Margin>
EuclidSteps certainSteps(Limb x, Limb y, Limb limit) noexcept {
    EuclidSteps steps;
    if (y == 0)
        return steps;
    for (;;) {
        const Limb quotient = x / y;
        const Limb remainder = x - quotient * y;
        // At most the first x over y, so that nothing overflows.
        const Limb u = steps.u0 + quotient * steps.u1;
        const Limb v = steps.v0 + quotient * steps.v1;
        if (v >= limit || remainder < Margin * v || y - remainder < Margin * (steps.v1 + v))
            return steps;
        x = y;
        y = remainder;
        steps = {steps.u1, steps.v1, u, v, !steps.odd};
    }
}

/// @p first, then @p second.
EuclidSteps combined(const EuclidSteps& first, const EuclidSteps& second) noexcept {
    return {second.u0 * first.u0 + second.v0 * first.u1,
            second.u0 * first.v0 + second.v0 * first.v1,
            second.u1 * first.u0 + second.v1 * first.u1,
            second.u1 * first.v0 + second.v1 * first.v1, first.odd != second.odd};
}

} // namespace

EuclidSteps euclidSteps(DoubleLimb a, DoubleLimb b) noexcept {
    // First with 64 bits, as far as 32 bits of cofactors: the bits below add less than 1 to x and
    // to y, so that u * X - v * Y is off by less than the larger cofactor, v.
    const EuclidSteps first =
        certainSteps<1>(static_cast<Limb>(a >> LimbBits), static_cast<Limb>(b >> LimbBits),
                        Limb{1} << HalfLimbBits);
    if (!first)
        return first;

    // Then with 64 bits of the remainders of the 128 bits, which are off by less than 2^32. Shifted
    // by that much or more they are off by more than -1 and less than 2, and u * X - v * Y by
    // less than 3 * v.
    DoubleLimb x = first.u0 * a - first.v0 * b;
    DoubleLimb y = first.v1 * b - first.u1 * a;
    if (first.odd) {
        x = 0 - x;
        y = 0 - y;
    }
    const auto length = static_cast<unsigned>(std::bit_width(static_cast<Limb>(x >> LimbBits)));
    const unsigned shift = std::max(length, HalfLimbBits);
    const Limb limit = Limb{1} << (LimbBits - 2 - static_cast<unsigned>(std::bit_width(first.v1)));
    return combined(first, certainSteps<3>(static_cast<Limb>(x >> shift),
                                           static_cast<Limb>(y >> shift), limit));
}

void applySteps(const EuclidSteps& steps, Limb* a, Limb* b, size_t n) noexcept {
    // What is subtracted goes second; cofactors below 2^63 keep the differences in 128 bits.
    Limb u0 = steps.u0;
    Limb v0 = steps.v0;
    Limb u1 = steps.u1;
    Limb v1 = steps.v1;
    Limb* x = a;
    Limb* y = b;
    if (steps.odd) {
        std::swap(u0, v0);
        std::swap(u1, v1);
        std::swap(x, y);
    }
    SignedDoubleLimb first = 0;
    SignedDoubleLimb second = 0;
    for (size_t i = 0; i < n; ++i) {
        const Limb xi = x[i];
        const Limb yi = y[i];
        first += static_cast<SignedDoubleLimb>(DoubleLimb{u0} * xi) -
                 static_cast<SignedDoubleLimb>(DoubleLimb{v0} * yi);
        second += static_cast<SignedDoubleLimb>(DoubleLimb{v1} * yi) -
                  static_cast<SignedDoubleLimb>(DoubleLimb{u1} * xi);
        a[i] = static_cast<Limb>(first);
        b[i] = static_cast<Limb>(second);
        first >>= LimbBits;
        second >>= LimbBits;
    }
}

void applyToCofactors(const EuclidSteps& steps, Limb* s, Limb* t, size_t n) noexcept {
    DoubleLimb first = 0;
    DoubleLimb second = 0;
    for (size_t i = 0; i < n; ++i) {
        const Limb si = s[i];
        const Limb ti = t[i];
        first += DoubleLimb{steps.u0} * si + DoubleLimb{steps.v0} * ti;
        second += DoubleLimb{steps.u1} * si + DoubleLimb{steps.v1} * ti;
        s[i] = static_cast<Limb>(first);
        t[i] = static_cast<Limb>(second);
        first >>= LimbBits;
        second >>= LimbBits;
    }
}

} // namespace qx::math::detail
