#include "qx/math/detail/NewtonDivide.h"

#include <algorithm>

#include <qx/math/detail/Thresholds.h>

namespace qx::math::detail {

namespace {

// B stands for 2^64. The reciprocal of d, which has n limbs, is v = B^n + x.

/// v = floor((B^2n - 1) / d). @p scratch has 3n limbs.
void invertByDivision(Limb* x, const Limb* d, size_t n, Limb* scratch, ProductScratch& products) {
    // The top bit of v belongs to B^n * d, which is taken from the dividend.
    Limb* const dividend = scratch;
    std::fill_n(dividend, n, ~Limb{0});
    std::transform(d, d + n, dividend + n, [](Limb limb) { return ~limb; });
    divideByHalves(x, dividend, 2 * n, NormalizedDivisor(d, n), scratch + 2 * n, products);
}

/// a = -a modulo B^n.
void negate(Limb* a, size_t n) noexcept {
    size_t i = 0;
    while (i < n && a[i] == 0)
        ++i;
    if (i < n)
        a[i] = 0 - a[i];
    for (++i; i < n; ++i)
        a[i] = ~a[i];
}

/// B^2n - 2 * d < v * d <= B^2n: by Newton's iteration, which doubles the length at each level
/// (Brent and Zimmermann, "Modern Computer Arithmetic", algorithm 3.5, whose lemma is this bound).
/// @p scratch has 3n + 4 limbs.
void invert(Limb* x, const Limb* d, size_t n, Limb* scratch, ProductScratch& products) {
    if (n < NewtonInvertThreshold)
        return invertByDivision(x, d, n, scratch, products);
    const size_t low = (n - 1) / 2;
    const size_t high = n - low;
    // The reciprocal of the upper limbs is w = B^high + xHigh.
    Limb* const xHigh = x + low;
    invert(xHigh, d + low, high, scratch, products);

    // t = B^(n + high) - w * d, for which w is lowered until t is not negative: below 2 * d.
    Limb* const t = scratch;
    products.multiply(t, d, n, xHigh, high);
    t[n + high] = add(t + high, t + high, d, n);
    while (t[n + high] != 0) {
        subtractLimb(xHigh, xHigh, high, 1);
        const Limb borrow = subtract(t, t, d, n);
        t[n + high] -= subtractLimb(t + n, t + n, high, borrow);
    }
    negate(t, n + 1);

    // v = w * B^low + (t / B^low) * w / B^(2 * high - low), Newton's step.
    const Limb* const step = t + low;
    const Limb top = step[high];
    Limb* const u = t + n + 1;
    products.multiply(u, step, high, xHigh, high);
    u[2 * high] = top + add(u + high, u + high, step, high);
    if (top != 0)
        u[2 * high] += add(u + high, u + high, xHigh, high);
    std::copy_n(u + 2 * high - low, low, x);
    addLimb(xHigh, xHigh, high, u[2 * high]);
}

} // namespace

size_t inverseLength(size_t qn, size_t bn) noexcept {
    // Blocks of equal length, none longer than the divisor; two where one would do, because half of
    // the reciprocal costs more than what the second block adds.
    size_t blocks = (qn + bn - 1) / bn;
    if (blocks == 1 && 3 * qn > bn)
        blocks = 2;
    return (qn + blocks - 1) / blocks;
}

size_t invertScratch(size_t inverseLength) noexcept { return 4 * inverseLength + 4; }

void invertDivisor(Limb* x, const NormalizedDivisor& b, Limb* scratch, ProductScratch& products) {
    const size_t n = b.inverseLength;
    const Limb* const lead = b.limbs + b.length - n;
    if (n == b.length)
        return invert(x, lead, n, scratch, products);
    // The leading limbs are rounded up, so that no quotient is estimated too large.
    Limb* const d = scratch;
    if (addLimb(d, lead, n, 1) == 0)
        invert(x, d, n, scratch + n, products);
    else
        std::fill_n(x, n, Limb{0});
}

Limb divideByInverse(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b, Limb* scratch,
                     ProductScratch& products) {
    const size_t bn = b.length;
    Limb* const estimate = scratch;
    Limb* const product = scratch + 2 * b.inverseLength;

    size_t left = an - bn;
    const Limb highQuotient = compare(a + left, b.limbs, bn) >= 0;
    if (highQuotient)
        subtract(a + left, a + left, b.limbs, bn);
    while (left > 0) {
        // A short block comes first; it uses the leading limbs of the reciprocal.
        const size_t n = (left - 1) % b.inverseLength + 1;
        const Limb* const lead = a + left + bn - n;
        left -= n;
        Limb* const quotient = q + left;
        Limb* const remainder = a + left;
        // At most the quotient, and less by a few.
        products.multiply(estimate, lead, n, b.inverse + b.inverseLength - n, n);
        add(quotient, estimate + n, lead, n);
        products.multiply(product, b.limbs, bn, quotient, n);
        // The limbs further up cancel out.
        subtract(remainder, remainder, product, bn + 1);
        while (remainder[bn] != 0 || compare(remainder, b.limbs, bn) >= 0) {
            remainder[bn] -= subtract(remainder, remainder, b.limbs, bn);
            addLimb(quotient, quotient, n, 1);
        }
    }
    return highQuotient;
}

size_t divideByInverseScratch(size_t bn, size_t inverseLength) noexcept {
    return bn + 3 * inverseLength;
}

} // namespace qx::math::detail
