#include <climits>
#include <cmath>
#include <compare>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/Reference.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>

#include "tests/support/ExpectResult.h"

using namespace qx;
using math::BigDecimal;
using math::BigInteger;

namespace {

const BigInteger& thirtyDigits() {
    static const BigInteger number(u"123456789012345678901234567890");
    return number;
}

BigDecimal scaled(int64_t unscaled, int scale) { return {BigInteger(unscaled), scale}; }

/// Opens what a derived class may use.
class Opened : public BigInteger {
public:
    using BigInteger::BigInteger;
    using BigInteger::ensureCapacity;
    using BigInteger::setByteArray;
    using BigInteger::setSize;
    using BigInteger::truncateZeroBytes;
};

} // namespace

TEST(BigInteger, HoldsEveryBuiltInInteger) {
    EXPECT_EQ(BigInteger(INT_MIN).toString(), u"-2147483648");
    EXPECT_EQ(BigInteger(UINT_MAX).toString(), u"4294967295");
    EXPECT_EQ(BigInteger(LLONG_MIN).toString(), u"-9223372036854775808");
    EXPECT_EQ(BigInteger(ULLONG_MAX).toString(), u"18446744073709551615");
    BigInteger number(thirtyDigits());
    EXPECT_EQ(number = -5, BigInteger(-5));
    EXPECT_EQ(number = 5u, BigInteger(5));
    EXPECT_EQ(number = 0, BigInteger());
}

TEST(BigInteger, TakesAndGivesBytesLeastSignificantFirst) {
    const signed char bytes[] = {0x12, 0x00, -1, 0, 0, 0, 0, 0, 1, 0, 0};
    const BigInteger number(bytes, 11, true);
    EXPECT_EQ(number.toString(16), u"-10000000000FF0012");
    EXPECT_EQ(number.getSize(), 9); // without the zeros
    EXPECT_FALSE(BigInteger(bytes + 3, 5, true).isNegative());
    EXPECT_EQ(BigInteger(nullptr, 0, false), 0);
    EXPECT_THROW(BigInteger(bytes, -1, false), RangeErrorException);
    EXPECT_THROW(BigInteger(nullptr, 1, false), ResultException);
}

TEST(BigInteger, PrintsInOneOf35Radixes) {
    for (const int radix : {-10, 0, 1, 37, INT_MAX}) {
        EXPECT_THROW(BigInteger(u"1", radix), RangeErrorException);
        EXPECT_THROW(BigInteger(1).toString(radix), RangeErrorException);
    }
    std::ostringstream out;
    out << std::hex << thirtyDigits() << ' ' << -thirtyDigits();
    EXPECT_EQ(out.str(), "123456789012345678901234567890 -123456789012345678901234567890");
}

// The cases in tests/data have the other failures.
TEST(BigInteger, ReportsWhatHasNoResultAndKeepsItsValue) {
    BigInteger number(thirtyDigits());
    BigInteger remainder(-3);
    const struct {
        const char* failure;
        std::function<void()> operation;
    } rows[] = {
        {"Divide by zero.", [&] { number.divide(0, remainder); }},
        {"Divide by zero.", [&] { number /= 0; }},
        {"Bit number can't be negative", [&] { number.setBit(-1); }},
        {"Bit number can't be negative", [&] { number.clearBit(INT_MIN); }},
        {"Shift count can't be negative", [&] { number <<= -1; }},
        {"Shift count can't be negative", [&] { number >>= -1; }},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(qxtest::descriptionOf(row.operation), row.failure) << &row - rows;
        EXPECT_EQ(number, thirtyDigits());
        EXPECT_EQ(remainder, -3);
    }
}

// The cases in tests/data have the ordinary ones, for these and other operations.
TEST(BigInteger, ComputesAtTheEndsOfEveryRange) {
    EXPECT_EQ(BigInteger(0).pow(0), 1);
    EXPECT_EQ(BigInteger(0).pow(thirtyDigits()), 0);
    EXPECT_EQ(BigInteger(-1).pow(thirtyDigits()), 1);
    EXPECT_EQ(BigInteger(-1).pow(thirtyDigits() + 1), -1);
    EXPECT_EQ(BigInteger(2).modInverse(1), 0);
    EXPECT_EQ(BigInteger(5).clearBit(INT_MAX), 5);
    EXPECT_EQ(thirtyDigits() >> std::numeric_limits<int64_t>::max(), 0);
    EXPECT_EQ(BigInteger(0) << std::numeric_limits<int64_t>::max(), 0);
    EXPECT_FALSE(BigInteger().negate().isNegative());
    EXPECT_FALSE(BigInteger(u"-0").isNegative());
}

TEST(BigInteger, ConvertsByItsLowBits) {
    const BigInteger twoTo63 = BigInteger(1) << 63;
    EXPECT_EQ((twoTo63 + 5).toInt32(), 5);
    EXPECT_EQ((twoTo63 + 5).toUInt64(), (uint64_t{1} << 63) + 5);
    EXPECT_EQ((-twoTo63 - 5).toUInt64(), (uint64_t{1} << 63) - 5);
    EXPECT_EQ((twoTo63 + 5).toDouble(), 5.0);
    EXPECT_EQ(BigInteger(-300).toInt8(), -44);
    EXPECT_EQ(thirtyDigits().toBigInteger(), thirtyDigits());
    EXPECT_EQ(thirtyDigits().toBigDecimal().getScale(), 0);
}

TEST(BigInteger, ComparesWithEveryNumber) {
    const BigInteger ascending[] = {-thirtyDigits(), -256, -255, 0, 1, 255, 256, thirtyDigits()};
    for (const BigInteger& left : ascending) {
        for (const BigInteger& right : ascending) {
            const auto order = &left <=> &right;
            EXPECT_EQ(left <=> right, order);
            EXPECT_EQ(static_cast<const Object&>(left).compareTo(right) <=> 0, order);
            EXPECT_EQ(left.equals(right), order == 0);
        }
    }
    EXPECT_EQ(BigInteger(3).compareTo(Integer32(3)), 0);
    EXPECT_EQ(BigInteger(3).compareTo(Double(3.9)), 0);
    EXPECT_EQ(BigInteger(4).compareTo(BigDecimal(3.9)), 1);
    EXPECT_EQ(BigInteger(3).compareTo(UInteger64(ULLONG_MAX)), -1);
    EXPECT_EQ(BigInteger(-3).compareTo(-4), 1);
    EXPECT_THROW(BigInteger(3).compareTo(String(u"3")), CastFailedException);
    EXPECT_THROW(BigInteger(3).equals(Object()), CastFailedException);
}

TEST(BigInteger, HashesByValue) {
    const BigInteger roomy = BigInteger(thirtyDigits() << 500) >>= 500;
    EXPECT_EQ(roomy.hashCode(), thirtyDigits().hashCode());
    std::unordered_set<size_t> hashes;
    for (int bit = 0; bit < 512; ++bit) {
        hashes.insert(std::hash<BigInteger>()(BigInteger(1) << bit) % 4096);
        hashes.insert(std::hash<BigInteger>()(-(BigInteger(1) << bit)) % 4096);
    }
    EXPECT_GT(hashes.size(), 800u);
}

TEST(BigInteger, OperatorsMixWithBuiltInIntegers) {
    const BigInteger& n = thirtyDigits();
    EXPECT_EQ(n * -2u, n * 4294967294u);
    EXPECT_EQ(1 - n, -(n - 1));
    BigInteger x(n);
    ((((x += 5) -= 5) *= n) /= n) %= ULLONG_MAX;
    EXPECT_EQ(x, n % ULLONG_MAX);
    EXPECT_TRUE(5 < n && n > 5LL && 5 == BigInteger(5) && n != 5);
    const BigInteger moved(std::move(x));
    EXPECT_EQ(moved, n % ULLONG_MAX);
}

TEST(BigInteger, CopiesHaveStorageOfTheirOwn) {
    BigInteger original(thirtyDigits());
    BigInteger copy(original);
    const Reference<Object> clone(original.clone());
    BigInteger assigned;
    assigned = original;
    original.setBit(0).negate();
    for (const BigInteger* other : {&copy, &assigned, dynamic_cast<BigInteger*>(clone.get())})
        EXPECT_EQ(*other, thirtyDigits());
    EXPECT_THROW(Opened().clone(), CloneNotSupportedException);
}

TEST(BigInteger, DerivedClassesSetBytes) {
    const signed char bytes[] = {1, 2, 3};
    Opened number;
    number.setByteArray(bytes, 3, true);
    EXPECT_EQ(number, -0x030201);
    number.setSize(20);
    EXPECT_EQ(number.getSize(), 20);
    number.truncateZeroBytes();
    EXPECT_EQ(number.getSize(), 3);
    number.ensureCapacity(100);
    const signed char* const data = number.getData();
    EXPECT_EQ(number, -0x030201);
    number <<= 98 * 8 - 24;
    EXPECT_EQ(number.getData(), data);
    number.setSize(1); // and what lies above is gone
    number.setSize(8);
    number.truncateZeroBytes();
    EXPECT_EQ(number, 0);
    EXPECT_THROW(number.setByteArray(bytes, -1, false), RangeErrorException);
}

// The cases in tests/data have the arithmetic.
TEST(BigDecimal, TakesSixPlacesOfADouble) {
    EXPECT_EQ(BigDecimal(0.0000015).toString(), u"0.000002");
    EXPECT_EQ(BigDecimal(-0.0).toString(), u"0.0");
    EXPECT_EQ(BigDecimal(0.1F).toString(), u"0.1");
    constexpr double Max = std::numeric_limits<double>::max();
    EXPECT_EQ(BigDecimal(Max).toDouble(), Max);
    BigDecimal number(7);
    for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        EXPECT_THROW(number = value, Exception);
        EXPECT_EQ(number, 7);
    }
    EXPECT_EQ((number = 2.5).toString(), u"2.5");
    EXPECT_EQ((number = -3).toString(), u"-3");
    EXPECT_EQ((number = 3u).toString(), u"3");
}

TEST(BigDecimal, OperatesOnItselfAndOnBuiltInNumbers) {
    const BigDecimal number(u"1.5");
    EXPECT_EQ((2 + number).toString(), u"3.5");
    EXPECT_EQ((number - BigDecimal(u"0.25")).toString(), u"1.25");
    EXPECT_EQ((number * BigDecimal(u"-0.25")).toString(), u"-0.375");
    EXPECT_EQ((-number).abs(), 15);
    BigDecimal itself(number);
    EXPECT_EQ(((itself += itself) *= itself).toString(), u"9.00");
    EXPECT_EQ((itself -= itself).toString(), u"0.00");
    EXPECT_THROW((itself = number).divide(scaled(0, 5), 2), Exception);
    EXPECT_EQ(itself.divide(itself, 1).toString(), u"1.0");
    EXPECT_EQ((std::ostringstream() << scaled(-125, 2)).str(), "-1.25");
}

TEST(BigDecimal, Converts) {
    EXPECT_EQ(scaled(1, 0).setScale(25).setScale(0), 1); // beyond the powers of one limb
    EXPECT_EQ(BigDecimal(u"-7.9").toInt64(), -7);
    EXPECT_EQ(BigDecimal(1e30).toInt64(), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(scaled(25, 1).toFloat(), 2.5F);
    // 300 digits before the point and behind it
    const std::u16string nines(300, u'9');
    EXPECT_EQ(BigDecimal(nines + u"." + nines).toDouble(), 1e300);
    EXPECT_EQ(BigDecimal(u"0." + std::u16string(299, u'0') + nines).toDouble(), 1e-299);
    EXPECT_EQ(scaled(0x0201, 5).getSize(), 2);
    EXPECT_EQ(scaled(0x0201, 5).getData()[1], 2);
    EXPECT_EQ(scaled(-5, 1).toBigDecimal().toString(), u"-0.5");
}

TEST(BigDecimal, ComparesAndHashesByValue) {
    // Ascending in value from row to row; equal within one.
    const std::vector<std::vector<BigDecimal>> rows{
        {scaled(-1, -20), scaled(-10, -19)},
        {scaled(-150, 2), scaled(-15, 1)},
        {scaled(-1, 30)},
        {0, scaled(0, 7), scaled(0, -7)},
        {scaled(1, 30), scaled(1000, 33)},
        {scaled(99, 2)},
        {1, scaled(100, 2), scaled(BigInteger(10).pow(18).toInt64(), 18)},
        {scaled(101, 2)},
        {scaled(12, -3), 12000, scaled(1200000, 2)},
        {scaled(1, -20), scaled(100, -18), BigDecimal(u"100000000000000000000")},
    };
    std::vector<std::pair<ptrdiff_t, BigDecimal>> ranked;
    for (const auto& row : rows) {
        for (const BigDecimal& number : row)
            ranked.emplace_back(&row - rows.data(), number);
    }
    for (const auto& [rankOfA, a] : ranked) {
        for (const auto& [rankOfB, b] : ranked) {
            SCOPED_TRACE(testing::Message() << a << "  " << b);
            const auto order = rankOfA <=> rankOfB;
            EXPECT_EQ(a.compareTo(b) <=> 0, order);
            EXPECT_EQ(a == b, order == 0);
            EXPECT_EQ(a.equals(b), order == 0);
            EXPECT_TRUE((a <=> b) == order);
            EXPECT_EQ(std::hash<BigDecimal>()(a) == std::hash<BigDecimal>()(b), order == 0);
            EXPECT_TRUE(order != 0 || a.hashCode() == b.hashCode());
        }
    }
}

TEST(BigDecimal, ComparesWithEveryNumber) {
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(Double(1.5)), 0);
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(Integer32(1)), 1);
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(static_cast<const Object&>(BigInteger(2))), -1);
    EXPECT_THROW(BigDecimal(1).compareTo(String(u"1")), CastFailedException);
    EXPECT_THROW(BigDecimal(1).equals(Object()), CastFailedException);
    const Reference<Object> clone(BigDecimal(u"1.50").clone());
    EXPECT_TRUE(clone->equals(scaled(15, 1)));
}
