#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/TextView.h>

namespace qx {

namespace math {
class BigDecimal;
class BigInteger;
} // namespace math

/// A number as an object: converts to every built-in width and to the big numbers, compares, hashes
/// and prints. toInt64 and toDouble are what a class must supply, the rest is built on them.
///
/// Conversions to narrower integers keep the low bits and never fail. Threads may read a number at
/// once; whoever changes it has it alone.
class QX_API Number : public Object {
public:
    /// The value; a fraction is cut off.
    virtual int64_t toInt64() const = 0;
    virtual double toDouble() const = 0;

    virtual signed char toByte() const;
    virtual int8_t toInt8() const;
    virtual short toShort() const;
    virtual int16_t toInt16() const;
    virtual int toInt() const;
    virtual int32_t toInt32() const;
    /// 32 bits.
    virtual int32_t toLong() const;
    virtual unsigned char toUByte() const;
    virtual uint8_t toUInt8() const;
    virtual unsigned short toUShort() const;
    virtual uint16_t toUInt16() const;
    virtual unsigned int toUInt() const;
    virtual uint32_t toUInt32() const;
    /// 32 bits.
    virtual uint32_t toULong() const;
    virtual float toFloat() const;
    /// From toInt64. Callers include qx/math/BigInteger.h.
    virtual math::BigInteger toBigInteger() const;
    /// From toInt64, with scale 0. Callers include qx/math/BigDecimal.h.
    virtual math::BigDecimal toBigDecimal() const;
    virtual uint64_t toUInt64() const;

    /// True when compareTo gives 0.
    /// @throws CastFailedException as compareTo does for an object of another class
    bool equals(const Object& other) const override;
    /// toUInt32
    uint32_t hashCode() const override;

    /// Converts decimal text (white space, a sign, digits) to an integer, cut to the width. What
    /// follows the digits is ignored. Text without digits gives 0, a number that does not fit into
    /// 32 bits the nearest limit.
    static int parseInt(TextView text);
    static int8_t parseInt8(TextView text);
    static int16_t parseInt16(TextView text);
    static int32_t parseInt32(TextView text);
    static signed char parseByte(TextView text);
    static short parseShort(TextView text);
    static int32_t parseLong(TextView text);
    /// The same in a radix from 2 to 36. Radix 0 goes by the prefix, 0x for 16 and 0 for 8, and
    /// radix 16 skips a prefix 0x. A number that does not fit into 32 bits gives 2^32 - 1, a minus
    /// sign negates modulo 2^32. In any other radix every text gives 0.
    static unsigned int parseUInt(TextView text, int radix = 10);
    static uint8_t parseUInt8(TextView text, int radix = 10);
    static uint16_t parseUInt16(TextView text, int radix = 10);
    static uint32_t parseUInt32(TextView text, int radix = 10);
    static unsigned char parseUByte(TextView text, int radix = 10);
    static unsigned short parseUShort(TextView text, int radix = 10);
    static uint32_t parseULong(TextView text, int radix = 10);
    /// Decimal or, behind 0x, hexadecimal floating point, "inf" and "nan", under every locale.
    static double parseDouble(TextView text);
    static float parseFloat(TextView text);
    /// The low 64 bits of the big integer that the text stands for.
    /// @throws Exception, RangeErrorException as the constructor of math::BigInteger does
    static int64_t parseInt64(TextView text);
    static uint64_t parseUInt64(TextView text, int radix = 10);
    /// @throws Exception "Number Format Exception"
    static math::BigInteger parseBigInteger(TextView text);
    static math::BigDecimal parseBigDecimal(TextView text);

protected:
    /// @p value without its fraction; what does not fit is the nearest limit, NaN is 0.
    static int64_t truncate(double value) noexcept;
};

/// Base of the signed integers.
class QX_API SignedInteger : public Number {
public:
    /// Decimal.
    String toString() const override;
};

/// Base of the unsigned integers, whose conversions start from toUInt64 in the place of toInt64.
class QX_API UnsignedInteger : public Number {
public:
    signed char toByte() const override;
    int8_t toInt8() const override;
    short toShort() const override;
    int16_t toInt16() const override;
    int toInt() const override;
    int32_t toInt32() const override;
    int32_t toLong() const override;
    unsigned char toUByte() const override;
    uint8_t toUInt8() const override;
    unsigned short toUShort() const override;
    uint16_t toUInt16() const override;
    unsigned int toUInt() const override;
    uint32_t toUInt32() const override;
    uint32_t toULong() const override;
    math::BigInteger toBigInteger() const override;
    math::BigDecimal toBigDecimal() const override;

    /// Decimal.
    String toString() const override;
    /// @param radix  2 to 36; digits above 9 are upper-case letters
    /// @throws RangeErrorException for any other radix
    virtual String toString(int radix) const;
};

} // namespace qx

using CQXNumber = qx::Number;
using CQXSignedInteger = qx::SignedInteger;
using CQXUnsignedInteger = qx::UnsignedInteger;
