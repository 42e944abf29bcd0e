#include "qx/math/detail/DivideNormalized.h"

#include <algorithm>

#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/Multiply.h>
#include <qx/math/detail/NewtonDivide.h>
#include <qx/math/detail/Scratch.h>
#include <qx/math/detail/Thresholds.h>

namespace qx::math::detail {

namespace {

void complement(Limb* a, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        a[i] = ~a[i];
}

/// Algorithm D; see the header.
Limb divideRows(Limb* q, Limb* a, size_t an, const Limb* b, size_t bn,
                const TwoLimbDivisor& leadOfDivisor) noexcept {
    const LimbKernels& kernels = limbKernels();
    Limb* top = a + (an - bn);
    const Limb highQuotient = compare(top, b, bn) >= 0;
    if (highQuotient)
        kernels.subtract(top, top, b, bn);

    // The two leading limbs of the remainder stay in lead, and those in memory are out of date. The
    // others are complemented: instead of the product being subtracted it is added, which takes two
    // thirds of the time, and borrows are carries.
    DoubleLimb lead = DoubleLimb{top[bn - 1]} << LimbBits | top[bn - 2];
    complement(a, an - 2);
    for (size_t i = an - bn; i-- > 0;) {
        --top;
        Limb quotient;
        if (lead != leadOfDivisor.value()) [[likely]] {
            quotient = leadOfDivisor.divide(lead, ~top[bn - 2]);
            const Limb borrow = kernels.addProduct(top, b, bn - 2, quotient);
            const bool tooLarge = lead < borrow;
            lead -= borrow;
            if (tooLarge) [[unlikely]] {
                --quotient;
                lead += leadOfDivisor.value() + kernels.subtract(top, top, b, bn - 2);
            }
        } else {
            // The quotient of three limbs by two would not fit.
            quotient = ~Limb{0};
            top[bn - 1] = ~static_cast<Limb>(lead);
            kernels.addProduct(top, b, bn, quotient);
            lead = ~(DoubleLimb{top[bn - 1]} << LimbBits | top[bn - 2]);
        }
        q[i] = quotient;
    }
    complement(top, bn - 2);
    top[bn - 2] = static_cast<Limb>(lead);
    top[bn - 1] = static_cast<Limb>(lead >> LimbBits);
    return highQuotient;
}

/// Takes quotient * (the k low limbs of b) from the remainder of a division by the other limbs of
/// b, and mends the quotient, which can be too large by 2. The remainder is in a[bn].
/// @param q qn = bn - k limbs, above them the bit @p highQuotient, whose new value is returned
Limb subtractRest(Limb* q, size_t qn, Limb highQuotient, Limb* a, const Limb* b, size_t bn,
                  Limb* scratch, ProductScratch& products) {
    const size_t k = bn - qn;
    products.multiply(scratch, q, qn, b, k);
    Limb borrow = subtract(a, a, scratch, bn);
    if (highQuotient)
        borrow += subtract(a + qn, a + qn, b, k);
    while (borrow) {
        highQuotient -= subtractLimb(q, q, qn, 1);
        borrow -= add(a, a, b, bn);
    }
    return highQuotient;
}

/// 2n limbs by n.
Limb divideBalanced(Limb* q, Limb* a, const Limb* b, size_t n, const TwoLimbDivisor& lead,
                    Limb* scratch, ProductScratch& products) {
    if (n < DivideHalvesThreshold)
        return divideRows(q, a, 2 * n, b, n, lead);
    const size_t low = n / 2;
    const size_t high = n - low;
    Limb highQuotient =
        divideBalanced(q + low, a + 2 * low, b + low, high, lead, scratch, products);
    highQuotient = subtractRest(q + low, high, highQuotient, a + low, b, n, scratch, products);
    const Limb middleQuotient = divideBalanced(q, a + high, b + high, low, lead, scratch, products);
    // The remainder above is less than b, so that no bit is left above these limbs.
    subtractRest(q, low, middleQuotient, a, b, n, scratch, products);
    return highQuotient;
}

/// bn + qn limbs by bn, for qn <= bn: by the qn leading limbs of the divisor first.
Limb divideShort(Limb* q, Limb* a, const Limb* b, size_t bn, size_t qn, const TwoLimbDivisor& lead,
                 Limb* scratch, ProductScratch& products) {
    if (qn < DivideHalvesThreshold)
        return divideRows(q, a, bn + qn, b, bn, lead);
    const size_t rest = bn - qn;
    const Limb highQuotient = divideBalanced(q, a + rest, b + rest, qn, lead, scratch, products);
    if (rest == 0)
        return highQuotient;
    return subtractRest(q, qn, highQuotient, a, b, bn, scratch, products);
}

/// Whether a reciprocal of the divisor pays: sooner where several parts of the quotient use it.
bool isNewtonBetter(size_t qn, size_t bn) noexcept {
    constexpr size_t Several = 3;
    return std::min(qn, bn) >= NewtonDivideThreshold ||
           (bn >= NewtonRepeatedThreshold && qn / Several >= bn);
}

/// Whether it is better to divide by as many leading limbs as the quotient has first than to
/// multiply the whole divisor by every part of the quotient.
bool isShort(size_t qn, size_t bn) noexcept { return 2 * qn < bn; }

} // namespace

Limb divideSchoolbook(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b) noexcept {
    return divideRows(q, a, an, b.limbs, b.length, b.lead);
}

Limb divideByHalves(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b, Limb* scratch,
                    ProductScratch& products) {
    const size_t bn = b.length;
    size_t left = an - bn;
    const size_t first = left % bn;
    left -= first;
    products.reserve((bn + 1) / 2, (bn + 1) / 2);
    const Limb highQuotient =
        divideShort(q + left, a + left, b.limbs, bn, first, b.lead, scratch, products);
    while (left > 0) {
        left -= bn;
        divideBalanced(q + left, a + left, b.limbs, bn, b.lead, scratch, products);
    }
    return highQuotient;
}

Limb divideNormalized(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b, Limb* scratch,
                      ProductScratch& products) {
    const size_t qn = an - b.length;
    const size_t shorter = std::min(b.length, qn);
    if (shorter < DivideHalvesThreshold)
        return divideSchoolbook(q, a, an, b);
    if (b.inverse)
        return divideByInverse(q, a, an, b, scratch, products);
    if (!isNewtonBetter(qn, b.length))
        return divideByHalves(q, a, an, b, scratch, products);
    if (isShort(qn, b.length)) {
        const size_t rest = b.length - qn;
        const Limb highQuotient = divideNormalized(
            q, a + rest, 2 * qn, NormalizedDivisor(b.limbs + rest, qn), scratch, products);
        return subtractRest(q, qn, highQuotient, a, b.limbs, b.length, scratch, products);
    }
    NormalizedDivisor inverted = b;
    inverted.inverse = scratch;
    inverted.inverseLength = inverseLength(qn, b.length);
    invertDivisor(scratch, inverted, scratch + inverted.inverseLength, products);
    return divideByInverse(q, a, an, inverted, scratch + inverted.inverseLength, products);
}

size_t divideScratch(size_t qn, size_t bn) noexcept {
    if (!isNewtonBetter(qn, bn))
        return bn;
    if (isShort(qn, bn))
        return std::max(bn, divideScratch(qn, qn));
    const size_t n = inverseLength(qn, bn);
    return n + std::max(invertScratch(n), divideByInverseScratch(bn, n));
}

} // namespace qx::math::detail
