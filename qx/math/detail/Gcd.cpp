#include "qx/math/detail/Gcd.h"

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

/// All steps of Euclid's algorithm from a and b, of which a becomes the greatest common divisor.
EuclidSteps stepsToDivisor(Limb& a, Limb b) noexcept {
    EuclidSteps steps;
    while (b != 0) {
        const Limb quotient = a / b;
        a = std::exchange(b, a - quotient * b);
        steps = {steps.u1, steps.v1, steps.u0 + quotient * steps.u1, steps.v0 + quotient * steps.v1,
                 !steps.odd};
    }
    return steps;
}

/// The factors s and t of a number in the two remainders of Euclid's algorithm that began with a
/// modulus and that number. They alternate in sign, and their magnitudes stay at or below the
/// modulus.
class Cofactors {
public:
    /// Limbs of scratch for a modulus of @p mn limbs.
    static constexpr size_t scratch(size_t mn) noexcept { return 3 * (mn + 1); }

    Cofactors(Limb* scratch, size_t mn) noexcept
        : m_room(mn + 1), m_s(scratch), m_t(m_s + m_room), m_product(m_t + m_room) {
        std::fill_n(m_s, 2 * m_room, Limb{0});
        m_t[0] = 1;
    }

    /// For a division with this quotient, (s, t) becomes (t, s + quotient * t).
    void step(const Limb* quotient, size_t length) {
        const size_t sum = length + m_length;
        if (length >= m_length)
            multiply(m_product, quotient, length, m_t, m_length);
        else
            multiply(m_product, m_t, m_length, quotient, length);
        const Limb carry = add(m_s, m_s, m_product, sum);
        addLimb(m_s + sum, m_s + sum, m_room - sum, carry);
        std::swap(m_s, m_t);
        m_length = normalizedLength(m_t, m_room);
        m_isNegative = !m_isNegative;
    }

    void apply(const EuclidSteps& steps) noexcept {
        applyToCofactors(steps, m_s, m_t, m_length + 1);
        m_length = normalizedLength(m_t, m_length + 1);
        m_isNegative = m_isNegative != steps.odd;
    }

    /// Applies the last steps: r, of as many limbs as the modulus @p m, becomes s in [0, m).
    void joinFirst(Limb* r, const EuclidSteps& steps, const Limb* m) noexcept {
        const size_t mn = m_room - 1;
        multiplyLimb(m_s, m_s, mn, steps.u0);
        addProduct(m_s, m_t, mn, steps.v0);
        // s has the sign that t has not.
        if (m_isNegative == steps.odd)
            subtract(r, m, m_s, mn);
        else
            std::copy_n(m_s, mn, r);
    }

private:
    size_t m_room; // limbs of each
    Limb* m_s;
    Limb* m_t;
    Limb* m_product;
    size_t m_length = 1; // of t, which is the longer one
    bool m_isNegative = false;
};

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
    // The remainders x and y begin as m and a.
    Scratch<InlineLimbs> scratch(4 * mn + Cofactors::scratch(mn));
    Limb* x = scratch.take(mn);
    Limb* y = scratch.take(mn);
    Limb* z = scratch.take(mn);
    Limb* const q = scratch.take(mn);
    Cofactors cofactors(scratch.take(Cofactors::scratch(mn)), mn);
    std::copy_n(m, mn, x);
    std::copy_n(a, an, y);
    size_t xn = mn;
    size_t yn = an;
    while (yn > 1) {
        if (const EuclidSteps steps = stepsOf(x, xn, y, yn)) {
            std::fill(y + yn, y + xn, Limb{0});
            applySteps(steps, x, y, xn);
            yn = normalizedLength(y, xn);
            xn = normalizedLength(x, xn);
            cofactors.apply(steps);
        } else {
            divide(q, z, x, xn, y, yn);
            cofactors.step(q, normalizedLength(q, xn - yn + 1));
            xn = std::exchange(yn, normalizedLength(z, yn));
            std::swap(x, y);
            std::swap(y, z);
        }
    }
    if (yn == 0)
        return false; // what divided is longer than a limb

    Limb divisor = y[0];
    const Limb rest = divideLimb(q, x, xn, divisor);
    cofactors.step(q, normalizedLength(q, xn));
    const EuclidSteps steps = stepsToDivisor(divisor, rest);
    if (divisor != 1)
        return false;
    cofactors.joinFirst(r, steps, m);
    return true;
}

} // namespace qx::math::detail
