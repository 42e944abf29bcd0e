#pragma once

#include <bit>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include <qx/core/Number.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/math/IntegerView.h>
#include <qx/platform/export.h>

namespace qx::math {

/// A signed whole number of any size up to 2^31 - 8 bytes: a sign and a magnitude. Zero has no
/// sign.
///
/// The named operations change the number that they are called on; the operators make new numbers
/// by the same rules. An argument may be the number itself. An operation that throws changes
/// nothing. It throws Exception for an argument without a result, ResultException with
/// result::OutOfMemory, before any work, for a result that is too large, and std::bad_alloc when
/// memory runs out.
///
/// Multiplication, division, parsing and printing of long numbers take less than quadratic time.
/// One number is used by one thread at a time.
class QX_API BigInteger : public Number {
public:
    /// Zero, without an allocation.
    BigInteger() noexcept = default;
    template <BuiltInInteger T>
    BigInteger(T value) : BigInteger(IntegerView(value)) {}
    explicit BigInteger(const IntegerView& value);
    /// The magnitude from @p length bytes, least significant first; leading zero bytes are dropped.
    /// @throws RangeErrorException for a negative length, ResultException with result::NullPointer
    ///     for null bytes with a length above 0
    BigInteger(const signed char* bytes, int length, bool negative);
    /// Reads a number in a radix of 2 to 36: "-" for a number below zero, then digits, where
    /// letters of either case stand for the digits above 9. The digits are read in groups of three
    /// from the right, and each group is read like a number of its own: it may begin with white
    /// space or "+" (in radix 16 with "0x"), ends at the first unit that is no digit, and is 0
    /// without a digit. So "12a" is 12 in radix 10.
    /// @throws Exception "Number Format Exception" for a text in which nothing follows the sign,
    ///     and for "-" at any place but the first
    /// @throws RangeErrorException for another radix
    explicit BigInteger(TextView text, int radix = 10);
    BigInteger(const BigInteger& other) : BigInteger(IntegerView(other)) {}
    BigInteger(BigInteger&& other) noexcept { swap(other); }

    /// Copies the number, into the existing memory where that suffices.
    BigInteger& operator=(const BigInteger& other) { return assign(other); }
    BigInteger& operator=(BigInteger&& other) noexcept {
        swap(other);
        return *this;
    }
    BigInteger& operator=(BuiltInInteger auto value) { return assign(value); }
    void swap(BigInteger& other) noexcept {
        std::swap(m_negative, other.m_negative);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
        m_data.swap(other.m_data);
    }
    friend void swap(BigInteger& left, BigInteger& right) noexcept { left.swap(right); }

    BigInteger& abs() noexcept {
        m_negative = false;
        return *this;
    }
    BigInteger& negate() noexcept {
        m_negative = !m_negative && m_size != 0;
        return *this;
    }
    BigInteger& add(const IntegerView& b) { return addSigned(b); }
    BigInteger& subtract(const IntegerView& b) { return addSigned(b.negated()); }
    BigInteger& multiply(const IntegerView& b);
    /// Becomes the quotient, rounded towards zero. @p remainder becomes the remainder of the
    /// magnitudes, which is never negative: -7 by 2 is -3 and 1. @p remainder may be the divisor.
    /// It may also be the number itself, which then becomes the remainder.
    /// @throws Exception "Divide by zero."
    BigInteger& divide(const IntegerView& b, BigInteger& remainder);
    /// The remainder in [0, m): -7 modulo 3 is 2.
    /// @throws Exception "Divide by zero.", "Modulus can't be negative."
    BigInteger& mod(const IntegerView& m);
    /// The power, by squaring and multiplying.
    /// @throws Exception "Negative Exponent"
    BigInteger& pow(const IntegerView& e);
    /// The power in [0, m), reduced at every step. For a negative exponent, the power of the
    /// inverse.
    /// @throws Exception as mod and modInverse do
    BigInteger& modPow(const IntegerView& e, const IntegerView& m);
    /// The inverse in [0, m).
    /// @throws Exception "Not invertible." when the number and @p m have a common divisor; as mod
    BigInteger& modInverse(const IntegerView& m);
    /// The greatest common divisor. It has the sign of the last divisor of Euclid's algorithm: it
    /// is negative when a negative @p b divides the number, otherwise positive.
    /// @throws Exception "Divide by zero." for a b of zero
    BigInteger& gcd(const IntegerView& b);
    /// Sets or clears bit @p n of the magnitude, counted from 0.
    /// @throws RangeErrorException for a negative n
    BigInteger& setBit(int32_t n);
    BigInteger& clearBit(int32_t n);

    /// -1, 0 or 1.
    int compareTo(const BigInteger& other) const noexcept { return compare(*this, other); }
    int compareTo(BuiltInInteger auto other) const noexcept { return compare(*this, other); }
    /// Compares with the big integer of another Number.
    /// @throws CastFailedException for any other object
    int compareTo(const Object& other) const override;
    /// Length of the magnitude in bits, 0 for zero.
    int64_t getBitCount() const noexcept;
    bool isZero() const noexcept { return m_size == 0; }
    bool isNegative() const noexcept { return m_negative; }
    /// The bytes of the magnitude, least significant first, valid until the number is changed. Zero
    /// has no bytes; the pointer may then be null.
    const signed char* getData() const noexcept {
        return reinterpret_cast<const signed char*>(LimbsAreBytes ? m_data.get() : writtenBytes());
    }
    /// The number of these bytes, of which the last one is not 0.
    int32_t getSize() const noexcept { return m_size; }

    [[nodiscard]] BigInteger* clone() const override;
    /// @param radix  2 to 36; digits above 9 are upper-case letters
    /// @throws RangeErrorException for another radix
    String toString(int radix) const;
    /// Decimal.
    String toString() const override { return toString(10); }
    /// The low 63 bits of the magnitude with the sign: 2^63 + 5 gives 5.
    int64_t toInt64() const override;
    /// The value modulo 2^64, so that every unsigned 64-bit value comes back.
    uint64_t toUInt64() const override;
    /// toInt64
    double toDouble() const override;
    BigInteger toBigInteger() const override;
    /// With scale 0.
    BigDecimal toBigDecimal() const override;

    BigInteger& operator+=(const IntegerView& b) { return add(b); }
    BigInteger& operator-=(const IntegerView& b) { return subtract(b); }
    BigInteger& operator*=(const IntegerView& b) { return multiply(b); }
    /// The quotient of divide.
    BigInteger& operator/=(const IntegerView& b);
    /// The same as mod.
    BigInteger& operator%=(const IntegerView& m) { return mod(m); }
    /// Shifts the magnitude: multiplies or divides by 2^bits and rounds towards zero.
    /// @throws RangeErrorException for negative bits
    BigInteger& operator<<=(int64_t bits);
    BigInteger& operator>>=(int64_t bits);

    friend BigInteger operator-(BigInteger value) noexcept { return std::move(value.negate()); }
    friend BigInteger operator+(const IntegerView& left, const IntegerView& right) {
        return sum(left, right);
    }
    template <std::same_as<BigInteger> T>
    friend BigInteger operator+(T&& left, const IntegerView& right) {
        return std::move(left.add(right));
    }
    friend BigInteger operator-(const IntegerView& left, const IntegerView& right) {
        return sum(left, right.negated());
    }
    template <std::same_as<BigInteger> T>
    friend BigInteger operator-(T&& left, const IntegerView& right) {
        return std::move(left.subtract(right));
    }
    friend BigInteger operator*(const IntegerView& left, const IntegerView& right) {
        return product(left, right);
    }
    template <std::same_as<BigInteger> T>
    friend BigInteger operator*(T&& left, const IntegerView& right) {
        return std::move(left.multiply(right));
    }
    friend BigInteger operator/(const IntegerView& left, const IntegerView& right) {
        return quotient(left, right);
    }
    template <std::same_as<BigInteger> T>
    friend BigInteger operator/(T&& left, const IntegerView& right) {
        return std::move(left /= right);
    }
    friend BigInteger operator%(const IntegerView& left, const IntegerView& right) {
        return modulo(left, right);
    }
    friend BigInteger operator<<(BigInteger value, int64_t bits) {
        return std::move(value <<= bits);
    }
    friend BigInteger operator>>(BigInteger value, int64_t bits) {
        return std::move(value >>= bits);
    }
    friend bool operator==(const IntegerView& left, const IntegerView& right) noexcept {
        return compare(left, right) == 0;
    }
    friend std::strong_ordering operator<=>(const IntegerView& left,
                                            const IntegerView& right) noexcept {
        return compare(left, right) <=> 0;
    }

protected:
    /// Makes room for @p bytes bytes.
    void ensureCapacity(int32_t bytes);
    /// Sets the number of magnitude bytes in use; new ones are 0.
    void setSize(int32_t bytes);
    void setByteArray(const signed char* bytes, int32_t length, bool negative);
    /// Drops zero bytes at the high end.
    void truncateZeroBytes() noexcept;
    /// Sets or clears a bit of @p length bytes, when there is such a byte.
    static void setBit(signed char* bytes, int32_t length, int32_t bit) noexcept;
    static void clearBit(signed char* bytes, int32_t length, int32_t bit) noexcept;

private:
    friend class IntegerView;

    /// Storage of so many limbs that are still to be written.
    struct Room {
        size_t limbs;
    };
    explicit BigInteger(Room room);

    static int compare(const IntegerView& left, const IntegerView& right) noexcept {
        if (left.length() > 1 || right.length() > 1)
            return compareLong(left, right);
        if (left.isNegative() != right.isNegative())
            return left.isNegative() ? -1 : 1;
        const uint64_t a = left.lowLimb();
        const uint64_t b = right.lowLimb();
        return a == b ? 0 : (a < b) == left.isNegative() ? 1 : -1;
    }
    static int compareLong(const IntegerView& left, const IntegerView& right) noexcept;
    static BigInteger sum(const IntegerView& left, const IntegerView& right);
    static BigInteger product(const IntegerView& left, const IntegerView& right);
    static BigInteger quotient(const IntegerView& left, const IntegerView& right);
    static BigInteger modulo(const IntegerView& left, const IntegerView& right);

    BigInteger& assign(const IntegerView& value);
    BigInteger& addSigned(const IntegerView& b);
    /// The sum or product in place, where a limb holds it and both operands; false where it does
    /// not.
    bool tryAddLimb(const IntegerView& b) noexcept;
    bool tryMultiplyLimb(const IntegerView& b) noexcept;
    /// To be called with room for a limb.
    void setLimb(uint64_t limb, bool negative) noexcept;
    uint64_t* limbs() noexcept { return m_data.get(); }
    /// Writes the bytes of the magnitude behind the limbs.
    const uint64_t* writtenBytes() const noexcept;
    size_t capacityInLimbs() const noexcept {
        return static_cast<size_t>(m_capacity) / sizeof(uint64_t);
    }
    /// Ends the magnitude after @p limbs limbs, those of zero at the high end dropped.
    void finish(size_t limbs, bool negative) noexcept;

    /// Whether limbs are, as they lie, the bytes of the magnitude. Where they are not, there is as
    /// much storage for the bytes behind them.
    static constexpr bool LimbsAreBytes = std::endian::native == std::endian::little;

    bool m_negative = false;
    /// Bytes of the magnitude.
    int32_t m_size = 0;
    /// Bytes of limbs, a multiple of those of one.
    int32_t m_capacity = 0;
    /// The magnitude, its least significant limb first. The bytes of the last limb above m_size are
    /// 0.
    std::unique_ptr<uint64_t[]> m_data;
};

inline IntegerView::IntegerView(const BigInteger& value) noexcept
    : m_limbs(value.m_data.get()),
      m_length((static_cast<size_t>(value.m_size) + sizeof(uint64_t) - 1) / sizeof(uint64_t)),
      m_negative(value.m_negative) {}

} // namespace qx::math

using CQXBigInteger = qx::math::BigInteger;

/// Hash of all of the number.
template <>
struct std::hash<qx::math::BigInteger> {
    QX_API size_t operator()(const qx::math::BigInteger& number) const noexcept;
};
