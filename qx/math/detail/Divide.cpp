#include "qx/math/detail/Divide.h"

#include <algorithm>
#include <bit>

#include <qx/math/detail/DivideNormalized.h>
#include <qx/math/detail/Scratch.h>

namespace qx::math::detail {

namespace {

/// Limbs of scratch on the stack: enough for a divisor of 64 limbs and a dividend twice as long.
constexpr size_t InlineLimbs = 272;

/// r = a * 2^bits for 0 <= bits <= 63; returns the bits shifted out.
Limb shiftOrCopy(Limb* r, const Limb* a, size_t n, unsigned bits) noexcept {
    if (bits != 0)
        return shiftLeft(r, a, n, bits);
    std::copy_n(a, n, r);
    return 0;
}

/// By a divisor of two limbs, as divide otherwise: shifted on the way, without scratch.
void divideByTwoLimbs(Limb* q, Limb* r, const Limb* a, size_t an, const Limb* b) noexcept {
    const auto bits = static_cast<unsigned>(std::countl_zero(b[1]));
    // The bits of a limb that a shift takes into the limb above.
    const auto carried = [bits](Limb limb) { return limb >> 1 >> (LimbBits - 1 - bits); };
    const TwoLimbDivisor divisor(b[1] << bits | carried(b[0]), b[0] << bits);
    Limb next = a[an - 1];
    Limb below = a[an - 2];
    // Less than the divisor, whose first limb has its top bit set.
    DoubleLimb rest = DoubleLimb{carried(next)} << LimbBits | (next << bits | carried(below));
    for (size_t i = an - 1; i-- > 0;) {
        next = below;
        below = i > 0 ? a[i - 1] : 0;
        const Limb quotient = divisor.divide(rest, next << bits | carried(below));
        if (q)
            q[i] = quotient;
    }
    rest >>= bits;
    r[0] = static_cast<Limb>(rest);
    r[1] = static_cast<Limb>(rest >> LimbBits);
}

} // namespace

void divide(Limb* q, Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
    const size_t qn = an - bn + 1;
    if (bn == 1) {
        Scratch<InlineLimbs> scratch(q ? 0 : qn);
        r[0] = divideLimb(q ? q : scratch.take(qn), a, an, b[0]);
        return;
    }
    if (bn == 2)
        return divideByTwoLimbs(q, r, a, an, b);
    const size_t divisionScratch = divideScratch(qn, bn);
    Scratch<InlineLimbs> scratch(an + 1 + bn + divisionScratch + (q ? 0 : qn));
    const auto bits = static_cast<unsigned>(std::countl_zero(b[bn - 1]));
    Limb* const divisor = scratch.take(bn);
    shiftOrCopy(divisor, b, bn, bits);
    Limb* const dividend = scratch.take(an + 1);
    dividend[an] = shiftOrCopy(dividend, a, an, bits);
    Limb* const quotient = q ? q : scratch.take(qn);

    ProductScratch products;
    // The limb above the dividend is less than the divisor's first, so the quotient has qn limbs.
    divideNormalized(quotient, dividend, an + 1, NormalizedDivisor(divisor, bn),
                     scratch.take(divisionScratch), products);
    if (bits != 0)
        shiftRight(r, dividend, bn, bits);
    else
        std::copy_n(dividend, bn, r);
}

} // namespace qx::math::detail
