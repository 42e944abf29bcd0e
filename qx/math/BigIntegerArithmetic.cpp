// What BigInteger computes, on the limbs.

#include "qx/math/BigInteger.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include <qx/core/Exception.h>
#include <qx/math/detail/Checks.h>
#include <qx/math/detail/Divide.h>
#include <qx/math/detail/Gcd.h>
#include <qx/math/detail/Limbs.h>
#include <qx/math/detail/Magnitude.h>
#include <qx/math/detail/ModPow.h>
#include <qx/math/detail/Multiply.h>
#include <qx/math/detail/Scratch.h>

namespace qx::math {

namespace {

using detail::compareMagnitudes;
using detail::Limb;
using detail::LimbBits;

constexpr Limb AllOnes = std::numeric_limits<Limb>::max();

/// Whether the sum of the magnitudes may have a limb more than @p longer.
bool mayCarry(const IntegerView& longer, const IntegerView& shorter) noexcept {
    const Limb top = longer.limbs()[longer.length() - 1];
    if (longer.length() != shorter.length())
        return top == AllOnes;
    return top >= AllOnes - shorter.limbs()[shorter.length() - 1];
}

/// r = longer + shorter, the carry included where there is one; the length of the sum. r may be
/// the limbs of an operand.
size_t addMagnitudes(Limb* r, const IntegerView& longer, const IntegerView& shorter) noexcept {
    const size_t common = shorter.length();
    const size_t length = longer.length();
    Limb carry = detail::add(r, longer.limbs(), shorter.limbs(), common);
    carry = detail::addLimb(r + common, longer.limbs() + common, length - common, carry);
    if (carry != 0)
        r[length] = carry;
    return length + carry;
}

/// r = larger - smaller, in as many limbs as larger has. r may be the limbs of an operand.
void subtractMagnitudes(Limb* r, const IntegerView& larger, const IntegerView& smaller) noexcept {
    const size_t common = smaller.length();
    const Limb borrow = detail::subtract(r, larger.limbs(), smaller.limbs(), common);
    detail::subtractLimb(r + common, larger.limbs() + common, larger.length() - common, borrow);
}

/// A sum of two numbers, as what is done to their magnitudes.
struct Addition {
    IntegerView larger, smaller;
    bool adds;

    /// Limbs that the result may have.
    size_t room() const noexcept { return larger.length() + (adds && mayCarry(larger, smaller)); }
    /// Writes the magnitude, which has the sign of the larger operand; its length. r may be the
    /// limbs of an operand.
    size_t into(Limb* r) const noexcept {
        if (adds)
            return addMagnitudes(r, larger, smaller);
        subtractMagnitudes(r, larger, smaller);
        return larger.length();
    }
};

Addition additionOf(const IntegerView& a, const IntegerView& b) noexcept {
    const bool adds = a.isNegative() == b.isNegative();
    return compareMagnitudes(a, b) >= 0 ? Addition{a, b, adds} : Addition{b, a, adds};
}

/// Refuses a power that is too large before any work goes into it.
void checkPowerSize(const IntegerView& base, const IntegerView& exponent) {
    constexpr double MaxBits = 8.0 * std::numeric_limits<int32_t>::max();
    if (exponent.length() > 1)
        detail::throwTooLarge();
    const size_t n = base.length();
    const double next = n > 1 ? std::ldexp(static_cast<double>(base.limbs()[n - 2]), -64) : 0;
    const double top = static_cast<double>(base.limbs()[n - 1]) + next;
    const double bits = std::log2(top) + static_cast<double>((n - 1) * LimbBits);
    // A power near the limit, where the estimate is not sharp, fails when its storage is made.
    if (bits * static_cast<double>(exponent.lowLimb()) > MaxBits)
        detail::throwTooLarge();
}

/// Number of zero bits below the lowest 1 bit.
int64_t trailingZeros(const IntegerView& value) noexcept {
    size_t i = 0;
    while (value.limbs()[i] == 0)
        ++i;
    return static_cast<int64_t>(i) * LimbBits + std::countr_zero(value.limbs()[i]);
}

void requireShift(int64_t bits) {
    if (bits < 0)
        throw RangeErrorException(u"Shift count can't be negative"_qs);
}

} // namespace

bool BigInteger::tryAddLimb(const IntegerView& b) noexcept {
    const IntegerView a(*this);
    if (m_capacity == 0 || a.length() > 1 || b.length() > 1)
        return false;
    const Limb x = a.lowLimb();
    const Limb y = b.lowLimb();
    if (a.isNegative() != b.isNegative())
        setLimb(x > y ? x - y : y - x, x > y ? a.isNegative() : b.isNegative());
    else if (x <= AllOnes - y)
        setLimb(x + y, a.isNegative());
    else
        return false;
    return true;
}

bool BigInteger::tryMultiplyLimb(const IntegerView& b) noexcept {
    const IntegerView a(*this);
    if (m_capacity == 0 || a.length() > 1 || b.length() > 1)
        return false;
    const auto product = detail::DoubleLimb{a.lowLimb()} * b.lowLimb();
    if (product > AllOnes)
        return false;
    setLimb(static_cast<Limb>(product), a.isNegative() != b.isNegative());
    return true;
}

BigInteger& BigInteger::addSigned(const IntegerView& b) {
    if (tryAddLimb(b))
        return *this;
    const IntegerView a(*this);
    if (b.isZero())
        return *this;
    if (a.isZero())
        return assign(b);
    const Addition addition = additionOf(a, b);
    if (addition.room() > capacityInLimbs()) {
        *this = sum(a, b);
    } else {
        const size_t length = addition.into(limbs());
        finish(length, addition.larger.isNegative());
    }
    return *this;
}

BigInteger BigInteger::sum(const IntegerView& a, const IntegerView& b) {
    const Addition addition = additionOf(a, b);
    if (addition.smaller.isZero())
        return BigInteger(addition.larger);
    BigInteger result(Room{addition.room()});
    result.finish(addition.into(result.limbs()), addition.larger.isNegative());
    return result;
}

BigInteger& BigInteger::multiply(const IntegerView& b) {
    if (tryMultiplyLimb(b))
        return *this;
    const IntegerView a(*this);
    const bool negative = a.isNegative() != b.isNegative();
    const size_t length = a.length() + (detail::bitLength(a) + detail::bitLength(b) >
                                        static_cast<int64_t>(a.length() * LimbBits));
    if (a.isZero() || b.isZero()) {
        finish(0, false);
    } else if (b.length() == 1 && length <= capacityInLimbs()) {
        const Limb high = detail::multiplyLimb(limbs(), limbs(), a.length(), b.lowLimb());
        if (length > a.length())
            limbs()[a.length()] = high;
        finish(length, negative);
    } else {
        *this = product(a, b);
    }
    return *this;
}

BigInteger BigInteger::product(const IntegerView& a, const IntegerView& b) {
    if (a.isZero() || b.isZero())
        return BigInteger();
    const size_t length = a.length() + b.length();
    BigInteger result(Room{length});
    detail::multiply(result.limbs(), a.limbs(), a.length(), b.limbs(), b.length());
    result.finish(length, a.isNegative() != b.isNegative());
    return result;
}

BigInteger& BigInteger::divide(const IntegerView& b, BigInteger& remainder) {
    detail::requireDivisor(b);
    if (compareMagnitudes(*this, b) < 0) {
        abs();
        if (&remainder != this) {
            remainder.swap(*this);
            finish(0, false);
        }
    } else if (b.length() == 1) {
        const Limb divisor = b.lowLimb();
        const bool negative = m_negative != b.isNegative();
        remainder.ensureCapacity(sizeof(Limb)); // may be b, which is not needed any more
        const size_t length = IntegerView(*this).length();
        const Limb rest = detail::divideLimb(limbs(), limbs(), length, divisor);
        finish(length, negative);
        remainder.assign(rest);
    } else if (detail::failsUnwritten(IntegerView(*this).length(), b.length())) {
        const IntegerView a(*this);
        // The remainder, which may be either operand, is written last.
        remainder.ensureCapacity(static_cast<int32_t>(b.length() * sizeof(Limb)));
        detail::divide(limbs(), remainder.limbs(), a.limbs(), a.length(), b.limbs(), b.length());
        finish(a.length() - b.length() + 1, a.isNegative() != b.isNegative());
        remainder.finish(b.length(), false);
    } else {
        const IntegerView a(*this);
        const size_t length = a.length() - b.length() + 1;
        BigInteger result(Room{length});
        BigInteger rest(Room{b.length()});
        detail::divide(result.limbs(), rest.limbs(), a.limbs(), a.length(), b.limbs(), b.length());
        result.finish(length, a.isNegative() != b.isNegative());
        rest.finish(b.length(), false);
        swap(result);
        remainder.swap(rest);
    }
    return *this;
}

BigInteger& BigInteger::operator/=(const IntegerView& b) { return *this = quotient(*this, b); }

BigInteger BigInteger::quotient(const IntegerView& a, const IntegerView& b) {
    detail::requireDivisor(b);
    if (compareMagnitudes(a, b) < 0)
        return BigInteger();
    const size_t length = a.length() - b.length() + 1;
    BigInteger result(Room{length});
    if (b.length() == 1) {
        detail::divideLimb(result.limbs(), a.limbs(), length, b.lowLimb());
    } else {
        detail::Scratch<32> rest(b.length());
        detail::divide(result.limbs(), rest.take(b.length()), a.limbs(), a.length(), b.limbs(),
                       b.length());
    }
    result.finish(length, a.isNegative() != b.isNegative());
    return result;
}

BigInteger& BigInteger::mod(const IntegerView& m) {
    detail::requireModulus(m);
    if (compareMagnitudes(*this, m) < 0)
        return m_negative ? add(m) : *this;
    return *this = modulo(*this, m);
}

BigInteger BigInteger::modulo(const IntegerView& a, const IntegerView& m) {
    detail::requireModulus(m);
    if (compareMagnitudes(a, m) < 0)
        return a.isNegative() ? sum(a, m) : BigInteger(a);
    BigInteger rest(Room{m.length()});
    detail::divide(nullptr, rest.limbs(), a.limbs(), a.length(), m.limbs(), m.length());
    rest.finish(m.length(), false);
    if (a.isNegative() && !rest.isZero()) {
        subtractMagnitudes(rest.limbs(), m, rest);
        rest.finish(m.length(), false);
    }
    return rest;
}

BigInteger& BigInteger::pow(const IntegerView& e) {
    if (e.isNegative())
        throw Exception(u"Negative Exponent"_qs);
    if (e.isZero())
        return assign(1);
    const bool negative = m_negative && e.isOdd();
    if (detail::bitLength(*this) <= 1) { // 0 and 1
        m_negative = negative;
        return *this;
    }
    checkPowerSize(*this, e);

    // Powers of two are shifted in at the end.
    const uint64_t exponent = e.lowLimb();
    const int64_t zeros = trailingZeros(*this);
    BigInteger odd = *this >> zeros;
    odd.abs();
    BigInteger power(odd);
    if (odd != 1) {
        for (auto bit = std::bit_width(exponent) - 1; bit-- > 0;) {
            power.multiply(power);
            if ((exponent >> bit & 1) != 0)
                power.multiply(odd);
        }
    }
    power <<= zeros * static_cast<int64_t>(exponent);
    power.m_negative = negative;
    swap(power);
    return *this;
}

BigInteger& BigInteger::modPow(const IntegerView& e, const IntegerView& m) {
    detail::requireModulus(m);
    if (e.isNegative()) {
        BigInteger inverse(*this);
        inverse.modInverse(m).modPow(e.negated(), m);
        swap(inverse);
        return *this;
    }
    const IntegerView base(*this);
    BigInteger power(Room{m.length()});
    detail::modPow(power.limbs(), base.limbs(), base.length(), e.limbs(), e.length(), m.limbs(),
                   m.length());
    power.finish(m.length(), false);
    if (base.isNegative() && e.isOdd() && !power.isZero()) {
        subtractMagnitudes(power.limbs(), m, power);
        power.finish(m.length(), false);
    }
    swap(power);
    return *this;
}

BigInteger& BigInteger::modInverse(const IntegerView& m) {
    const BigInteger residue = modulo(*this, m);
    const IntegerView a(residue);
    if (m.length() == 1 && m.lowLimb() == 1) { // everything is 0 modulo 1, and its own inverse
        finish(0, false);
        return *this;
    }
    BigInteger inverse(Room{m.length()});
    if (a.isZero() ||
        !detail::modInverse(inverse.limbs(), a.limbs(), a.length(), m.limbs(), m.length()))
        throw Exception(u"Not invertible."_qs);
    inverse.finish(m.length(), false);
    swap(inverse);
    return *this;
}

BigInteger& BigInteger::gcd(const IntegerView& b) {
    detail::requireDivisor(b);
    if (isZero())
        return assign(b);
    const IntegerView a(*this);
    BigInteger divisor(Room{std::min(a.length(), b.length())});
    const size_t length =
        detail::gcd(divisor.limbs(), a.limbs(), a.length(), b.limbs(), b.length());
    divisor.finish(length, false);
    divisor.m_negative = b.isNegative() && compareMagnitudes(divisor, b) == 0;
    swap(divisor);
    return *this;
}

BigInteger& BigInteger::operator<<=(int64_t bits) {
    requireShift(bits);
    if (isZero() || bits == 0)
        return *this;
    const IntegerView value(*this);
    const auto above = static_cast<size_t>(bits) / LimbBits;
    const auto rest = static_cast<unsigned>(bits % LimbBits);
    const size_t length = value.length() + above;
    const auto topBits = static_cast<unsigned>((detail::bitLength(value) - 1) % LimbBits + 1);
    const bool grows = topBits + rest > LimbBits;
    const bool inPlace = length + grows <= capacityInLimbs();
    BigInteger fresh(Room{inPlace ? 0 : length + grows});
    BigInteger& target = inPlace ? *this : fresh;

    Limb* const to = target.limbs();
    if (rest == 0) {
        std::copy_backward(value.limbs(), value.limbs() + value.length(), to + length);
    } else {
        const Limb high = detail::shiftLeft(to + above, value.limbs(), value.length(), rest);
        if (grows)
            to[length] = high;
    }
    std::fill_n(to, above, Limb{0});
    target.finish(length + grows, m_negative);
    swap(target);
    return *this;
}

BigInteger& BigInteger::operator>>=(int64_t bits) {
    requireShift(bits);
    const size_t length = IntegerView(*this).length();
    const auto below = std::min(static_cast<size_t>(bits) / LimbBits, length);
    const auto rest = static_cast<unsigned>(bits % LimbBits);
    if (rest == 0)
        std::copy_n(limbs() + below, length - below, limbs());
    else
        detail::shiftRight(limbs(), limbs() + below, length - below, rest);
    finish(length - below, m_negative);
    return *this;
}

} // namespace qx::math
