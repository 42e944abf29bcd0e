#include "qx/math/BigDecimal.h"

#include <algorithm>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/TypeName.h>
#include <qx/core/detail/Decimal.h>
#include <qx/core/detail/ExactClone.h>
#include <qx/math/detail/Checks.h>
#include <qx/math/detail/Limbs.h>
#include <qx/platform/text.h>

namespace qx::math {

namespace {

using qx::detail::PowersOfTen;

/// Digits that a number of so many bits has at least and at most: log10(2) is 0.301029995...
int64_t minDigits(int64_t bits) { return bits == 0 ? 1 : (bits - 1) * 301029 / 1000000 + 1; }
int64_t maxDigits(int64_t bits) { return bits * 301030 / 1000000 + 1; }
int64_t maxDigits(const BigInteger& value) { return maxDigits(value.getBitCount()); }

/// Multiplies by 10^digits.
void appendZeros(BigInteger& value, int64_t digits) {
    // What a few bytes of input ask for must not take gigabytes and minutes.
    constexpr int64_t MaxDigits = 100'000'000;
    if (value.isZero() || digits == 0)
        return;
    if (digits > MaxDigits)
        throw RangeErrorException(u"Scales too far apart"_qs);
    if (digits < std::ssize(PowersOfTen))
        value.multiply(PowersOfTen[static_cast<size_t>(digits)]);
    else
        value.multiply(BigInteger(10).pow(digits));
}

/// Divides by 10^digits.
void dropDigits(BigInteger& value, int64_t digits) {
    if (digits >= maxDigits(value))
        value = 0;
    else if (digits < std::ssize(PowersOfTen))
        value /= PowersOfTen[static_cast<size_t>(digits)];
    else
        value /= BigInteger(10).pow(digits);
}

int32_t checkedScale(int64_t scale) {
    if (scale != static_cast<int32_t>(scale))
        throw RangeErrorException(u"Scale too large"_qs);
    return static_cast<int32_t>(scale);
}

/// Arithmetic modulo the prime 2^61 - 1, in which 10 has an inverse: equal decimals have equal
/// residues, whatever their scales.
namespace residue {

constexpr uint64_t Prime = (uint64_t{1} << 61) - 1;
constexpr uint64_t TenthOfOne = Prime / 10 * 9 + 1; // the prime ends in 1

constexpr uint64_t reduce(uint64_t value) noexcept {
    const uint64_t folded = (value & Prime) + (value >> 61);
    return folded >= Prime ? folded - Prime : folded;
}

uint64_t multiply(uint64_t a, uint64_t b) noexcept {
    const auto product = detail::DoubleLimb{a} * b;
    return reduce((static_cast<uint64_t>(product) & Prime) + static_cast<uint64_t>(product >> 61));
}

uint64_t power(uint64_t base, uint64_t exponent) noexcept {
    uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1, base = multiply(base, base)) {
        if (exponent % 2 != 0)
            result = multiply(result, base);
    }
    return result;
}

uint64_t of(const IntegerView& value) noexcept {
    uint64_t result = 0;
    for (size_t i = value.length(); i-- > 0;)
        result = reduce(reduce(result << 3) + reduce(value.limbs()[i])); // 2^64 is 8
    return result;
}

} // namespace residue

} // namespace

BigDecimal& BigDecimal::combine(const BigDecimal& b, Operation operation) {
    const int64_t missing = int64_t{b.m_scale} - m_scale;
    if (missing > 0) {
        BigInteger result(m_unscaled);
        appendZeros(result, missing);
        (result.*operation)(b.m_unscaled);
        m_unscaled.swap(result);
        m_scale = b.m_scale;
    } else if (missing < 0) {
        BigInteger operand(b.m_unscaled);
        appendZeros(operand, -missing);
        (m_unscaled.*operation)(operand);
    } else {
        (m_unscaled.*operation)(b.m_unscaled);
    }
    return *this;
}

BigDecimal& BigDecimal::multiply(const BigDecimal& b) {
    const int32_t scale = checkedScale(int64_t{m_scale} + b.m_scale);
    m_unscaled.multiply(b.m_unscaled);
    m_scale = scale;
    return *this;
}

BigDecimal& BigDecimal::divide(const BigDecimal& b, int scale) {
    detail::requireDivisor(b.m_unscaled);
    const bool negative = isNegative() != b.isNegative();
    const int64_t missing = int64_t{b.m_scale} + scale - m_scale;
    BigInteger quotient;
    // Otherwise not even half a unit of the last place.
    if (-missing <= maxDigits(m_unscaled)) {
        quotient = m_unscaled;
        BigInteger divisor(b.m_unscaled);
        appendZeros(missing > 0 ? quotient : divisor, std::abs(missing));
        BigInteger remainder;
        quotient.divide(divisor, remainder);
        if ((remainder <<= 1) >= divisor.abs())
            quotient.add(negative ? -1 : 1);
    }
    m_unscaled.swap(quotient);
    m_scale = scale;
    return *this;
}

BigDecimal& BigDecimal::setScale(int scale) {
    const int64_t missing = int64_t{scale} - m_scale;
    if (missing > 0)
        appendZeros(m_unscaled, missing);
    else if (missing < 0)
        dropDigits(m_unscaled, -missing);
    m_scale = scale;
    return *this;
}

int32_t BigDecimal::getSize() const { return m_unscaled.getSize(); }

int BigDecimal::compareTo(const BigDecimal& other) const {
    if (m_scale == other.m_scale || m_unscaled.isZero() || other.m_unscaled.isZero() ||
        isNegative() != other.isNegative())
        return m_unscaled.compareTo(other.m_unscaled);

    // By the place of the first digit, which also keeps the operands below from growing far.
    const int larger = isNegative() ? -1 : 1;
    const int64_t bits = m_unscaled.getBitCount();
    const int64_t otherBits = other.m_unscaled.getBitCount();
    if (minDigits(bits) - m_scale > maxDigits(otherBits) - other.m_scale)
        return larger;
    if (minDigits(otherBits) - other.m_scale > maxDigits(bits) - m_scale)
        return -larger;

    BigInteger coarser(m_scale < other.m_scale ? m_unscaled : other.m_unscaled);
    appendZeros(coarser, std::abs(int64_t{m_scale} - other.m_scale));
    return m_scale < other.m_scale ? coarser.compareTo(other.m_unscaled)
                                   : m_unscaled.compareTo(coarser);
}

int BigDecimal::compareTo(const Object& other) const {
    if (this == &other)
        return 0;
    if (const auto* const same = castTo<const BigDecimal>(&other))
        return compareTo(*same);
    if (const auto* const number = castTo<const Number>(&other))
        return compareTo(number->toBigDecimal());
    throwCastFailed(typeName<BigDecimal>());
}

BigDecimal* BigDecimal::clone() const { return qx::detail::exactClone(*this); }

uint32_t BigDecimal::hashCode() const {
    if (m_scale >= 0 || m_unscaled.isZero())
        return toUInt32();
    // With all its digits, as an equal number of another scale; those of 64 bits suffice.
    constexpr int64_t MostDigits = 20;
    BigInteger digits(m_unscaled);
    appendZeros(digits, std::min(-int64_t{m_scale}, MostDigits));
    return BigDecimal(std::move(digits)).toUInt32();
}

int64_t BigDecimal::toInt64() const { return truncate(toDouble()); }

double BigDecimal::toDouble() const {
    String text = m_unscaled.toString();
    if (m_scale > 0)
        text.append(u"e-").append(m_scale);
    return QXStrToDW(text.getData(), nullptr);
}

BigInteger BigDecimal::toBigInteger() const {
    BigDecimal whole(*this);
    whole.setScale(0);
    return std::move(whole.m_unscaled);
}

BigDecimal BigDecimal::toBigDecimal() const { return *this; }

} // namespace qx::math

size_t
std::hash<qx::math::BigDecimal>::operator()(const qx::math::BigDecimal& number) const noexcept {
    namespace residue = qx::math::residue;
    const auto scale = int64_t{number.getScale()};
    const uint64_t unit = residue::power(scale > 0 ? residue::TenthOfOne : 10,
                                         static_cast<uint64_t>(std::abs(scale)));
    const uint64_t value = residue::multiply(residue::of(number.getUnscaled()), unit);
    return static_cast<size_t>(number.isNegative() ? ~value : value);
}
