#include <sstream>

#include <gtest/gtest.h>

#include <qx/qx.h>

using namespace qx;
using namespace qx::math;

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

/// True when @p number says @p value by every function, cut to the width.
bool convertsTo(const Number& number, int64_t value) {
    const auto bits = static_cast<uint64_t>(value);
    return allAre(static_cast<int8_t>(value), number.toByte(), number.toInt8()) &&
           allAre(static_cast<uint8_t>(bits), number.toUByte(), number.toUInt8()) &&
           allAre(static_cast<int16_t>(value), number.toShort(), number.toInt16()) &&
           allAre(static_cast<uint16_t>(bits), number.toUShort(), number.toUInt16()) &&
           allAre(static_cast<int32_t>(value), number.toInt(), number.toInt32(), number.toLong()) &&
           allAre(static_cast<uint32_t>(bits), number.toUInt(), number.toUInt32(), number.toULong(),
                  number.hashCode()) &&
           number.toUInt64() == bits;
}

template <class T, class Order>
constexpr bool IsOrdered = std::three_way_comparable<T, Order>;
static_assert(IsOrdered<BigInteger, std::strong_ordering>);
static_assert(IsOrdered<BigDecimal, std::weak_ordering>);
static_assert(IsOrdered<Reference<Object>, std::strong_ordering>);

class Other : public Number {
    int64_t toInt64() const override { return 0; }
    double toDouble() const override { return 0; }
};

/// Whose own 64 bits are not those of a signed number.
class Large : public UnsignedInteger {
    int64_t toInt64() const override { return 1; }
    double toDouble() const override { return 0; }
    uint64_t toUInt64() const override { return 0xFEDCBA9876543280u; }
};

} // namespace

template <class Boxed>
struct BoxedNumbers : testing::Test {
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
        TypeParam number, assigned(Value{1});
        EXPECT_EQ(&(number = value), &number);
        const TypeParam copy(number);
        assigned = copy;
        EXPECT_EQ(static_cast<Value>(assigned), value);
        const Reference<Object> clone(number.clone());
        EXPECT_TRUE(clone->equals(copy));
        EXPECT_EQ(number.GetRefCount(), 0u);
        EXPECT_EQ(number.toDouble(), static_cast<double>(value));
        EXPECT_EQ(number.toBigDecimal().compareTo(number), 0);
        EXPECT_EQ(std::hash<TypeParam>()(number), std::hash<Value>()(value));
        const std::string printed = (std::ostringstream() << number).str();
        EXPECT_EQ(number.toString().toUtf8(), printed);
        if constexpr (!std::is_floating_point_v<Value>) {
            EXPECT_TRUE(convertsTo(number, static_cast<int64_t>(value)));
            EXPECT_EQ(printed, std::to_string(value));
            // A big integer keeps 63 bits of its magnitude in 64 with a sign.
            const Value back = static_cast<int64_t>(value) == Min64 ? 0 : value;
            EXPECT_EQ(TypeParam(number.toString()), back);
            EXPECT_EQ(TypeParam(number.toBigInteger()), back);
        }
        for (const Value right : this->Samples) {
            const TypeParam other(right);
            const int order = number.compareTo(other);
            if constexpr (sizeof(Value) <= 2)
                EXPECT_EQ(order, value - right);
            else
                EXPECT_EQ(order, (value > right) - (value < right));
            EXPECT_EQ(static_cast<Object&>(number).compareTo(other), order);
            EXPECT_EQ(number.equals(other), value == right);
            EXPECT_EQ(number < other, value < right);
        }
    }
    // As objects they compare with their own class only.
    TypeParam zero;
    Other other;
    EXPECT_EQ(zero.compareTo(static_cast<const Number&>(other)), 0);
    EXPECT_THROW(zero.equals(other), CastFailedException);
    EXPECT_THROW(zero.equals(String(u"0")), CastFailedException);
    int order = 1;
    EXPECT_EQ(zero.CompareTo(static_cast<ComObject*>(&other), &order), result::Fail);
    EXPECT_EQ(order, 0);
}

TEST(BoxedNumber, ConvertsToEveryWidthByItsLowBits) {
    EXPECT_TRUE(convertsTo(Integer8(-1), -1));
    const UInteger64 boxed(0xFEDCBA9876543280u);
    const Large large;
    for (const UnsignedInteger* const number : {static_cast<const UnsignedInteger*>(&boxed),
                                                static_cast<const UnsignedInteger*>(&large)}) {
        EXPECT_TRUE(convertsTo(*number, -0x0123456789ABCD80));
        EXPECT_EQ(number->toBigInteger().toString(16), u"FEDCBA9876543280");
        EXPECT_EQ(number->toString(16), u"FEDCBA9876543280");
        EXPECT_THROW(number->toString(37), RangeErrorException);
    }
    EXPECT_EQ(boxed.toInt64(), -0x0123456789ABCD80);
    EXPECT_EQ(boxed.toDouble(), static_cast<double>(0xFEDCBA9876543280u));
    EXPECT_EQ(Double(1.0 / 3).toFloat(), 1.0F / 3);
    EXPECT_EQ(Float(0.1F).toString(), u"0.1");
    EXPECT_EQ(Double(0.1).toBigDecimal().toString(), u"0.1");
}

TEST(BoxedNumber, FloatingPointTruncatesAndSaturates) {
    const std::pair<double, int64_t> rows[] = {
        {3.9, 3},        {-3.9, -3},        {-0.5, 0},
        {NaN, 0},        {Infinity, Max64}, {-Infinity, Min64},
        {0x1p63, Max64}, {-0x1p63, Min64},  {0x1.fffffffffffffp62, 0x7FFFFFFFFFFFFC00},
    };
    for (const auto& [value, whole] : rows) {
        EXPECT_EQ(Double(value).toInt64(), whole) << value;
        EXPECT_TRUE(convertsTo(Double(value), whole)) << value;
        EXPECT_EQ(BigDecimal(BigInteger(whole)).toInt64(), whole);
    }
    EXPECT_EQ(Float(3.9F).toInt32(), 3);
    EXPECT_EQ(Double(-3.9999999).toBigInteger(), -3);
    EXPECT_EQ(Double(0x1p100).toBigInteger(), BigInteger(1) << 100);
    EXPECT_EQ(Float(-0x1p100F).toBigInteger(), -(BigInteger(1) << 100));
}

TEST(BoxedNumber, ComparesAfterConversionToItsWidth) {
    EXPECT_EQ(Integer32(3).compareTo(Double(3.9)), 0);
    EXPECT_EQ(Integer8(1).compareTo(Integer32(257)), 0);
    EXPECT_EQ(UInteger8(0).compareTo(Integer32(-1)), -255);
    EXPECT_EQ(UInteger64(0).compareTo(Integer8(-1)), -1);
    EXPECT_EQ(UInteger64(MaxU64).compareTo(Integer64(-1)), 0);
    EXPECT_EQ(Double(3.9).compareTo(Integer32(3)), 1);
    const Double one(NaN), other(NaN); // which is equal to itself alone
    EXPECT_EQ(one.compareTo(other), 1);
    EXPECT_EQ(one.compareTo(Double(0)), 1);
    EXPECT_EQ(Double(0).compareTo(one), 1);
    EXPECT_TRUE(one.equals(one) && !one.equals(other));
    EXPECT_EQ(std::hash<Double>()(Double(0.0)), std::hash<Double>()(Double(-0.0)));
}

TEST(Number, ParsesWhatTheTextBeginsWith) {
    const std::tuple<const char16_t*, int32_t, uint32_t, double> rows[] = {
        {u" \t+7x", 7, 7, 7},
        {u"-1", -1, 0xFFFFFFFF, -1},
        {u"x", 0, 0, 0},
        {u"1.5e3", 1, 1, 1500},
        {u"0x10", 0, 0, 16},
        {u"2147483647", 0x7FFFFFFF, 0x7FFFFFFF, 2147483647.0},
        {u"2147483648", 0x7FFFFFFF, 0x80000000, 2147483648.0}, // signed: the limit
        {u"-2147483649", INT32_MIN, 0x7FFFFFFF, -2147483649.0},
        {u"-4294967295", INT32_MIN, 1, -4294967295.0}, // unsigned: negated modulo 2^32
        {u"4294967296", 0x7FFFFFFF, 0xFFFFFFFF, 4294967296.0},
        {u"-5000000000", INT32_MIN, 0xFFFFFFFF, -5e9},
        {u"18446744073709551616", 0x7FFFFFFF, 0xFFFFFFFF, 18446744073709551616.0},
        {u"-99999999999999999999", INT32_MIN, 0xFFFFFFFF, -1e20},
    };
    for (const auto& [text, asSigned, asUnsigned, asReal] : rows) {
        SCOPED_TRACE(String(text));
        EXPECT_TRUE(allAre(asSigned, Number::parseInt(text), Number::parseInt32(text),
                           Number::parseLong(text)));
        EXPECT_TRUE(allAre(static_cast<int16_t>(asSigned), Number::parseInt16(text),
                           Number::parseShort(text), int16_t{Integer16(text)}));
        EXPECT_TRUE(allAre(static_cast<int8_t>(asSigned), Number::parseInt8(text),
                           Number::parseByte(text)));
        EXPECT_TRUE(allAre(asUnsigned, Number::parseUInt(text), Number::parseUInt32(text),
                           Number::parseULong(text)));
        EXPECT_TRUE(allAre(static_cast<uint16_t>(asUnsigned), Number::parseUInt16(text),
                           Number::parseUShort(text), uint16_t{UInteger16(text)}));
        EXPECT_TRUE(allAre(static_cast<uint8_t>(asUnsigned), Number::parseUInt8(text),
                           Number::parseUByte(text)));
        EXPECT_EQ(Number::parseDouble(text), asReal);
        EXPECT_EQ(Number::parseFloat(text), static_cast<float>(asReal));
    }
    EXPECT_EQ(Number::parseUInt(u"0x1F", 16), 31u);
    EXPECT_EQ(Number::parseUInt8(u"1zz", 36), static_cast<uint8_t>(36 * 36 + 35 * 37));
    // No further than the text goes, which need not end with a 0 unit.
    for (const size_t length : {1u, 62u, 63u, 64u, 65u, 1000u}) {
        const std::u16string text = std::u16string(length - 1, u' ') + u"712345";
        const auto part = std::u16string_view(text).substr(0, length);
        EXPECT_EQ(Number::parseUInt(part), 7u) << length;
        EXPECT_EQ(Number::parseDouble(part), 7) << length;
    }
}

TEST(Number, Parses64BitsAsBigIntegers) {
    EXPECT_EQ(Number::parseInt64(u"-9223372036854775807"), -Max64);
    EXPECT_EQ(Number::parseInt64(u"9223372036854775813"), 5); // 2^63 + 5
    EXPECT_EQ(Number::parseUInt64(u"FFFFFFFFFFFFFFFE", 16), MaxU64 - 1);
    EXPECT_EQ(Integer64(u"12a") + Integer64(u"+7"), 19);
    EXPECT_THROW(Integer64(u""), Exception);
    EXPECT_THROW(Number::parseInt64(u"-"), Exception);
    EXPECT_THROW(UInteger64(u"1-2"), Exception);
    EXPECT_THROW(Number::parseUInt64(u"1", 1), RangeErrorException);
    EXPECT_EQ(Number::parseBigInteger(u"-123456789012345678901234567890").toString(),
              u"-123456789012345678901234567890");
    EXPECT_EQ(Number::parseBigDecimal(u"-1.2500").toString(), u"-1.25");
}

TEST(Number, IsAValueOfTheStandardLibrary) {
    EXPECT_TRUE(Integer8(3) == Integer64(3) && Double(0.5) < 1);
    const Object object;
    std::ostringstream out;
    out << String(u"\u00E4") << TextView(u"\U0001F600") << Str1Copy(u"\xD800") << Integer32(-7)
        << ' ' << BigDecimal(TextView(u"1.50")) << ' ' << object;
    EXPECT_EQ(out.str(), "\u00E4\U0001F600\uFFFD-7 1.5 " + object.toString().toUtf8());
}
