#include <array>
#include <cmath>
#include <limits>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/Reference.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>
#include <tests/support/TestLocale.h>

using namespace qx;
using math::BigDecimal;
using math::BigInteger;

namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr int64_t Min64 = std::numeric_limits<int64_t>::min();
constexpr int64_t Max64 = std::numeric_limits<int64_t>::max();
constexpr uint64_t MaxU64 = std::numeric_limits<uint64_t>::max();

/// What functions of one width have in common.
template <class Value, class... Same>
bool allAre(Value value, Same... same) {
    return ((same == value) && ...);
}

/// The order of two objects through the slot that every object has.
int orderAsObjects(const Object& left, const Object& right) { return left.compareTo(right); }

} // namespace

template <class Boxed>
class BoxedNumbers : public testing::Test {
public:
    using Plain = typename Boxed::ValueType;
    using Limits = std::numeric_limits<Plain>;
    static constexpr std::array<Plain, 6> Samples{
        Limits::lowest(), static_cast<Plain>(-1), 0, 1, 100, Limits::max()};
};

using BoxedTypes = testing::Types<Integer8, Integer16, Integer32, Integer64, UInteger8, UInteger16,
                                  UInteger32, UInteger64, Float, Double>;
TYPED_TEST_SUITE(BoxedNumbers, BoxedTypes);

TYPED_TEST(BoxedNumbers, BehaveLikeTheirValue) {
    using Value = typename TestFixture::Plain;
    EXPECT_EQ(TypeParam(), Value{0});
    for (const Value value : this->Samples) {
        TypeParam number;
        EXPECT_EQ(&(number = value), &number);
        const TypeParam copy(number);
        TypeParam assigned(Value{1});
        assigned = copy;
        EXPECT_EQ(static_cast<Value>(assigned), value);
        const Reference<Object> clone(number.clone());
        EXPECT_EQ(static_cast<Value>(copy), value);
        EXPECT_TRUE(clone->equals(number));
        EXPECT_EQ(clone->hashCode(), number.hashCode());
        EXPECT_EQ(number.GetRefCount(), 0u);
        EXPECT_EQ(number.toDouble(), static_cast<double>(value));
        EXPECT_EQ(number.toBigDecimal().compareTo(number), 0);
        EXPECT_EQ(std::hash<TypeParam>()(number), std::hash<Value>()(value));

        std::ostringstream printed;
        printed << number;
        EXPECT_TRUE(number.toString() == String::fromUtf8(printed.str()));
        if constexpr (!std::is_floating_point_v<Value>) {
            EXPECT_EQ(printed.str(), std::to_string(value));
            // A big integer keeps 63 bits of its magnitude in 64 with a sign.
            const Value back = static_cast<int64_t>(value) == Min64 ? 0 : value;
            EXPECT_EQ(TypeParam(number.toString()), back);
            EXPECT_EQ(TypeParam(number.toBigInteger()), back);
        }
    }
}

TYPED_TEST(BoxedNumbers, OrderByValue) {
    using Value = typename TestFixture::Plain;
    for (const Value left : this->Samples) {
        for (const Value right : this->Samples) {
            const TypeParam a(left);
            const TypeParam b(right);
            const int order = a.compareTo(b);
            if constexpr (sizeof(Value) <= 2)
                EXPECT_EQ(order, left - right);
            else
                EXPECT_EQ(order, (left > right) - (left < right));
            EXPECT_EQ(orderAsObjects(a, b), order);
            EXPECT_EQ(a.equals(b), left == right);
            EXPECT_EQ(a < b, left < right);
        }
    }
}

TYPED_TEST(BoxedNumbers, CompareAsObjectsWithTheirOwnClassOnly) {
    class Other : public Number {
        int64_t toInt64() const override { return 0; }
        double toDouble() const override { return 0; }
    };
    const TypeParam zero;
    EXPECT_EQ(zero.compareTo(static_cast<const Number&>(Other())), 0);
    EXPECT_THROW(orderAsObjects(zero, Other()), CastFailedException);
    EXPECT_THROW(zero.equals(Other()), CastFailedException);
    EXPECT_THROW(zero.equals(String(u"0")), CastFailedException);

    int order = 1;
    Other other;
    EXPECT_EQ(const_cast<TypeParam&>(zero).CompareTo(static_cast<ComObject*>(&other), &order),
              result::Fail);
    EXPECT_EQ(order, 0);
}

TEST(BoxedNumber, ConvertsToEveryWidthByItsLowBits) {
    const Integer8 minusOne(-1);
    EXPECT_EQ(minusOne.toUInt16(), 65535);
    EXPECT_EQ(minusOne.toInt64(), -1);
    EXPECT_EQ(minusOne.toUInt64(), MaxU64);

    /// Whose own 64 bits are not those of a signed number.
    class Large : public UnsignedInteger {
        int64_t toInt64() const override { return 1; }
        double toDouble() const override { return 0; }
        uint64_t toUInt64() const override { return 0xFEDCBA9876543280u; }
    };
    const UInteger64 boxed(0xFEDCBA9876543280u);
    const Large large;
    for (const UnsignedInteger* const number : {static_cast<const UnsignedInteger*>(&boxed),
                                                static_cast<const UnsignedInteger*>(&large)}) {
        const UnsignedInteger& mixed = *number;
        EXPECT_TRUE(allAre(int8_t{-128}, mixed.toByte(), mixed.toInt8()));
        EXPECT_TRUE(allAre(uint8_t{0x80}, mixed.toUByte(), mixed.toUInt8()));
        EXPECT_TRUE(allAre(int16_t{0x3280}, mixed.toShort(), mixed.toInt16()));
        EXPECT_TRUE(allAre(uint16_t{0x3280}, mixed.toUShort(), mixed.toUInt16()));
        EXPECT_TRUE(allAre(0x76543280, mixed.toInt(), mixed.toInt32(), mixed.toLong()));
        EXPECT_TRUE(allAre(0x76543280u, mixed.toUInt(), mixed.toUInt32(), mixed.toULong(),
                           mixed.hashCode()));
        EXPECT_EQ(mixed.toBigInteger().toString(16), u"FEDCBA9876543280");
        EXPECT_EQ(mixed.toString(16), u"FEDCBA9876543280");
        EXPECT_THROW(mixed.toString(37), RangeErrorException);
    }
    EXPECT_EQ(boxed.toInt64(), -0x0123456789ABCD80);
    EXPECT_EQ(boxed.toDouble(), static_cast<double>(0xFEDCBA9876543280u));
    EXPECT_EQ(UInteger64(MaxU64).toString(), u"18446744073709551615");
    EXPECT_EQ(Integer64(Min64).toString(), u"-9223372036854775808");
    EXPECT_EQ(Double(1.0 / 3).toFloat(), 1.0F / 3);
}

TEST(BoxedNumber, FloatingPointTruncatesAndSaturates) {
    const struct {
        double value;
        int64_t whole;
    } rows[] = {
        {3.9, 3},
        {-3.9, -3},
        {-0.5, 0},
        {NaN, 0},
        {Infinity, Max64},
        {-Infinity, Min64},
        {1e300, Max64},
        {-1e300, Min64},
        {0x1p63, Max64},
        {-0x1p63, Min64},
        {0x1.fffffffffffffp62, 0x7FFFFFFFFFFFFC00}, // the last below the limit
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(Double(row.value).toInt64(), row.whole);
        EXPECT_EQ(Double(row.value).toInt32(), static_cast<int32_t>(row.whole));
        EXPECT_EQ(Double(row.value).hashCode(), static_cast<uint32_t>(row.whole));
        EXPECT_EQ(Integer64(Double(row.value)), row.whole);
        EXPECT_EQ(BigDecimal(BigInteger(row.whole)).toInt64(), row.whole);
    }
    EXPECT_EQ(Float(3.9F).toInt32(), 3);
}

TEST(BoxedNumber, FloatingPointGivesAllOfItToTheBigNumbers) {
    EXPECT_EQ(Double(-3.9999999).toBigInteger(), -3);
    EXPECT_EQ(Double(0x1p100).toBigInteger(), BigInteger(1) << 100);
    EXPECT_EQ(Float(-0x1p100F).toBigInteger(), -(BigInteger(1) << 100));
    EXPECT_EQ(Double(0.1).toBigDecimal().toString(), u"0.1");
    EXPECT_EQ(Float(-2.5F).toBigDecimal().toString(), u"-2.5");
    for (const double value : {NaN, Infinity, -Infinity}) {
        EXPECT_THROW(Double(value).toBigInteger(), Exception);
        EXPECT_THROW(Double(value).toBigDecimal(), Exception);
    }
}

TEST(BoxedNumber, ComparesAfterConversionToItsWidth) {
    EXPECT_EQ(Integer32(0x7FFFFFFF).compareTo(Integer32(-1)), 1);
    EXPECT_EQ(Integer32(3).compareTo(Double(3.9)), 0);
    EXPECT_THROW(orderAsObjects(Integer32(3), Double(3)), CastFailedException);
    EXPECT_EQ(Integer8(1).compareTo(Integer32(257)), 0);
    EXPECT_EQ(UInteger8(0).compareTo(Integer32(-1)), -255);
    EXPECT_EQ(UInteger64(0).compareTo(Integer8(-1)), -1);
    EXPECT_EQ(UInteger64(MaxU64).compareTo(Integer64(-1)), 0);
    EXPECT_EQ(Double(3.9).compareTo(Integer32(3)), 1);
}

TEST(BoxedNumber, NaNIsEqualToItselfAlone) {
    const Double one(NaN);
    const Double other(NaN);
    EXPECT_EQ(one.compareTo(other), 1);
    EXPECT_FALSE(one.equals(other));
    EXPECT_EQ(one.compareTo(Double(0)), 1);
    EXPECT_EQ(Double(0).compareTo(one), 1);
    EXPECT_EQ(std::hash<Double>()(Double(0.0)), std::hash<Double>()(Double(-0.0)));
    EXPECT_EQ(one.compareTo(one), 0);
    EXPECT_TRUE(one.equals(one));
}

TEST(BoxedNumber, PrintsFloatingPointShortUnderEveryLocale) {
    const qxtest::TestLocale comma("de_DE", "UTF-8");
    EXPECT_EQ(Double(1.5).toString(), u"1.5");
    EXPECT_EQ(Float(0.1F).toString(), u"0.1");
    EXPECT_EQ(Double(1e100).toString(), u"1e+100");
    EXPECT_EQ(String::valueOf(1234567.0), u"1.23457e+06");
    EXPECT_EQ(Double(2.5).toBigDecimal().toString(), u"2.5");
    EXPECT_EQ(BigDecimal(String(u"2.5")).toDouble(), 2.5);
    EXPECT_EQ(Number::parseDouble(u"2.5"), 2.5);
}

TEST(Number, ParsesWhatTheTextBeginsWith) {
    const struct {
        const char16_t* text;
        int32_t asSigned;
        uint32_t asUnsigned;
        double asReal;
    } rows[] = {
        {u"42", 42, 42, 42},
        {u" \t+7x", 7, 7, 7},
        {u"-1", -1, 0xFFFFFFFF, -1},
        {u"", 0, 0, 0},
        {u"x", 0, 0, 0},
        {u"1.5e3", 1, 1, 1500},
        {u"2147483648", 0x7FFFFFFF, 0x80000000, 2147483648.0}, // signed: the limit
        {u"4294967297", 0x7FFFFFFF, 0xFFFFFFFF, 4294967297.0}, // unsigned too
        {u"99999999999999999999", 0x7FFFFFFF, 0xFFFFFFFF, 1e20},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(String(row.text));
        const auto& text = row.text;
        const auto as16 = static_cast<int16_t>(row.asSigned);
        const auto asU16 = static_cast<uint16_t>(row.asUnsigned);
        EXPECT_TRUE(allAre(row.asSigned, Number::parseInt(text), Number::parseInt32(text),
                           Number::parseLong(text)));
        EXPECT_TRUE(allAre(as16, Number::parseInt16(text), Number::parseShort(text),
                           int16_t{Integer16(text)}));
        EXPECT_TRUE(allAre(static_cast<int8_t>(row.asSigned), Number::parseInt8(text),
                           Number::parseByte(text)));
        EXPECT_TRUE(allAre(row.asUnsigned, Number::parseUInt(text), Number::parseUInt32(text),
                           Number::parseULong(text)));
        EXPECT_TRUE(allAre(asU16, Number::parseUInt16(text), Number::parseUShort(text),
                           uint16_t{UInteger16(text)}));
        EXPECT_TRUE(allAre(static_cast<uint8_t>(row.asUnsigned), Number::parseUInt8(text),
                           Number::parseUByte(text)));
        EXPECT_EQ(Number::parseDouble(row.text), row.asReal);
        EXPECT_EQ(Number::parseFloat(row.text), static_cast<float>(row.asReal));
    }
    EXPECT_EQ(Number::parseUInt(u"0x1F", 16), 31u);
    EXPECT_EQ(Number::parseUInt8(u"1zz", 36), static_cast<uint8_t>(36 * 36 + 35 * 37));
}

TEST(Number, ParsesNoFurtherThanItsText) {
    const char16_t units[] = u"12345";
    EXPECT_EQ(Number::parseInt(String(units, String::AM_WRAP, 2)), 12);
    EXPECT_EQ(Number::parseDouble(std::u16string_view(units, 3)), 123);
    for (const size_t length : {62u, 63u, 64u, 65u, 1000u}) {
        const std::u16string text = std::u16string(length - 1, u' ') + u"7" + units;
        EXPECT_EQ(Number::parseUInt(std::u16string_view(text).substr(0, length)), 7u) << length;
    }
}

TEST(Number, Parses64BitsAsBigIntegers) {
    EXPECT_EQ(Number::parseInt64(u"-9223372036854775807"), -Max64);
    EXPECT_EQ(Number::parseInt64(u"9223372036854775813"), 5); // 2^63 + 5
    EXPECT_EQ(Number::parseUInt64(u"18446744073709551615"), MaxU64);
    EXPECT_EQ(Number::parseUInt64(u"FFFFFFFFFFFFFFFE", 16), MaxU64 - 1);
    EXPECT_EQ(Integer64(u"12a"), 12);
    EXPECT_EQ(UInteger64(u"18446744073709551615"), MaxU64);
    EXPECT_THROW(Integer64(u""), Exception);
    EXPECT_THROW(UInteger64(u"1-2"), Exception);
    EXPECT_THROW(Number::parseUInt64(u"1", 1), RangeErrorException);
    EXPECT_EQ(Number::parseBigInteger(u"-123456789012345678901234567890").toString(),
              u"-123456789012345678901234567890");
    EXPECT_EQ(Number::parseBigDecimal(u"-1.2500").toString(), u"-1.25");
}
