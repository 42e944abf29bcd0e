// The operations against results that were worked out with another implementation, those in
// tests/data/numbers/cases.txt, whose generator explains the lines; and what these do not say.

#include <climits>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;
using namespace qx::math;

namespace {

/// Without percent escapes.
std::string unescaped(const std::string& text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isEscaped = text[i] == '%';
        bytes +=
            isEscaped ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
        i += isEscaped ? 2 : 0;
    }
    return bytes;
}

String textOf(const std::string& field) {
    return String::fromUtf8(unescaped(field.substr(1, field.size() - 2)));
}

BigInteger integerOf(const std::string& field) { return BigInteger(String::fromUtf8(field)); }

BigDecimal decimalOf(const std::string& field) {
    const size_t exponent = field.find('e');
    return BigDecimal(integerOf(field.substr(0, exponent)), -std::stoi(field.substr(exponent + 1)));
}

double doubleOf(const std::string& field) { return Number::parseDouble(String::fromUtf8(field)); }

/// In decimal; holds that the number has the one form that a number has.
std::string written(const BigInteger& value) {
    const int32_t size = value.getSize();
    EXPECT_TRUE(size == 0 ? !value.isNegative() : value.getData()[size - 1] != 0);
    return value.toString().toUtf8();
}

std::string written(const BigDecimal& value) {
    return written(value.getUnscaled()) + 'e' + std::to_string(-value.getScale());
}

std::string written(int64_t value) { return std::to_string(value); }

/// A quotient and its remainder.
using Quotient = std::pair<BigInteger, BigInteger>;
std::string written(const Quotient& value) {
    return written(value.first) + ' ' + written(value.second);
}

using Fields = std::vector<std::string>;
/// Takes the arguments of a line and gives its results.
using Operation = std::function<std::string(const Fields&)>;

/// What @p run gives, or its failure.
std::string outcomeOf(auto&& run) {
    try {
        return run();
    } catch (const Exception& exception) {
        return "!|" + exception.getDescription().toUtf8() + '|';
    }
}

/// The number after @p run has changed it, or the failure, which leaves it as it was. So does each
/// of its allocations when it fails.
template <class Number>
std::string outcomeOf(const Number& number, auto&& run) {
    const std::string before = written(number);
    qxtest::failEachAllocation([&] {
        std::optional<Number> value;
        try {
            run(value.emplace(number));
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(!value || written(*value) == before);
        } catch (const Exception&) { // below
        }
    });
    Number value(number);
    const std::string outcome = outcomeOf([&] {
        run(value);
        return written(value);
    });
    EXPECT_TRUE(outcome[0] != '!' || written(value) == before);
    return outcome;
}

/// Gives @p value more room than it takes.
BigInteger& widen(BigInteger& value) { return (value <<= 2048) >>= 2048; }

/// An operation that changes a number. Its argument may be the number itself.
template <class Number, class Argument>
Operation changing(Number& (Number::*operation)(const Argument&), auto read) {
    return [=](const Fields& fields) {
        const Number a = read(fields[0]), b = read(fields[1]);
        EXPECT_EQ(outcomeOf(a, [&](auto& value) { (value.*operation)(value); }),
                  outcomeOf(a, [&](auto& value) { (value.*operation)(a); }));
        return outcomeOf(a, [&](auto& value) { (value.*operation)(b); });
    };
}

std::string modPow(const Fields& fields) {
    const BigInteger a = integerOf(fields[0]);
    const BigInteger e = integerOf(fields[1]);
    const BigInteger m = integerOf(fields[2]);
    for (const int itself : {1, 2, 3}) { // as the exponent, the modulus, or both
        const auto raise = [&](auto& value, const BigInteger& other) {
            value.modPow(itself & 1 ? other : e, itself & 2 ? other : m);
        };
        EXPECT_EQ(outcomeOf(a, [&](auto& value) { raise(value, value); }),
                  outcomeOf(a, [&](auto& value) { raise(value, a); }));
    }
    return outcomeOf(a, [&](auto& value) { value.modPow(e, m); });
}

/// An operation whose argument is a built-in number.
template <class Count>
Operation changingBits(BigInteger& (BigInteger::*operation)(Count)) {
    return [=](const Fields& fields) {
        const BigInteger a = integerOf(fields[0]);
        const int bits = std::stoi(fields[1]);
        const std::string made = outcomeOf(a, [&](auto& value) { (value.*operation)(bits); });
        EXPECT_EQ(outcomeOf(a, [&](auto& value) { (widen(value).*operation)(bits); }), made);
        return made;
    };
}

/// The same as an operator too, which makes a number of its own, and in the room of the number.
Operation both(BigInteger& (BigInteger::*operation)(const IntegerView&), auto combine) {
    return [=](const Fields& fields) {
        const BigInteger a = integerOf(fields[0]);
        const BigInteger b = integerOf(fields[1]);
        const std::string made = changing(operation, integerOf)(fields);
        EXPECT_EQ(outcomeOf([&] { return written(combine(a, b)); }), made);
        EXPECT_EQ(outcomeOf([&] { return written(combine(BigInteger(a), b)); }), made);
        EXPECT_EQ(outcomeOf(a, [&](auto& value) { (widen(value).*operation)(b); }), made);
        return made;
    };
}

std::string divide(const Fields& fields) {
    const BigInteger a = integerOf(fields[0]);
    const BigInteger b = integerOf(fields[1]);
    const std::string made =
        outcomeOf(Quotient(a, 77), [&](auto& value) { value.first.divide(b, value.second); });
    if (made[0] == '!')
        return made;
    const BigInteger value = a / b;
    EXPECT_TRUE(BigInteger(a) / b == value);
    BigInteger quotient = a, remainder = b; // the remainder in the place of an operand
    quotient.divide(remainder, remainder);
    EXPECT_EQ(written(Quotient(value, remainder)), made);
    EXPECT_EQ(quotient, value);
    quotient = a;
    EXPECT_EQ(quotient.divide(b, quotient), remainder);
    quotient = b;
    EXPECT_EQ(quotient.divide(quotient, quotient), 0);
    return made;
}

/// By each way to compare. Of equal numbers the hashes are equal.
template <class Number>
std::string compared(const Number& a, const Number& b) {
    const int order = a.compareTo(b);
    const Object& object = a;
    EXPECT_TRUE(object.compareTo(b) == order && object.compareTo(object) == 0);
    EXPECT_TRUE((a <=> b) == (order <=> 0));
    EXPECT_EQ(a == b, order == 0);
    EXPECT_EQ(a.equals(b), order == 0);
    EXPECT_EQ(std::hash<Number>()(a) == std::hash<Number>()(b), order == 0);
    EXPECT_TRUE(order != 0 || a.hashCode() == b.hashCode());
    EXPECT_EQ(outcomeOf(a, [&](auto& value) { value = b; }), written(b));
    const Reference<Object> clone(a.clone());
    Number copy(a), assigned;
    (assigned = a).negate(); // a number has storage of its own
    copy.negate();
    EXPECT_EQ(written(dynamic_cast<const Number&>(*clone)), written(copy.negate()));
    EXPECT_EQ(written(assigned.negate()), written(a));
    return written(order);
}

const std::map<std::string, Operation> Operations{
    {"parse", [](const Fields& f) { return written(BigInteger(textOf(f[0]), std::stoi(f[1]))); }},
    {"print",
     [](const Fields& f) {
         return '|' + integerOf(f[0]).toString(std::stoi(f[1])).toUtf8() + '|';
     }},
    {"add", both(&BigInteger::add, std::plus<>())},
    {"subtract", both(&BigInteger::subtract, std::minus<>())},
    {"multiply", both(&BigInteger::multiply, std::multiplies<>())},
    {"divide", divide},
    {"mod", both(&BigInteger::mod, std::modulus<>())},
    {"gcd", changing(&BigInteger::gcd, integerOf)},
    {"pow",
     [](const Fields& f) {
         const BigInteger exponent = integerOf(f[1]);
         return outcomeOf(integerOf(f[0]), [&](auto& value) { value.pow(exponent); });
     }},
    {"modPow", modPow},
    {"modInverse", changing(&BigInteger::modInverse, integerOf)},
    {"setBit", changingBits(&BigInteger::setBit)},
    {"clearBit", changingBits(&BigInteger::clearBit)},
    {"shiftLeft", changingBits(&BigInteger::operator<<=)},
    {"shiftRight", changingBits(&BigInteger::operator>>=)},
    {"compare", [](const Fields& f) { return compared(integerOf(f[0]), integerOf(f[1])); }},
    {"toInt64", [](const Fields& f) { return written(integerOf(f[0]).toInt64()); }},
    {"bitCount", [](const Fields& f) { return written(integerOf(f[0]).getBitCount()); }},

    {"decimalParse", [](const Fields& f) { return written(BigDecimal(textOf(f[0]))); }},
    {"decimalPrint",
     [](const Fields& f) { return '|' + decimalOf(f[0]).toString().toUtf8() + '|'; }},
    {"decimalAdd", changing(&BigDecimal::add, decimalOf)},
    {"decimalSubtract", changing(&BigDecimal::subtract, decimalOf)},
    {"decimalMultiply", changing(&BigDecimal::multiply, decimalOf)},
    {"decimalDivide",
     [](const Fields& f) {
         const BigDecimal divisor = decimalOf(f[1]);
         const int scale = std::stoi(f[2]);
         return outcomeOf(decimalOf(f[0]), [&](auto& value) { value.divide(divisor, scale); });
     }},
    {"decimalScale",
     [](const Fields& f) {
         const int scale = std::stoi(f[1]);
         return outcomeOf(decimalOf(f[0]), [&](auto& value) { value.setScale(scale); });
     }},
    {"decimalCompare", [](const Fields& f) { return compared(decimalOf(f[0]), decimalOf(f[1])); }},
    {"decimalToInteger", [](const Fields& f) { return written(decimalOf(f[0]).toBigInteger()); }},
    {"decimalOfDouble",
     [](const Fields& f) {
         const double number = doubleOf(f[0]);
         EXPECT_EQ(outcomeOf(BigDecimal(7), [&](auto& value) { value = number; }), f[1]);
         return written(BigDecimal(number));
     }},
};

const BigInteger& thirtyDigits() {
    static const BigInteger number(u"123456789012345678901234567890");
    return number;
}

BigDecimal scaled(int64_t unscaled, int scale) { return {BigInteger(unscaled), scale}; }

/// Opens what a derived class may use.
struct Opened : BigInteger {
    using BigInteger::BigInteger;
    using BigInteger::ensureCapacity;
    using BigInteger::setByteArray;
    using BigInteger::setSize;
    using BigInteger::truncateZeroBytes;
};

} // namespace

TEST(NumberCases, AreWhatTheOtherImplementationSays) {
    std::ifstream file(QX_TEST_DATA_DIR "/numbers/cases.txt");
    std::string line;
    ASSERT_TRUE(std::getline(file, line));
    size_t count = 0;
    for (; std::getline(file, line); ++count) {
        SCOPED_TRACE(line);
        std::istringstream in(line);
        std::string operation;
        in >> operation;
        const Fields fields{std::istream_iterator<std::string>(in), {}};
        if (operation == "decimalToDouble") {
            EXPECT_EQ(decimalOf(fields[0]).toDouble(), doubleOf(fields[1]));
            continue;
        }
        const std::string outcome = outcomeOf([&] { return Operations.at(operation)(fields); });
        EXPECT_TRUE(unescaped(line).ends_with(' ' + outcome)) << outcome;
    }
    EXPECT_GT(count, 3000u);
}

// Those whose algorithms need room of their own.
TEST(BigInteger, LongNumbersAreNotChangedByFailuresEither) {
    for (const int bits : {5000, 20'000}) {
        const BigInteger x = (BigInteger(1) << (2 * bits)) - 3, z = (BigInteger(1) << bits) + 1;
        for (const char* name : {"multiply", "divide", "mod", "gcd", "modInverse"})
            EXPECT_NE(Operations.at(name)({written(x), written(z)})[0], '!') << name;
        for (const BigInteger& modulus : {z, z + 1})
            outcomeOf(x, [&](auto& value) { value.modPow(29, modulus); });
    }
}

TEST(BigInteger, SmallNumbersAllocateOnce) {
    BigInteger a(5), b(7), remainder(1);
    const auto expectAllocations = [](int expected, auto&& operation) {
        const int64_t before = qxtest::allocationCount();
        operation();
        EXPECT_EQ(qxtest::allocationCount() - before, expected);
    };
    expectAllocations(0, [] { BigInteger(); });
    expectAllocations(1, [] { BigInteger(u"-12345678901234567"); });
    expectAllocations(0, [&] {
        a.add(b).subtract(12).multiply(-7).add(50).multiply(b).mod(1000);
        a.divide(3, remainder);
        a = 17;
        a = b;
        a <<= 8;
        a >>= 4;
        EXPECT_TRUE(a > 16 && 5 < a && a != b && a.compareTo(b) == 1);
    });
    expectAllocations(1, [&] { a.gcd(b); });
    expectAllocations(1, [&] { BigInteger sum = a + b; });
    expectAllocations(1, [&] { BigInteger product = a * b * 3 + 5; });
}

TEST(BigInteger, RefusesWhatCannotBeAndKeepsItsValue) {
    constexpr int64_t MaxBits = 8 * (int64_t{0x7FFFFFFF} - 7);
    BigInteger number(3);
    qxtest::expectEach(result::OutOfMemory,
                       {[&] { number <<= MaxBits; }, [&] { number <<= INT64_MAX; },
                        [&] { number.pow(MaxBits); }, [&] { number.pow(thirtyDigits()); },
                        [&] { BigInteger(-6).pow(MaxBits / 2); },
                        [&] { BigInteger(thirtyDigits()).pow(MaxBits / 90); }});
    qxtest::expectEach("Divide by zero.", {[&] { number /= 0; }});
    qxtest::expectEach("Bit number can't be negative",
                       {[&] { number.setBit(-1); }, [&] { number.clearBit(INT_MIN); }});
    qxtest::expectEach("Shift count can't be negative",
                       {[&] { number <<= -1; }, [&] { number >>= -1; }});
    for (const int radix : {-10, 0, 1, 37, INT_MAX})
        qxtest::expectEach<RangeErrorException>(
            {[&] { BigInteger(u"1", radix); }, [&] { number.toString(radix); }});
    // One bit less is a matter of memory, and no failure of the library.
    const qxtest::FailingAllocator allocator(0);
    EXPECT_THROW(qxtest::failureOf([&] { number <<= MaxBits - 2; }), std::bad_alloc);
    EXPECT_EQ(number, 3);
}

TEST(BigInteger, OffersDerivedClassesTheBitsOfBytes) {
    struct Bits : BigInteger {
        using BigInteger::clearBit, BigInteger::setBit;
    };
    signed char bytes[] = {3, 0, 1};
    for (const int bit : {15, 17}) // there is no third byte
        Bits::setBit(bytes, 2, bit);
    for (const int bit : {1, 16})
        Bits::clearBit(bytes, 2, bit);
    EXPECT_EQ(std::string(bytes, bytes + 3), "\x01\x80\x01");
}

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
}

TEST(BigInteger, MixesWithBuiltInIntegers) {
    EXPECT_EQ(BigInteger(INT_MIN).toString(), u"-2147483648");
    EXPECT_EQ(BigInteger(LLONG_MIN).toString(), u"-9223372036854775808");
    const BigInteger& n = thirtyDigits();
    BigInteger x(n);
    EXPECT_EQ(x = -5, BigInteger(-5));
    EXPECT_EQ(x = 5u, BigInteger(5));
    EXPECT_EQ(x = 0, BigInteger());
    EXPECT_EQ(n * -2u, n * 4294967294u);
    EXPECT_EQ(1 - n, -(n - 1));
    ((((((x = n) += 5) -= 5) *= n) /= n) %= ULLONG_MAX);
    EXPECT_EQ(x, n % ULLONG_MAX);
    EXPECT_TRUE(5 < n && n > 5LL && 5 == BigInteger(5) && n != 5);
    const BigInteger twoTo63 = BigInteger(1) << 63;
    EXPECT_EQ((twoTo63 + 5).toUInt64(), (uint64_t{1} << 63) + 5); // by the low bits
    EXPECT_EQ((-twoTo63 - 5).toUInt64(), (uint64_t{1} << 63) - 5);
    EXPECT_EQ((twoTo63 + 5).toDouble(), 5.0);
    EXPECT_EQ(BigInteger(-300).toInt8(), -44);
    EXPECT_EQ((std::ostringstream() << std::hex << -n).str(), "-123456789012345678901234567890");
}

TEST(BigNumbers, CompareWithEveryNumber) {
    EXPECT_EQ(BigInteger(3).compareTo(Integer32(3)), 0);
    EXPECT_EQ(BigInteger(3).compareTo(Double(3.9)), 0);
    EXPECT_EQ(BigInteger(4).compareTo(BigDecimal(3.9)), 1);
    EXPECT_EQ(BigInteger(3).compareTo(UInteger64(ULLONG_MAX)), -1);
    EXPECT_EQ(BigInteger(-3).compareTo(-4), 1);
    EXPECT_THROW(BigInteger(3).equals(Object()), CastFailedException);
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(Double(1.5)), 0);
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(Integer32(1)), 1);
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(static_cast<const Object&>(BigInteger(2))), -1);
    EXPECT_THROW(BigDecimal(1).compareTo(String(u"1")), CastFailedException);
    EXPECT_THROW(BigDecimal(1).equals(Object()), CastFailedException);
}

TEST(BigInteger, IsMadeOfBytesLeastSignificantFirst) {
    const signed char bytes[] = {0x12, 0x00, -1, 0, 0, 0, 0, 0, 1, 0, 0};
    Opened number(bytes, 11, true);
    EXPECT_EQ(number.toString(16), u"-10000000000FF0012");
    EXPECT_EQ(number.getSize(), 9); // without the zeros
    EXPECT_FALSE(BigInteger(bytes + 3, 5, true).isNegative());
    EXPECT_EQ(BigInteger(nullptr, 0, false), 0);
    EXPECT_THROW(BigInteger(nullptr, 1, false), ResultException);
    EXPECT_THROW(static_cast<void>(number.clone()), CloneNotSupportedException);
    // What derived classes may do.
    qxtest::expectEach<RangeErrorException>(
        {[&] { BigInteger(bytes, -1, false); }, [&] { number.setByteArray(bytes, -1, false); }});
    number.setByteArray(bytes, 3, true);
    number.setSize(20);
    EXPECT_EQ(number.getSize(), 20);
    number.truncateZeroBytes();
    EXPECT_EQ(number.getSize(), 3);
    number.ensureCapacity(100);
    const signed char* const data = number.getData();
    EXPECT_EQ(number, -0xFF0012);
    number <<= 98 * 8 - 24;
    EXPECT_EQ(number.getData(), data);
    number.setSize(1); // and what lies above is gone
    number.setSize(8);
    number.truncateZeroBytes();
    EXPECT_EQ(number, 0);
}

TEST(BigDecimal, IsTakenFromBuiltInNumbersAndConvertsToThem) {
    constexpr double Max = std::numeric_limits<double>::max();
    EXPECT_EQ(BigDecimal(-0.0).toString(), u"0.0");
    EXPECT_EQ(BigDecimal(Max).toDouble(), Max);
    BigDecimal number(7);
    EXPECT_EQ(BigDecimal(std::nan("")) + BigDecimal(-HUGE_VAL), 0);
    EXPECT_EQ((number = -3).toString(), u"-3");
    EXPECT_EQ((number = 3u).toString(), u"3");
    EXPECT_EQ(BigDecimal(u"-7.9").toInt64(), -7);
    EXPECT_EQ(BigDecimal(1e30).toInt64(), std::numeric_limits<int64_t>::max());
    // 300 digits before the point and behind it
    const std::u16string nines(300, u'9');
    EXPECT_EQ(BigDecimal(nines + u"." + nines).toDouble(), 1e300);
    EXPECT_EQ(BigDecimal(u"0." + std::u16string(299, u'0') + nines).toDouble(), 1e-299);
    EXPECT_EQ(scaled(0x0201, 5).getSize(), 2);
    EXPECT_EQ(scaled(0x0201, 5).getData()[1], 2);
}

TEST(BigDecimal, OperatesOnItselfAndOnBuiltInNumbers) {
    const BigDecimal number(u"1.5");
    EXPECT_EQ((2 + number).toString(), u"3.5");
    EXPECT_EQ((number - BigDecimal(u"0.25")).toString(), u"1.25");
    EXPECT_EQ((number * BigDecimal(u"-0.25")).toString(), u"-0.375");
    EXPECT_EQ((-number).abs(), 15);
    BigDecimal itself(number);
    EXPECT_EQ((((itself += 3) -= 1) *= 2).divide(itself, 1).toString(), u"1.0");
    EXPECT_EQ((std::ostringstream() << scaled(-125, 2)).str(), "-1.25");
    // Beyond the powers of ten of one limb.
    EXPECT_EQ(compared(scaled(1, 0).setScale(25), scaled(1, 0)), "0");
    EXPECT_EQ(compared(scaled(1, -20), scaled(100, -18)), "0");
}

TEST(BigDecimal, RefusesScalesThatAreTooFarApart) {
    const BigDecimal one(1), fine(BigInteger(1), INT32_MAX), coarse(BigInteger(1), INT32_MIN);
    BigDecimal number(one);
    qxtest::expectEach<RangeErrorException>(
        {[&] { number.add(fine); }, [&] { number.subtract(coarse); },
         [&] { number.setScale(INT32_MAX); }, [&] { number.divide(one, INT32_MAX); },
         [&] { number.setScale(100'000'001); }, [&] { scaled(7, 2).multiply(fine); },
         [&] { scaled(7, -1).multiply(coarse); }, [&] { coarse.toBigInteger(); }});
    EXPECT_EQ(number.toString(), u"1");
    // What needs no digits is done however far the scales are apart.
    EXPECT_EQ(coarse.compareTo(fine), 1);
    EXPECT_EQ((-coarse).compareTo(-fine), -1);
    EXPECT_EQ(BigDecimal(fine).setScale(0), 0);
    EXPECT_EQ(BigDecimal(0).setScale(INT32_MAX).setScale(INT32_MIN).getScale(), INT32_MIN);
    EXPECT_EQ(BigDecimal(fine).divide(coarse, 5).toString(), u"0.00000");
    EXPECT_EQ(BigDecimal(0).setScale(-5).add(fine), fine);
    EXPECT_EQ(fine.toDouble(), 0.0);
    EXPECT_EQ(coarse.hashCode(), BigDecimal(1e30).hashCode());
}
