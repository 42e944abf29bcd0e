// Texts of values, and patterns with numbered places.

#include "qx/core/String.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/detail/Decimal.h>
#include <qx/core/detail/UnitSearch.h>

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
        m_length = static_cast<size_t>(written.ptr - m_digits);
        std::copy(m_digits, m_digits + m_length, m_units);
    }

    /// A sign, a point, and up to four zeros or an exponent stand beside the digits.
    char m_digits[MostDigits + 12];
    char16_t m_units[MostDigits + 12];
    size_t m_length;
};

/// "{0}", "{1}", ...
class Placeholder {
public:
    explicit Placeholder(size_t number) noexcept {
        const Decimal digits(number);
        m_units[0] = u'{';
        const auto end = std::copy(digits.text().begin(), digits.text().end(), m_units + 1);
        *end = u'}';
        m_length = static_cast<size_t>(end + 1 - m_units);
    }
    std::u16string_view text() const noexcept { return {m_units, m_length}; }

private:
    char16_t m_units[23];
    size_t m_length;
};

/// Number of placeholders, counted from 0, before the first that does not occur in @p pattern.
size_t countPlaces(std::u16string_view pattern, size_t limit) {
    size_t count = 0;
    while (count < limit &&
           detail::findText(pattern, Placeholder(count).text()) != std::u16string_view::npos)
        ++count;
    return count;
}

struct Place {
    size_t position;
    size_t number;
};

/// Where the placeholders below @p count stand, from left to right.
std::vector<Place> findPlaces(std::u16string_view pattern, size_t count) {
    std::vector<Place> places;
    for (size_t number = 0; number < count; ++number) {
        const Placeholder placeholder(number);
        for (size_t from = 0;;) {
            const size_t found = detail::findText(pattern.substr(from), placeholder.text());
            if (found == std::u16string_view::npos)
                break;
            places.push_back({from + found, number});
            from += found + placeholder.text().size();
        }
    }
    std::sort(places.begin(), places.end(),
              [](const Place& l, const Place& r) { return l.position < r.position; });
    return places;
}

/// @p argument (number) gives the text of an argument.
template <class Argument>
String substitute(std::u16string_view pattern, size_t count, Argument&& argument) {
    String result;
    size_t copied = 0;
    for (const Place& place : findPlaces(pattern, count)) {
        result.append(pattern.substr(copied, place.position - copied));
        result.append(argument(place.number));
        copied = place.position + Placeholder(place.number).text().size();
    }
    return std::move(result.append(pattern.substr(copied)));
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

String String::formatTexts(TextView pattern, std::initializer_list<TextView> arguments) {
    const size_t count = countPlaces(pattern, arguments.size());
    return substitute(pattern, count, [&](size_t number) { return arguments.begin()[number]; });
}

String String::formatv(TextView pattern, std::va_list arguments) {
    std::vector<TextView> texts(countPlaces(pattern, pattern.size()));
    for (TextView& text : texts)
        text = va_arg(arguments, const char16_t*);
    return substitute(pattern, texts.size(), [&](size_t number) { return texts[number]; });
}

} // namespace qx
