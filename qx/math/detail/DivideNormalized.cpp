#include <qx/math/detail/DivideNormalized.h>

#include <qx/math/detail/Multiply.h>
#include <qx/math/detail/Thresholds.h>

namespace qx::math::detail {

Limb divideSchoolbook(Limb* q, Limb* a, size_t an, const Limb* b, size_t bn,
                      const TwoLimbDivisor& divisor) noexcept {
    Limb* top = a + (an - bn);
    const Limb highQuotient = compare(top, b, bn) >= 0;
    if (highQuotient)
        subtract(top, top, b, bn);

    // The two leading limbs of the remainder stay in registers; those in memory are out of date.
    DoubleLimb lead = DoubleLimb{top[bn - 1]} << LimbBits | top[bn - 2];
    for (size_t i = an - bn; i-- > 0;) {
        --top;
        const Limb next = top[bn - 2];
        Limb quotient;
        if (__builtin_expect(lead == divisor.value(), 0)) {
            // The quotient of three limbs by two would not fit.
            quotient = ~Limb{0};
            top[bn - 1] = static_cast<Limb>(lead);
            subtractProduct(top, b, bn, quotient);
            lead = DoubleLimb{top[bn - 1]} << LimbBits | top[bn - 2];
        } else {
            quotient = divisor.divide(lead, next);
            const Limb borrow = subtractProduct(top, b, bn - 2, quotient);
            const bool tooLarge = lead < borrow;
            lead -= borrow;
            if (__builtin_expect(tooLarge, 0)) {
                --quotient;
                lead += divisor.value() + add(top, top, b, bn - 2);
            }
        }
        q[i] = quotient;
    }
    top[bn - 1] = static_cast<Limb>(lead >> LimbBits);
    top[bn - 2] = static_cast<Limb>(lead);
    return highQuotient;
}

namespace {

/// Takes quotient * (the k low limbs of b) from the remainder of a division by the other limbs of
/// b, and mends the quotient, which can be too large by 2. The remainder is in a[bn].
/// @param q qn = bn - k limbs, above them the bit @p highQuotient, whose new value is returned
Limb subtractRest(Limb* q, size_t qn, Limb highQuotient, Limb* a, const Limb* b, size_t bn,
                  Limb* scratch) {
    const size_t k = bn - qn;
    if (k > qn)
        multiply(scratch, b, k, q, qn);
    else
        multiply(scratch, q, qn, b, k);
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
Limb divideBalanced(Limb* q, Limb* a, const Limb* b, size_t n, const TwoLimbDivisor& divisor,
                    Limb* scratch) {
    if (n < DivideRecursiveThreshold)
        return divideSchoolbook(q, a, 2 * n, b, n, divisor);
    const size_t low = n / 2;
    const size_t high = n - low;
    Limb highQuotient = divideBalanced(q + low, a + 2 * low, b + low, high, divisor, scratch);
    highQuotient = subtractRest(q + low, high, highQuotient, a + low, b, n, scratch);
    const Limb middleQuotient = divideBalanced(q, a + high, b + high, low, divisor, scratch);
    // The remainder above is less than b, so that no bit is left above these limbs.
    subtractRest(q, low, middleQuotient, a, b, n, scratch);
    return highQuotient;
}

/// bn + qn limbs by bn, for qn <= bn: by the qn leading limbs of the divisor first.
Limb divideShort(Limb* q, Limb* a, const Limb* b, size_t bn, size_t qn,
                 const TwoLimbDivisor& divisor, Limb* scratch) {
    if (qn < DivideRecursiveThreshold)
        return divideSchoolbook(q, a, bn + qn, b, bn, divisor);
    const size_t rest = bn - qn;
    const Limb highQuotient = divideBalanced(q, a + rest, b + rest, qn, divisor, scratch);
    if (rest == 0)
        return highQuotient;
    return subtractRest(q, qn, highQuotient, a, b, bn, scratch);
}

} // namespace

Limb divideNormalized(Limb* q, Limb* a, size_t an, const Limb* b, size_t bn,
                      const TwoLimbDivisor& divisor, Limb* scratch) {
    if (bn < DivideRecursiveThreshold)
        return divideSchoolbook(q, a, an, b, bn, divisor);
    size_t left = an - bn;
    const size_t first = left % bn;
    left -= first;
    const Limb highQuotient = divideShort(q + left, a + left, b, bn, first, divisor, scratch);
    while (left > 0) {
        left -= bn;
        divideBalanced(q + left, a + left, b, bn, divisor, scratch);
    }
    return highQuotient;
}

} // namespace qx::math::detail
