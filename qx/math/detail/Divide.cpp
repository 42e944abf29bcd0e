#include <qx/math/detail/Divide.h>

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

} // namespace

void divide(Limb* q, Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
    const size_t qn = an - bn + 1;
    if (bn == 1) {
        Scratch<InlineLimbs> scratch(q ? 0 : qn);
        r[0] = divideLimb(q ? q : scratch.take(qn), a, an, b[0]);
        return;
    }
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
