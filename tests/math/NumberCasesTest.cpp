// BigInteger and BigDecimal against results that were worked out with another implementation:
// tests/data/numbers/cases.txt, whose generator explains the lines.

#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/math/BigDecimal.h>

using qx::String;
using qx::math::BigDecimal;
using qx::math::BigInteger;
using qx::math::IntegerView;

namespace {

String textOf(const std::string& field) {
    std::string bytes;
    for (size_t i = 1; i + 1 < field.size(); ++i) {
        if (field[i] == '%') {
            bytes += static_cast<char>(std::stoi(field.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            bytes += field[i];
        }
    }
    return String::fromUtf8(bytes);
}

BigInteger integerOf(const std::string& field) { return BigInteger(String::fromUtf8(field)); }

BigDecimal decimalOf(const std::string& field) {
    const size_t exponent = field.find('e');
    return BigDecimal(integerOf(field.substr(0, exponent)), -std::stoi(field.substr(exponent + 1)));
}

double doubleOf(const std::string& field) {
    return qx::Number::parseDouble(String::fromUtf8(field));
}

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

using Fields = std::vector<std::string>;
/// Takes the arguments of a line and gives its results.
using Operation = std::function<std::string(const Fields&)>;

/// What @p run gives, or its failure.
template <class Run>
std::string outcomeOf(Run&& run) {
    try {
        return run();
    } catch (const qx::Exception& exception) {
        return '!' + exception.getDescription().toUtf8();
    }
}

/// The number after @p run has changed it, or the failure, which leaves it as it was.
template <class Run>
std::string outcomeOf(const BigInteger& number, Run&& run) {
    BigInteger value(number);
    const std::string outcome = outcomeOf([&] {
        run(value);
        return written(value);
    });
    EXPECT_TRUE(outcome[0] != '!' || value == number);
    return outcome;
}

/// Gives @p value more room than it takes.
BigInteger& widen(BigInteger& value) { return (value <<= 2048) >>= 2048; }

/// An operation of BigInteger that changes it. Its arguments may be the number itself.
Operation changing(BigInteger& (BigInteger::*operation)(const IntegerView&)) {
    return [operation](const Fields& fields) {
        const BigInteger a = integerOf(fields[0]);
        const BigInteger b = integerOf(fields[1]);
        if (operation != &BigInteger::pow) { // which would take all memory
            EXPECT_EQ(outcomeOf(a, [&](auto& value) { (value.*operation)(value); }),
                      outcomeOf(a, [&](auto& value) { (value.*operation)(a); }));
        }
        return outcomeOf(a, [&](auto& value) { (value.*operation)(b); });
    };
}

std::string modPow(const Fields& fields) {
    const BigInteger a = integerOf(fields[0]);
    const BigInteger e = integerOf(fields[1]);
    const BigInteger m = integerOf(fields[2]);
    for (const auto& [isFirst, isSecond] : {std::pair(true, false), {false, true}, {true, true}}) {
        EXPECT_EQ(
            outcomeOf(
                a, [&](auto& value) { value.modPow(isFirst ? value : e, isSecond ? value : m); }),
            outcomeOf(a, [&](auto& value) { value.modPow(isFirst ? a : e, isSecond ? a : m); }));
    }
    return outcomeOf(a, [&](auto& value) { value.modPow(e, m); });
}

Operation changingBit(BigInteger& (BigInteger::*operation)(int32_t)) {
    return [operation](const Fields& fields) {
        return written((integerOf(fields[0]).*operation)(std::stoi(fields[1])));
    };
}

/// The same as an operator too, which makes a number of its own, and in the room of the number.
template <class Operator>
Operation both(BigInteger& (BigInteger::*operation)(const IntegerView&), Operator&& combine) {
    return [operation, combine](const Fields& fields) {
        const BigInteger a = integerOf(fields[0]);
        const BigInteger b = integerOf(fields[1]);
        const std::string made = changing(operation)(fields);
        EXPECT_EQ(outcomeOf([&] { return written(combine(a, b)); }), made);
        EXPECT_EQ(outcomeOf([&] { return written(combine(BigInteger(a), b)); }), made);
        EXPECT_EQ(outcomeOf(a, [&](auto& value) { (widen(value).*operation)(b); }), made);
        return made;
    };
}

Operation changing(BigDecimal& (BigDecimal::*operation)(const BigDecimal&)) {
    return [operation](const Fields& fields) {
        BigDecimal value = decimalOf(fields[0]);
        return written((value.*operation)(decimalOf(fields[1])));
    };
}

std::string divide(const Fields& fields) {
    const BigInteger a = integerOf(fields[0]);
    const BigInteger b = integerOf(fields[1]);
    BigInteger value = a;
    BigInteger remainder(77);
    value.divide(b, remainder);
    EXPECT_TRUE(a / b == value && BigInteger(a) / b == value);
    BigInteger quotient = a, other = b; // the remainder in the place of an operand
    quotient.divide(other, other);
    EXPECT_TRUE(quotient == value && other == remainder);
    quotient = a;
    EXPECT_EQ(quotient.divide(b, quotient), remainder);
    quotient = b;
    EXPECT_EQ(quotient.divide(quotient, quotient), 0);
    return written(value) + ' ' + written(remainder);
}

std::string shifted(const Fields& fields, bool isLeft) {
    const BigInteger a = integerOf(fields[0]);
    const int bits = std::stoi(fields[1]);
    BigInteger wide(a);
    widen(wide);
    const std::string made = written(isLeft ? a << bits : a >> bits);
    EXPECT_EQ(written(isLeft ? wide <<= bits : wide >>= bits), made);
    return made;
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
    {"gcd", changing(&BigInteger::gcd)},
    {"pow", changing(&BigInteger::pow)},
    {"modPow", modPow},
    {"modInverse", changing(&BigInteger::modInverse)},
    {"setBit", changingBit(&BigInteger::setBit)},
    {"clearBit", changingBit(&BigInteger::clearBit)},
    {"shiftLeft", [](const Fields& f) { return shifted(f, true); }},
    {"shiftRight", [](const Fields& f) { return shifted(f, false); }},
    {"compare",
     [](const Fields& f) { return written(integerOf(f[0]).compareTo(integerOf(f[1]))); }},
    {"toInt64", [](const Fields& f) { return written(integerOf(f[0]).toInt64()); }},
    {"bitCount", [](const Fields& f) { return written(integerOf(f[0]).getBitCount()); }},

    {"decimalParse", [](const Fields& f) { return written(BigDecimal(textOf(f[0]))); }},
    {"decimalPrint",
     [](const Fields& f) { return '|' + decimalOf(f[0]).toString().toUtf8() + '|'; }},
    {"decimalAdd", changing(&BigDecimal::add)},
    {"decimalSubtract", changing(&BigDecimal::subtract)},
    {"decimalMultiply", changing(&BigDecimal::multiply)},
    {"decimalDivide",
     [](const Fields& f) {
         return written(decimalOf(f[0]).divide(decimalOf(f[1]), std::stoi(f[2])));
     }},
    {"decimalScale",
     [](const Fields& f) { return written(decimalOf(f[0]).setScale(std::stoi(f[1]))); }},
    {"decimalCompare",
     [](const Fields& f) { return written(decimalOf(f[0]).compareTo(decimalOf(f[1]))); }},
    {"decimalToInteger", [](const Fields& f) { return written(decimalOf(f[0]).toBigInteger()); }},
    {"decimalOfDouble", [](const Fields& f) { return written(BigDecimal(doubleOf(f[0]))); }},
};

std::string expectedOf(const Fields& fields, size_t results) {
    if (fields.back().front() == '!')
        return '!' + textOf(fields.back().substr(1)).toUtf8();
    std::string expected = fields[fields.size() - results];
    for (size_t i = fields.size() - results + 1; i < fields.size(); ++i)
        expected += ' ' + fields[i];
    return expected;
}

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
        EXPECT_EQ(outcomeOf([&] { return Operations.at(operation)(fields); }),
                  expectedOf(fields, operation == "divide" ? 2 : 1));
    }
    EXPECT_GT(count, 3000u);
}
