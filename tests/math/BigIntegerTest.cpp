#include <climits>
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

using namespace qx;
using math::BigDecimal;
using math::BigInteger;

namespace {

/// The description of the exception that @p operation throws.
template <class Operation>
std::string failureOf(Operation&& operation) {
    try {
        operation();
        return "none";
    } catch (const Exception& exception) {
        std::ostringstream out;
        out << exception.getDescription();
        return out.str();
    }
}

const BigInteger& thirtyDigits() {
    static const BigInteger number(u"123456789012345678901234567890");
    return number;
}

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
    EXPECT_EQ(BigInteger(int8_t{-128}).toString(), u"-128");
    EXPECT_EQ(BigInteger(7L).toString(), u"7");
    EXPECT_EQ(BigInteger(0).getSize(), 0);
    EXPECT_EQ(BigInteger(255).getSize(), 1);
    EXPECT_EQ(BigInteger(-256).getSize(), 2);

    BigInteger number(thirtyDigits());
    EXPECT_EQ(number = -5, BigInteger(-5));
    EXPECT_EQ(number = 5u, BigInteger(5));
    EXPECT_EQ(number = 0, BigInteger());
    EXPECT_FALSE((number = 0).isNegative());
}

TEST(BigInteger, TakesAndGivesBytesLeastSignificantFirst) {
    const signed char bytes[] = {0x12, 0x00, -1, 0, 0, 0, 0, 0, 1, 0, 0};
    const BigInteger number(bytes, 11, true);
    EXPECT_EQ(number.toString(16), u"-10000000000FF0012");
    ASSERT_EQ(number.getSize(), 9); // without the zeros
    EXPECT_EQ(BigInteger(number.getData(), number.getSize(), true), number);
    EXPECT_EQ(BigInteger(bytes, 2, false), 0x12);
    EXPECT_EQ(BigInteger(bytes + 3, 5, true), 0);
    EXPECT_FALSE(BigInteger(bytes + 3, 5, true).isNegative());
    EXPECT_EQ(BigInteger(nullptr, 0, false), 0);
    EXPECT_THROW(BigInteger(bytes, -1, false), RangeErrorException);
    EXPECT_THROW(BigInteger(nullptr, 1, false), ResultException);
}

TEST(BigInteger, ZeroHasNoSign) {
    for (const BigInteger& zero :
         {BigInteger().negate(), BigInteger(u"-0"), BigInteger(-5).multiply(0), -BigInteger(),
          BigInteger(-5).add(5), BigInteger(-5) / 7, BigInteger(-5) >> 3, BigInteger(u"-x")}) {
        EXPECT_FALSE(zero.isNegative());
        EXPECT_EQ(zero.compareTo(BigInteger()), 0);
        EXPECT_EQ(zero.toString(), u"0");
        EXPECT_EQ(zero.getBitCount(), 0);
        EXPECT_TRUE(zero.isZero());
    }
}

TEST(BigInteger, ParsesInGroupsOfThree) {
    const struct {
        const char16_t* text;
        int radix;
        int64_t value;
    } rows[] = {
        {u"0", 10, 0},
        {u"000", 10, 0},
        {u"-0", 10, 0},
        {u"+5", 10, 5},
        {u"-+5", 10, -5},
        {u"12a", 10, 12},
        {u"1a2345", 10, 1345},   // the group "1a2" ends at the letter
        {u"1234 5", 10, 123004}, // "4 5" too, at the blank
        {u"1000000", 10, 1000000},
        {u"x", 10, 0},
        {u"zZ", 36, 35 * 36 + 35},
        {u"1230x5", 16, 0x123005}, // a prefix within a group
        {u"1230x5", 10, 123000},
        {u"9", 8, 0},
        {u"-101", 2, -5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(String(row.text));
        EXPECT_EQ(BigInteger(row.text, row.radix), row.value);
    }
    EXPECT_EQ(BigInteger(std::u16string_view(u"1\0002345", 6), 10), 1345); // a 0 unit ends a group
    for (const char16_t* text : {u"", u"-", u"1-2", u"--1", u"+-1", u" -1", u"1-"}) {
        SCOPED_TRACE(String(text));
        EXPECT_EQ(failureOf([&] { BigInteger{text}; }), "Number Format Exception");
    }
    for (const int radix : {-10, 0, 1, 37, INT_MAX}) {
        EXPECT_THROW(BigInteger(u"1", radix), RangeErrorException);
        EXPECT_THROW(BigInteger(1).toString(radix), RangeErrorException);
    }
}

TEST(BigInteger, PrintsWhatItParsed) {
    for (const char16_t* text : {u"1000000", u"1000", u"-123456789012345678901234567890"})
        EXPECT_EQ(BigInteger(text).toString(), text);
    EXPECT_EQ(BigInteger(-0xABCDEF).toString(16), u"-ABCDEF");
    EXPECT_EQ(BigInteger(u"-abcdef", 16), -0xABCDEF);
    EXPECT_EQ((BigInteger(1) << 100).toString(2), String(u'0', 100).prepend(u'1'));
    // The halves of a long text may add up to a limb more than the higher one has.
    for (int bits = 64; bits <= 128 * 64; bits += 64) {
        for (const BigInteger& number :
             {BigInteger(1) << bits, (BigInteger(1) << bits) - 1, (BigInteger(1) << bits) + 1}) {
            for (const int radix : {3, 10, 36})
                ASSERT_EQ(BigInteger(number.toString(radix), radix), number) << bits;
        }
    }
    std::ostringstream out;
    out << std::hex << thirtyDigits() << ' ' << -thirtyDigits();
    EXPECT_EQ(out.str(), "123456789012345678901234567890 -123456789012345678901234567890");
}

TEST(BigInteger, DividesWithARemainderThatIsNeverNegative) {
    const struct {
        int dividend, divisor, quotient, remainder;
    } rows[] = {{-7, 2, -3, 1}, {7, -2, -3, 1}, {-7, -2, 3, 1}, {7, 2, 3, 1},  {-2, 7, 0, 2},
                {2, -7, 0, 2},  {-7, 7, -1, 0}, {0, -7, 0, 0},  {-6, 3, -2, 0}};
    for (const auto& row : rows) {
        for (const int shift : {0, 64}) { // one limb and two
            BigInteger number = BigInteger(row.dividend) << shift;
            BigInteger remainder;
            number.divide(BigInteger(row.divisor) << shift, remainder);
            EXPECT_EQ(number, row.quotient);
            EXPECT_EQ(remainder, BigInteger(row.remainder) << shift);
            EXPECT_EQ(BigInteger(row.dividend) / row.divisor, row.quotient);
        }
    }
}

TEST(BigInteger, ReportsWhatHasNoResultAndKeepsItsValue) {
    BigInteger number(thirtyDigits());
    BigInteger remainder(-3);
    const BigInteger even(12);
    const struct {
        const char* failure;
        std::function<void()> operation;
    } rows[] = {
        {"Divide by zero.", [&] { number.divide(0, remainder); }},
        {"Divide by zero.", [&] { number /= 0; }},
        {"Divide by zero.", [&] { number.mod(0); }},
        {"Divide by zero.", [&] { number.gcd(0); }},
        {"Divide by zero.", [&] { number.modPow(2, 0); }},
        {"Divide by zero.", [&] { number.modInverse(0); }},
        {"Modulus can't be negative.", [&] { number.mod(-7); }},
        {"Modulus can't be negative.", [&] { number.modPow(2, -7); }},
        {"Modulus can't be negative.", [&] { number.modInverse(-7); }},
        {"Negative Exponent", [&] { number.pow(-1); }},
        {"Not invertible.", [&] { number.modInverse(even); }},
        {"Not invertible.", [&] { number.modPow(-2, even); }},
        {"Not invertible.", [&] { number.modInverse(number); }},
        {"Bit number can't be negative", [&] { number.setBit(-1); }},
        {"Bit number can't be negative", [&] { number.clearBit(INT_MIN); }},
        {"Shift count can't be negative", [&] { number <<= -1; }},
        {"Shift count can't be negative", [&] { number >>= -1; }},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(failureOf(row.operation), row.failure) << &row - rows;
        EXPECT_EQ(number, thirtyDigits());
        EXPECT_EQ(remainder, -3);
    }
}

TEST(BigInteger, TakesPowers) {
    EXPECT_EQ(BigInteger(-12).pow(0), 1);
    EXPECT_EQ(BigInteger(0).pow(0), 1);
    EXPECT_EQ(BigInteger(0).pow(thirtyDigits()), 0);
    EXPECT_EQ(BigInteger(1).pow(thirtyDigits()), 1);
    EXPECT_EQ(BigInteger(-1).pow(thirtyDigits()), 1);
    EXPECT_EQ(BigInteger(-1).pow(thirtyDigits() + 1), -1);
    EXPECT_EQ(BigInteger(-12).pow(1), -12);
    EXPECT_EQ(BigInteger(10).pow(40).toString(), String(u'0', 40).prepend(u'1'));

    EXPECT_EQ(BigInteger(3).modPow(-1, 11), 4);
    EXPECT_EQ(BigInteger(-2).modPow(3, 5), 2); // -8
    EXPECT_EQ(BigInteger(-2).modPow(2, 4), 0);
    EXPECT_EQ(BigInteger(5).modPow(0, 7), 1);
    for (const BigInteger& exponent : {BigInteger(), BigInteger(-3), thirtyDigits()})
        EXPECT_EQ(BigInteger(5).modPow(exponent, 1), 0);
    // Fermat, for the prime 2^127 - 1
    const BigInteger prime = (BigInteger(1) << 127) - 1;
    EXPECT_EQ(BigInteger(thirtyDigits()).modPow(prime - 1, prime), 1);
    EXPECT_EQ(BigInteger(2).modInverse(1), 0);
    EXPECT_EQ(BigInteger(-3).modInverse(11), 7);
}

TEST(BigInteger, TheSignOfTheGreatestCommonDivisorIsThatOfTheLastDivisor) {
    const struct {
        int a, b, divisor;
    } rows[] = {{12, 18, 6},  {12, -4, -4}, {12, -8, 4},  {-12, 4, 4},
                {-4, -12, 4}, {0, -5, -5},  {-5, -5, -5}, {7, 1, 1}};
    for (const auto& row : rows)
        EXPECT_EQ(BigInteger(row.a).gcd(row.b), row.divisor) << row.a << ' ' << row.b;
}

TEST(BigInteger, ChangesBitsOfTheMagnitude) {
    EXPECT_EQ(BigInteger(255).getBitCount(), 8);
    EXPECT_EQ(BigInteger(256).getBitCount(), 9);
    EXPECT_EQ(BigInteger(15).clearBit(3), 7);
    EXPECT_EQ(BigInteger(8).clearBit(3).getSize(), 0);
    EXPECT_EQ(BigInteger(-9).clearBit(3), -1);
    EXPECT_EQ(BigInteger(-1).clearBit(0).isNegative(), false);
    EXPECT_EQ(BigInteger(-1).setBit(200), -(BigInteger(1) << 200) - 1);
    EXPECT_EQ(BigInteger(5).clearBit(INT_MAX), 5);
    EXPECT_EQ(BigInteger().clearBit(0), 0);
    BigInteger number;
    for (int bit = 0; bit < 300; ++bit) {
        number.setBit(bit).setBit(bit);
        EXPECT_EQ(number, (BigInteger(1) << (bit + 1)) - 1);
        EXPECT_EQ(number.getSize(), bit / 8 + 1);
    }
    for (int bit = 300; bit-- > 0;) {
        number.clearBit(bit).clearBit(bit);
        EXPECT_EQ(number.getBitCount(), bit);
    }
}

TEST(BigInteger, ShiftsTheMagnitude) {
    EXPECT_EQ(BigInteger(-5) >> 1, -2); // cut off, as division does
    EXPECT_EQ(BigInteger(-5) << 2, -20);
    EXPECT_EQ(thirtyDigits() >> std::numeric_limits<int64_t>::max(), 0);
    EXPECT_EQ(BigInteger(0) << std::numeric_limits<int64_t>::max(), 0);
}

TEST(BigInteger, ConvertsByItsLowBits) {
    const BigInteger twoTo63 = BigInteger(1) << 63;
    EXPECT_EQ((twoTo63 + 5).toInt64(), 5);
    EXPECT_EQ((-twoTo63 - 5).toInt64(), -5);
    EXPECT_EQ((twoTo63 - 1).toInt64(), LLONG_MAX);
    EXPECT_EQ((twoTo63 + 5).toInt32(), 5);
    EXPECT_EQ((twoTo63 + 5).toDouble(), 5.0);
    EXPECT_EQ((twoTo63 + 5).toUInt64(), (uint64_t{1} << 63) + 5);
    EXPECT_EQ(BigInteger(-1).toUInt64(), ULLONG_MAX);
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
            EXPECT_EQ(left.compareTo(right) <=> 0, order);
            EXPECT_EQ(static_cast<const Object&>(left).compareTo(right) <=> 0, order);
            EXPECT_EQ(left == right, order == 0);
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
    BigInteger roomy = thirtyDigits() << 500;
    roomy >>= 500;
    EXPECT_EQ(roomy.hashCode(), thirtyDigits().hashCode());
    EXPECT_EQ(std::hash<BigInteger>()(roomy), std::hash<BigInteger>()(thirtyDigits()));
    std::unordered_set<size_t> hashes;
    for (int bit = 0; bit < 512; ++bit) {
        hashes.insert(std::hash<BigInteger>()(BigInteger(1) << bit) % 4096);
        hashes.insert(std::hash<BigInteger>()(-(BigInteger(1) << bit)) % 4096);
    }
    EXPECT_GT(hashes.size(), 800u);
}

TEST(BigInteger, OperatorsMixWithBuiltInIntegers) {
    const BigInteger& n = thirtyDigits();
    EXPECT_EQ(n + 1, BigInteger(u"123456789012345678901234567891"));
    EXPECT_EQ(1 - n, -(n - 1));
    EXPECT_EQ(n * -2u, n * 4294967294u);
    EXPECT_EQ((n * n) / n, n);
    EXPECT_EQ(n % 1000, 890);
    EXPECT_EQ(-n % 1000, 110);
    EXPECT_EQ(n * n + n - n * n, n);
    EXPECT_EQ((n + n) * n / (2 * n), n);
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
