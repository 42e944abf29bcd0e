// Texts of values, and patterns with numbered places.

#include "qx/core/String.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <span>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/detail/Decimal.h>
#include <qx/core/detail/PatternReader.h>

namespace qx {

namespace {

using detail::Decimal;

/// The most significant digits that valueOf gives.
constexpr int32_t MostDigits = 100;

/// The text of a number in fixed form or with an exponent.
class Real {
public:
    /// As "%g" of the "C" locale.
    explicit Real(double value, int digits = 6) noexcept {
        finish(
            std::to_chars(m_digits, std::end(m_digits), value, std::chars_format::general, digits));
    }
    /// With as few digits as tell it from all others of its type.
    template <class Value>
    static Real shortest(Value value) noexcept {
        const Value magnitude = std::fabs(value);
        const bool isFixed =
            magnitude == 0 || (magnitude >= Value(1e-4) && magnitude < Value(1e16));
        Real text;
        text.finish(
            std::to_chars(text.m_digits, std::end(text.m_digits), value,
                          isFixed ? std::chars_format::fixed : std::chars_format::scientific));
        return text;
    }
    std::u16string_view text() const noexcept { return {m_units, m_length}; }

private:
    Real() noexcept = default;
    void finish(std::to_chars_result written) noexcept {
        // Behind "nan" a standard library may tell of which kind it is.
        m_length = static_cast<size_t>(std::find(m_digits, written.ptr, '(') - m_digits);
        std::copy(m_digits, m_digits + m_length, m_units);
    }

    /// A sign, a point, and up to four zeros or an exponent stand beside the digits.
    char m_digits[MostDigits + 12];
    char16_t m_units[MostDigits + 12];
    size_t m_length;
};

String formatted(std::u16string_view pattern, detail::PatternRules rules,
                 const FormatArgument* arguments, size_t count) {
    detail::PatternReader pieces(pattern, rules, arguments, count);
    String text(pieces.expectedLength());
    while (pieces.next()) {
        text.append(pieces.text());
        if (pieces.argument())
            pieces.appendArgument(text);
    }
    return text;
}

String formattedTexts(TextView pattern, std::span<const FormatArgument> texts) {
    return formatted(pattern, detail::PatternRules::TextsOnly, texts.data(), texts.size());
}

} // namespace

String& String::append(int value) { return append(Decimal(value).text()); }
String& String::append(unsigned int value) { return append(Decimal(value).text()); }
String& String::append(long value) { return append(Decimal(value).text()); }
String& String::append(unsigned long value) { return append(Decimal(value).text()); }
String& String::append(long long value) { return append(Decimal(value).text()); }
String& String::append(unsigned long long value) { return append(Decimal(value).text()); }
String& String::append(double value) { return append(Real(value).text()); }

/// Writes the digits where they stay: to copy them at once would wait for the small writes.
template <class Integer>
String String::decimalOf(Integer value) {
    const int32_t length = detail::decimalLength(value);
    String text(Unwritten{length});
    detail::writeDecimal(value, text.m_storage.writable() + length);
    return text;
}

String String::valueOf(int value) { return decimalOf(value); }
String String::valueOf(unsigned int value) { return decimalOf(value); }
String String::valueOf(long value) { return decimalOf(value); }
String String::valueOf(unsigned long value) { return decimalOf(value); }
String String::valueOf(long long value) { return decimalOf(value); }
String String::valueOf(unsigned long long value) { return decimalOf(value); }
String String::valueOf(double value) { return String(Real(value).text()); }

String String::valueOf(double value, int32_t digits) {
    if (digits < 0 || digits > MostDigits)
        throw RangeErrorException(u"not a number of digits: " + valueOf(digits));
    return String((digits == SHORTEST ? Real::shortest(value) : Real(value, digits)).text());
}

String String::shortest(float value) { return String(Real::shortest(value).text()); }

String String::truth(bool value) { return value ? u"true"_qs : u"false"_qs; }

String String::formatValues(TextView pattern, const FormatArgument* arguments, size_t count) {
    return formatted(pattern, detail::PatternRules::Full, arguments, count);
}

String String::formatTexts(TextView pattern, std::initializer_list<TextView> arguments) {
    FormatArgument few[8];
    if (arguments.size() > std::size(few))
        return formattedTexts(pattern,
                              std::vector<FormatArgument>(arguments.begin(), arguments.end()));
    std::copy(arguments.begin(), arguments.end(), few);
    return formattedTexts(pattern, std::span(few, arguments.size()));
}

String String::formatv(TextView pattern, std::va_list arguments) {
    std::vector<FormatArgument> texts(detail::PatternReader::countPlaces(pattern, pattern.size()));
    for (FormatArgument& text : texts)
        text = TextView(va_arg(arguments, const char16_t*));
    return formattedTexts(pattern, texts);
}

} // namespace qx
