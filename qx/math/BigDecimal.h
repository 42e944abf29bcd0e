#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include <qx/core/Number.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/math/BigInteger.h>
#include <qx/platform/export.h>

namespace qx::math {

/// A decimal number of any size: an unscaled BigInteger and a scale, the number of its digits
/// behind the point. The value is unscaled * 10^-scale; a scale may be negative.
///
/// The named operations change the number that they are called on; the operators make new numbers.
/// An argument may be the number itself. An operation that throws changes nothing. It throws
/// RangeErrorException for a scale beyond 32 bits and when bringing a number to another scale would
/// append more than 100 million digits, otherwise what BigInteger throws. One number is used by one
/// thread at a time.
class QX_API BigDecimal : public Number {
public:
    /// Zero with scale 0.
    BigDecimal() noexcept = default;
    BigDecimal(BigInteger unscaled, int scale = 0) noexcept
        : m_unscaled(std::move(unscaled)), m_scale(scale) {}
    template <BuiltInInteger T>
    BigDecimal(T value) : m_unscaled(value) {}
    /// Reads a decimal number with or without a point. Zeros at the end of the fraction are
    /// dropped; a fraction of zeros alone keeps one of them. BigInteger says how the digits are
    /// read.
    /// @throws Exception "Number Format Exception" as BigInteger does
    explicit BigDecimal(TextView text);
    /// The value with six decimal places, without the zeros at their end except for one; 0 for
    /// infinity and NaN, as for their texts, which have no digits.
    explicit BigDecimal(float value) : BigDecimal(double{value}) {}
    explicit BigDecimal(double value);

    BigDecimal& operator=(BuiltInInteger auto value) {
        m_unscaled = value;
        m_scale = 0;
        return *this;
    }
    /// As the constructor.
    BigDecimal& operator=(double value) { return *this = BigDecimal(value); }
    void swap(BigDecimal& other) noexcept {
        m_unscaled.swap(other.m_unscaled);
        std::swap(m_scale, other.m_scale);
    }
    friend void swap(BigDecimal& left, BigDecimal& right) noexcept { left.swap(right); }

    /// The result has the larger of the two scales.
    BigDecimal& add(const BigDecimal& b) { return combine(b, &BigInteger::add); }
    BigDecimal& subtract(const BigDecimal& b) { return combine(b, &BigInteger::subtract); }
    /// The result has the sum of the two scales.
    BigDecimal& multiply(const BigDecimal& b);
    /// Becomes the quotient with @p scale decimal places, rounded half away from zero.
    /// @throws Exception "Divide by zero."
    BigDecimal& divide(const BigDecimal& b, int scale);
    BigDecimal& negate() noexcept {
        m_unscaled.negate();
        return *this;
    }
    /// Brings the number to @p scale decimal places; surplus digits are cut off.
    BigDecimal& setScale(int scale);

    int getScale() const noexcept { return m_scale; }
    bool isNegative() const noexcept { return m_unscaled.isNegative(); }
    const BigInteger& getUnscaled() const noexcept { return m_unscaled; }
    /// The absolute value of the unscaled number.
    BigInteger abs() const { return std::move(BigInteger(m_unscaled).abs()); }
    /// The bytes of the magnitude of the unscaled number, least significant first, valid until the
    /// number is changed; and the number of these bytes.
    const signed char* getData() const noexcept { return m_unscaled.getData(); }
    virtual int32_t getSize() const;

    /// -1, 0 or 1; numbers that differ only in their scale are equal.
    int compareTo(const BigDecimal& other) const;
    /// Compares with the big decimal of another Number.
    /// @throws CastFailedException for any other object
    int compareTo(const Object& other) const override;

    [[nodiscard]] BigDecimal* clone() const override;
    /// toUInt32, the same for equal big decimals of any scale. From 2^53 on that of an equal
    /// BigInteger may be another, and beyond 64 bits all of one sign have the same: large numbers
    /// are no good keys of a hash map, and both classes in one map are none.
    uint32_t hashCode() const override;
    /// All digits, with as many behind the point as the scale says. For a negative scale the
    /// unscaled number alone, without the zeros that the scale stands for.
    String toString() const override;
    /// toDouble without its fraction; a value out of range gives the nearest limit.
    int64_t toInt64() const override;
    /// The double that is nearest to the number that toString prints.
    double toDouble() const override;
    /// The value at scale 0, its fraction cut off.
    BigInteger toBigInteger() const override;
    BigDecimal toBigDecimal() const override;

    BigDecimal& operator+=(const BigDecimal& b) { return add(b); }
    BigDecimal& operator-=(const BigDecimal& b) { return subtract(b); }
    BigDecimal& operator*=(const BigDecimal& b) { return multiply(b); }

    friend BigDecimal operator-(BigDecimal value) noexcept { return std::move(value.negate()); }
    friend BigDecimal operator+(BigDecimal left, const BigDecimal& right) {
        return std::move(left.add(right));
    }
    friend BigDecimal operator-(BigDecimal left, const BigDecimal& right) {
        return std::move(left.subtract(right));
    }
    friend BigDecimal operator*(BigDecimal left, const BigDecimal& right) {
        return std::move(left.multiply(right));
    }
    friend bool operator==(const BigDecimal& left, const BigDecimal& right) {
        return left.compareTo(right) == 0;
    }
    /// Weak, because equal numbers may differ in their scale.
    friend std::weak_ordering operator<=>(const BigDecimal& left, const BigDecimal& right) {
        return left.compareTo(right) <=> 0;
    }

protected:
    void parseDecimal(TextView text);

private:
    using Operation = BigInteger& (BigInteger::*)(const IntegerView&);
    BigDecimal& combine(const BigDecimal& b, Operation operation);

    BigInteger m_unscaled;
    int32_t m_scale = 0;
};

} // namespace qx::math

using CQXBigDecimal = qx::math::BigDecimal;

/// Hash by value, whatever the scale.
template <>
struct std::hash<qx::math::BigDecimal> {
    QX_API size_t operator()(const qx::math::BigDecimal& number) const noexcept;
};
