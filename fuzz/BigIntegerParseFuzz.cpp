// Parsing and printing of BigInteger in every radix beside the plain methods: group by group of
// three units. The first byte gives the radix, the others are the units of the text.

#include <cstdlib>
#include <string>

#include <qx/core/Exception.h>
#include <qx/math/BigInteger.h>
#include <qx/platform/text.h>

using qx::String;
using qx::math::BigInteger;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// What the text stands for; false for one that stands for no number.
bool parsePlainly(BigInteger& value, std::u16string text, int radix) {
    const bool negative = text.starts_with(u'-');
    text.erase(0, negative ? 1 : 0);
    if (text.empty() || text.find(u'-') != std::u16string::npos)
        return false;
    text.erase(0, text.find_first_not_of(u'0'));
    value = 0;
    std::size_t length = text.size() % 3;
    for (std::size_t i = 0; i <= text.size(); i += length, length = 3) {
        value *= radix * radix * radix;
        value += QXStrToLW(text.substr(i, length).c_str(), nullptr, radix);
        if (i + length == text.size())
            break;
    }
    if (negative)
        value.negate();
    return true;
}

String printPlainly(const BigInteger& value, int radix) {
    if (value.isZero())
        return String(u"0");
    BigInteger rest(value);
    BigInteger remainder;
    String text;
    for (rest.abs(); !rest.isZero();) {
        rest.divide(radix * radix * radix, remainder);
        char16_t group[66];
        text.prepend(QXLToStrW(remainder.toInt64(), group, radix));
        if (!rest.isZero())
            text.prepend(u'0', (3 - text.getLength() % 3) % 3);
    }
    return value.isNegative() ? text.prepend(u'-') : text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const int radix = 2 + data[0] % 35;
    const std::u16string text(data + 1, data + size);
    BigInteger expected;
    const bool isNumber = parsePlainly(expected, text, radix);
    try {
        const BigInteger parsed(text, radix);
        require(isNumber && parsed == expected);
        const String printed = parsed.toString(radix);
        require(printed == printPlainly(parsed, radix));
        require(BigInteger(printed, radix) == parsed);
    } catch (const qx::Exception& exception) {
        require(!isNumber && exception.getDescription() == u"Number Format Exception");
    }
    return 0;
}
