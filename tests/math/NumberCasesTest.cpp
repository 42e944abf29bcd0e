// BigInteger and BigDecimal against results that were worked out with another implementation:
// tests/data/numbers/cases.txt, whose generator explains the lines.

#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/math/BigDecimal.h>

using qx::String;
using qx::math::BigDecimal;
using qx::math::BigInteger;

namespace {

std::string utf8(const String& text) {
    std::ostringstream out;
    out << text;
    return out.str();
}

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

std::string written(const BigInteger& value) { return utf8(value.toString()); }

std::string written(const BigDecimal& value) {
    return written(value.getUnscaled()) + 'e' + std::to_string(-value.getScale());
}

std::string written(int64_t value) { return std::to_string(value); }

using Fields = std::vector<std::string>;
/// Takes the arguments of a line and gives its results.
using Operation = std::function<std::string(const Fields&)>;

/// An operation of BigInteger that changes it, with the other numbers as arguments.
template <class... Arguments>
Operation changing(BigInteger& (BigInteger::*operation)(Arguments...)) {
    return [operation](const Fields& fields) {
        BigInteger value = integerOf(fields[0]);
        const BigInteger first = integerOf(fields[1]);
        const BigInteger second = fields.size() > 3 ? integerOf(fields[2]) : BigInteger();
        if constexpr (sizeof...(Arguments) == 2)
            (value.*operation)(first, second);
        else if constexpr (std::is_same_v<std::tuple<Arguments...>, std::tuple<int32_t>>)
            (value.*operation)(first.toInt32());
        else
            (value.*operation)(first);
        return written(value);
    };
}

Operation changing(BigDecimal& (BigDecimal::*operation)(const BigDecimal&)) {
    return [operation](const Fields& fields) {
        BigDecimal value = decimalOf(fields[0]);
        return written((value.*operation)(decimalOf(fields[1])));
    };
}

std::string divide(const Fields& fields) {
    BigInteger value = integerOf(fields[0]);
    BigInteger remainder(77);
    value.divide(integerOf(fields[1]), remainder);
    return written(value) + ' ' + written(remainder);
}

const std::map<std::string, Operation> Operations{
    {"parse", [](const Fields& f) { return written(BigInteger(textOf(f[0]), std::stoi(f[1]))); }},
    {"print",
     [](const Fields& f) { return '|' + utf8(integerOf(f[0]).toString(std::stoi(f[1]))) + '|'; }},
    {"add", changing(&BigInteger::add)},
    {"subtract", changing(&BigInteger::subtract)},
    {"multiply", changing(&BigInteger::multiply)},
    {"divide", divide},
    {"mod", changing(&BigInteger::mod)},
    {"gcd", changing(&BigInteger::gcd)},
    {"pow", changing(&BigInteger::pow)},
    {"modPow", changing(&BigInteger::modPow)},
    {"modInverse", changing(&BigInteger::modInverse)},
    {"setBit", changing<int32_t>(&BigInteger::setBit)},
    {"clearBit", changing<int32_t>(&BigInteger::clearBit)},
    {"shiftLeft", [](const Fields& f) { return written(integerOf(f[0]) << std::stoi(f[1])); }},
    {"shiftRight", [](const Fields& f) { return written(integerOf(f[0]) >> std::stoi(f[1])); }},
    {"compare",
     [](const Fields& f) { return written(integerOf(f[0]).compareTo(integerOf(f[1]))); }},
    {"toInt64", [](const Fields& f) { return written(integerOf(f[0]).toInt64()); }},
    {"bitCount", [](const Fields& f) { return written(integerOf(f[0]).getBitCount()); }},

    {"decimalParse", [](const Fields& f) { return written(BigDecimal(textOf(f[0]))); }},
    {"decimalPrint", [](const Fields& f) { return '|' + utf8(decimalOf(f[0]).toString()) + '|'; }},
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

/// The result of a line, its failure included.
std::string resultOf(const std::string& operation, const Fields& fields) {
    try {
        return Operations.at(operation)(fields);
    } catch (const qx::Exception& exception) {
        return '!' + utf8(exception.getDescription());
    }
}

std::string expectedOf(const Fields& fields, size_t results) {
    if (fields.back().front() == '!')
        return '!' + utf8(textOf(fields.back().substr(1)));
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
        EXPECT_EQ(resultOf(operation, fields), expectedOf(fields, operation == "divide" ? 2 : 1));
    }
    EXPECT_GT(count, 3000u);
}
