#include <qx/math/detail/Gcd.h>

#include <algorithm>
#include <utility>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/Multiply.h>
#include <qx/math/detail/Scratch.h>

namespace qx::math::detail {

namespace {

/// Scratch on the stack for numbers of up to 1024 bits.
constexpr size_t InlineLimbs = 128;

} // namespace

size_t gcd(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
    if (an < bn || (an == bn && compare(a, b, an) < 0)) {
        std::swap(a, b);
        std::swap(an, bn);
    }
    Scratch<InlineLimbs> scratch(an + 2 * bn);
    Limb* x = scratch.take(an);
    Limb* y = scratch.take(bn);
    Limb* z = scratch.take(bn);
    std::copy_n(a, an, x);
    std::copy_n(b, bn, y);
    while (bn > 0) {
        divide(nullptr, z, x, an, y, bn);
        an = std::exchange(bn, normalizedLength(z, bn));
        std::swap(x, y);
        std::swap(y, z);
    }
    std::copy_n(x, an, r);
    return an;
}

bool modInverse(Limb* r, const Limb* a, size_t an, const Limb* m, size_t mn) {
    // Extended Euclid on (m, a). The cofactors of a alternate in sign; their magnitudes stay below
    // m.
    Scratch<InlineLimbs> scratch(8 * mn + 4);
    Limb* x = scratch.take(mn);
    Limb* y = scratch.take(mn);
    Limb* z = scratch.take(mn);
    Limb* u = scratch.take(mn + 1);
    Limb* v = scratch.take(mn + 1);
    Limb* const q = scratch.take(mn);
    Limb* const product = scratch.take(2 * mn + 1);
    std::copy_n(m, mn, x);
    std::copy_n(a, an, y);
    std::fill_n(u, mn + 1, Limb{0});
    std::fill_n(v, mn + 1, Limb{0});
    v[0] = 1;
    size_t xn = mn;
    size_t yn = an;
    size_t vn = 1;
    bool negative = false;
    while (yn > 0) {
        divide(q, z, x, xn, y, yn);
        const size_t qn = normalizedLength(q, xn - yn + 1);
        xn = std::exchange(yn, normalizedLength(z, yn));
        std::swap(x, y);
        std::swap(y, z);
        if (yn == 0)
            break;
        // (u, v) becomes (v, u + q * v).
        multiply(product, q, qn, v, vn);
        const size_t length = std::min(qn + vn, mn + 1);
        const Limb carry = add(u, u, product, length);
        addLimb(u + length, u + length, mn + 1 - length, carry);
        std::swap(u, v);
        vn = normalizedLength(v, mn + 1);
        negative = !negative;
    }
    if (xn != 1 || x[0] != 1)
        return false;
    if (negative)
        subtract(r, m, v, mn);
    else
        std::copy_n(v, mn, r);
    return true;
}

} // namespace qx::math::detail
