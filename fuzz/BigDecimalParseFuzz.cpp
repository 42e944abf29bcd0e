// BigDecimal from text and from doubles: what it holds, prints and converts to, beside the C
// library.

#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <qx/core/Exception.h>
#include <qx/math/BigDecimal.h>

using qx::String;
using qx::math::BigDecimal;
using qx::math::BigInteger;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

std::string narrow(const String& text) {
    std::string bytes;
    for (const char16_t unit : text.view())
        bytes += static_cast<char>(unit);
    return bytes;
}

/// The digits of a text as one whole number, and those behind the point.
struct Parts {
    std::u16string digits;
    int scale = 0;
};

Parts split(const std::u16string& text) {
    const std::size_t point = text.find(u'.');
    if (point == std::u16string::npos)
        return {text, 0};
    std::u16string fraction = text.substr(point + 1);
    while (fraction.size() > 1 && fraction.back() == u'0')
        fraction.pop_back();
    return {text.substr(0, point) + fraction, static_cast<int>(fraction.size())};
}

void checkValue(const BigDecimal& value) {
    const String printed = value.toString();
    const BigDecimal back(printed);
    require(back == value && back.getScale() <= value.getScale());
    require(std::hash<BigDecimal>()(back) == std::hash<BigDecimal>()(value));
    require(value.toDouble() == std::strtod(narrow(printed).c_str(), nullptr));

    const BigDecimal wider = BigDecimal(value).setScale(value.getScale() + 25);
    require(wider == value && BigDecimal(wider).setScale(value.getScale()).toString() == printed);
    // A quotient lies within half a unit of its last place.
    const BigDecimal divisor(BigInteger(-37), 1);
    const BigDecimal quotient = BigDecimal(value).divide(divisor, 2);
    BigDecimal twiceOff = (quotient * divisor - value) * 2;
    if (twiceOff.isNegative())
        twiceOff.negate();
    require(twiceOff <= BigDecimal(BigInteger(37), 3));
}

void checkText(const std::u16string& text) {
    const Parts parts = split(text);
    try {
        const BigInteger unscaled(parts.digits);
        const BigDecimal value(text);
        require(value.getUnscaled() == unscaled && value.getScale() == parts.scale);
        checkValue(value);
    } catch (const qx::Exception&) {
        bool failed = false;
        try {
            const BigDecimal value(text);
        } catch (const qx::Exception&) {
            failed = true;
        }
        require(failed);
    }
}

void checkDouble(double value) {
    try {
        const BigDecimal decimal(value);
        char text[400];
        std::snprintf(text, sizeof(text), "%f", value);
        const std::string printed(text);
        require(decimal == BigDecimal(std::u16string(printed.begin(), printed.end())));
        checkValue(decimal);
    } catch (const qx::Exception&) {
        require(!std::isfinite(value));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::setlocale(LC_NUMERIC, "C"); // for what the C library reads and prints
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    checkText(std::u16string(data, data + size));
    double value = 0;
    if (size >= sizeof(value)) {
        std::memcpy(&value, data, sizeof(value));
        checkDouble(value);
    }
    return 0;
}
