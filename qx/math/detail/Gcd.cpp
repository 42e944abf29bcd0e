#include <qx/math/detail/Gcd.h>

#include <algorithm>
#include <bit>
#include <utility>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/EuclidSteps.h>
#include <qx/math/detail/Multiply.h>
#include <qx/math/detail/Scratch.h>

namespace qx::math::detail {

namespace {

/// Scratch on the stack: enough for a modulus of 2,048 bits and the divisor of numbers of 5,000.
constexpr size_t InlineLimbs = 240;

Limb limbAt(const Limb* a, size_t n, size_t i) noexcept { return i < n ? a[i] : 0; }

/// The bits of a at the place of the leading 128 bits of a number of n >= 2 limbs whose top limb
/// has @p zeros leading zeros.
DoubleLimb leadingBits(const Limb* a, size_t an, size_t n, unsigned zeros) noexcept {
    const DoubleLimb bits = DoubleLimb{limbAt(a, an, n - 1)} << LimbBits | limbAt(a, an, n - 2);
    if (zeros == 0)
        return bits;
    const Limb below = n > 2 ? limbAt(a, an, n - 3) : 0;
    return bits << zeros | below >> (LimbBits - zeros);
}

/// The steps of Euclid's algorithm that the leading bits of a >= b determine; none for a of a
/// single limb.
EuclidSteps stepsOf(const Limb* a, size_t an, const Limb* b, size_t bn) noexcept {
    if (an < 2 || bn + 1 < an)
        return {};
    const auto zeros = static_cast<unsigned>(std::countl_zero(a[an - 1]));
    return euclidSteps(leadingBits(a, an, an, zeros), leadingBits(b, bn, an, zeros));
}

/// Binary algorithm: a division by two for each of the bits.
Limb gcdOfLimbs(Limb a, Limb b) noexcept {
    if (a == 0 || b == 0)
        return a | b;
    const int shift = std::countr_zero(a | b);
    a >>= std::countr_zero(a);
    b >>= std::countr_zero(b);
    while (a != b) {
        const Limb difference = a > b ? a - b : b - a;
        b = std::min(a, b);
        a = difference >> std::countr_zero(difference);
    }
    return a << shift;
}

} // namespace

size_t gcd(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
    if (an < bn || (an == bn && compare(a, b, an) < 0)) {
        std::swap(a, b);
        std::swap(an, bn);
    }
    Scratch<InlineLimbs> scratch(an + 2 * (bn + 1));
    Limb* x = scratch.take(an);
    // A limb more, because the steps work on the length of x.
    Limb* y = scratch.take(bn + 1);
    Limb* z = scratch.take(bn + 1);
    std::copy_n(a, an, x);
    std::copy_n(b, bn, y);
    while (bn > 1) {
        if (const EuclidSteps steps = stepsOf(x, an, y, bn)) {
            std::fill(y + bn, y + an, Limb{0});
            applySteps(steps, x, y, an);
            bn = normalizedLength(y, an);
            an = normalizedLength(x, an);
        } else {
            divide(nullptr, z, x, an, y, bn);
            an = std::exchange(bn, normalizedLength(z, bn));
            std::swap(x, y);
            std::swap(y, z);
        }
    }
    if (bn == 1) {
        x[0] = gcdOfLimbs(divideLimb(x, x, an, y[0]), y[0]);
        an = 1;
    }
    std::copy_n(x, an, r);
    return an;
}

bool modInverse(Limb* r, const Limb* a, size_t an, const Limb* m, size_t mn) {
    // The remainders x and y begin as m and a. The factors of a in them, s and t, alternate in
    // sign, and their magnitudes stay at or below m.
    Scratch<InlineLimbs> scratch(7 * mn + 3);
    Limb* x = scratch.take(mn);
    Limb* y = scratch.take(mn);
    Limb* z = scratch.take(mn);
    Limb* s = scratch.take(mn + 1);
    Limb* t = scratch.take(mn + 1);
    Limb* const q = scratch.take(mn);
    Limb* const product = scratch.take(mn + 1);
    std::copy_n(m, mn, x);
    std::copy_n(a, an, y);
    std::fill_n(s, mn + 1, Limb{0});
    std::fill_n(t, mn + 1, Limb{0});
    t[0] = 1;
    size_t xn = mn;
    size_t yn = an;
    size_t tn = 1;
    bool tIsNegative = false;
    // (s, t) becomes (t, s + quotient * t).
    const auto stepCofactors = [&](size_t quotientLength) {
        const size_t length = quotientLength + tn;
        if (quotientLength >= tn)
            multiply(product, q, quotientLength, t, tn);
        else
            multiply(product, t, tn, q, quotientLength);
        const Limb carry = add(s, s, product, length);
        addLimb(s + length, s + length, mn + 1 - length, carry);
        std::swap(s, t);
        tn = normalizedLength(t, mn + 1);
        tIsNegative = !tIsNegative;
    };

    while (yn > 1) {
        if (const EuclidSteps steps = stepsOf(x, xn, y, yn)) {
            std::fill(y + yn, y + xn, Limb{0});
            applySteps(steps, x, y, xn);
            yn = normalizedLength(y, xn);
            xn = normalizedLength(x, xn);
            applyToCofactors(steps, s, t, tn + 1);
            tn = normalizedLength(t, tn + 1);
            tIsNegative = tIsNegative != steps.odd;
        } else {
            divide(q, z, x, xn, y, yn);
            stepCofactors(normalizedLength(q, xn - yn + 1));
            xn = std::exchange(yn, normalizedLength(z, yn));
            std::swap(x, y);
            std::swap(y, z);
        }
    }
    if (yn == 0)
        return false; // what divided is longer than a limb

    Limb low = divideLimb(q, x, xn, y[0]);
    stepCofactors(normalizedLength(q, xn));
    EuclidSteps steps;
    Limb divisor = y[0];
    while (low != 0) {
        const Limb quotient = divisor / low;
        divisor = std::exchange(low, divisor - quotient * low);
        steps = {steps.u1, steps.v1, steps.u0 + quotient * steps.u1, steps.v0 + quotient * steps.v1,
                 !steps.odd};
    }
    if (divisor != 1)
        return false;
    // The factor in the divisor, the first of the pair, has the sign that t has not.
    const bool isNegative = tIsNegative == steps.odd;
    multiplyLimb(s, s, mn, steps.u0);
    addProduct(s, t, mn, steps.v0);
    if (isNegative)
        subtract(r, m, s, mn);
    else
        std::copy_n(s, mn, r);
    return true;
}

} // namespace qx::math::detail
