#pragma once

#include <qx/math/detail/Limbs.h>
#include <qx/math/detail/Reciprocal.h>

namespace qx::math::detail {

/// The two leading limbs of a divisor, the top bit set, with their reciprocal: a quotient limb of
/// three limbs by two takes two multiplications in place of a division (Möller and Granlund,
/// "Improved division by invariant integers", algorithms 4 and 5). As an estimate of the quotient
/// by a longer divisor it is too large for one divisor in 2^63, and then by one.
class TwoLimbDivisor {
public:
    /// @param high has its top bit set
    TwoLimbDivisor(Limb high, Limb low) noexcept
        : m_high(high), m_low(low), m_inverse(reciprocal(high)) {
        Limb product = high * m_inverse + low;
        if (product < low) {
            --m_inverse;
            if (product >= high) {
                --m_inverse;
                product -= high;
            }
            product -= high;
        }
        const DoubleLimb lowProduct = DoubleLimb{m_inverse} * low;
        product += static_cast<Limb>(lowProduct >> LimbBits);
        if (product < static_cast<Limb>(lowProduct >> LimbBits)) {
            --m_inverse;
            if ((DoubleLimb{product} << LimbBits | static_cast<Limb>(lowProduct)) >= value())
                --m_inverse;
        }
    }

    Limb high() const noexcept { return m_high; }
    Limb low() const noexcept { return m_low; }
    DoubleLimb value() const noexcept { return DoubleLimb{m_high} << LimbBits | m_low; }

    /// Quotient of remainder * 2^64 + next, for remainder < value(); the remainder is replaced.
    Limb divide(DoubleLimb& remainder, Limb next) const noexcept {
        const DoubleLimb estimate =
            DoubleLimb{m_inverse} * static_cast<Limb>(remainder >> LimbBits) + remainder;
        Limb quotient = static_cast<Limb>(estimate >> LimbBits);
        // The rest by the quotient plus 1, from what is known before the quotient is.
        const DoubleLimb less = (remainder << LimbBits | next) - value();
        const Limb highRest = static_cast<Limb>(less >> LimbBits) - quotient * m_high;
        DoubleLimb rest = DoubleLimb{highRest} << LimbBits | static_cast<Limb>(less);
        rest -= DoubleLimb{quotient} * m_low;
        ++quotient;
        // As in divideTwo.
        const bool tooLarge = __builtin_expect_with_probability(
            static_cast<Limb>(rest >> LimbBits) >= static_cast<Limb>(estimate), 1, 0.5);
        const Limb lessOne = quotient - 1;
        const DoubleLimb corrected = rest + value();
        quotient = tooLarge ? lessOne : quotient;
        rest = tooLarge ? corrected : rest;
        if (__builtin_expect(rest >= value(), 0)) {
            ++quotient;
            rest -= value();
        }
        remainder = rest;
        return quotient;
    }

private:
    Limb m_high;
    Limb m_low;
    Limb m_inverse;
};

} // namespace qx::math::detail
