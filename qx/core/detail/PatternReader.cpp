#include "qx/core/detail/PatternReader.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <iterator>
#include <type_traits>

#include <qx/core/Exception.h>
#include <qx/core/detail/Decimal.h>
#include <qx/core/detail/FindEither.h>
#include <qx/platform/detail/HexDigits.h>

namespace qx::detail {

namespace {

using Layout = PatternLayout;
using Kind = FormatArgument::Kind;

/// Limits of what a pattern may ask for.
constexpr uint32_t LargestWidth = 10'000;
constexpr uint32_t LargestPrecision = 100;

bool isDigit(char16_t unit) noexcept { return unit >= u'0' && unit <= u'9'; }

std::optional<TextPlace> findPlace(std::u16string_view pattern, size_t at) noexcept {
    constexpr size_t Limit = 99'999'999; // no call has so many arguments
    return findTextPlace(pattern, at, Limit);
}

/// Appends the text of a number, brought to its width.
void appendFilled(String& out, std::u16string_view text, const Layout& layout) {
    const int32_t missing = static_cast<int32_t>(layout.width) - static_cast<int32_t>(text.size());
    if (missing <= 0) {
        out.append(text);
    } else if (layout.fillsWithZeros) {
        const size_t sign = text.starts_with(u'-') ? 1 : 0;
        out.append(text.substr(0, sign)).append(u'0', missing).append(text.substr(sign));
    } else if (layout.side == Layout::Side::Left) {
        out.append(text).append(u' ', missing);
    } else {
        out.append(u' ', missing).append(text);
    }
}

/// Writes @p value so that it ends in front of @p end; its first unit.
template <std::integral Integer>
char16_t* writeHexadecimal(Integer value, char16_t form, char16_t* end) noexcept {
    const int lowerCase = form == u'x' ? 0x20 : 0; // a bit that digits have anyway
    auto magnitude = magnitudeOf(value);
    do {
        const auto digit = static_cast<unsigned>(magnitude & 0xF);
        *--end = static_cast<char16_t>(platform::hexDigit(digit) | lowerCase);
    } while ((magnitude >>= 4) != 0);
    if (value < 0)
        *--end = u'-';
    return end;
}

/// The text of a number in the form that a layout has.
class NumberText {
public:
    template <std::integral Integer>
    NumberText(Integer value, char16_t form) noexcept {
        char16_t* const end = std::end(m_units);
        char16_t* const begin =
            form == 0 ? writeDecimal(value, end) : writeHexadecimal(value, form, end);
        m_text = {begin, static_cast<size_t>(end - begin)};
    }
    /// With the point and so many digits behind it, and with an exponent unless it is fixed.
    NumberText(double value, std::chars_format form, uint32_t precision) noexcept {
        char digits[std::extent_v<decltype(m_units)>];
        const auto written =
            std::to_chars(digits, std::end(digits), value, form, static_cast<int>(precision));
        m_text = {m_units, static_cast<size_t>(std::copy(digits, written.ptr, m_units) - m_units)};
    }
    NumberText(const NumberText&) = delete;
    NumberText& operator=(const NumberText&) = delete;

    std::u16string_view text() const noexcept { return m_text; }

private:
    /// The 309 digits of the largest number, the point and what stands behind it.
    char16_t m_units[310 + 1 + LargestPrecision + 8];
    std::u16string_view m_text;
};

void appendReal(String& out, double value, Layout layout) {
    if (layout.form == 0 && !layout.precision && layout.width == 0) {
        out.append(value);
        return;
    }
    layout.fillsWithZeros &= std::isfinite(value);
    if (layout.form == 0) {
        const uint32_t digits = std::max(layout.precision.value_or(6), 1u);
        appendFilled(out, TextView(String::valueOf(value, static_cast<int32_t>(digits))), layout);
        return;
    }
    const auto form =
        layout.form == u'f' ? std::chars_format::fixed : std::chars_format::scientific;
    appendFilled(out, NumberText(value, form, layout.precision.value_or(6)).text(), layout);
}

} // namespace

std::optional<TextPlace> findTextPlace(std::u16string_view pattern, size_t at,
                                       size_t limit) noexcept {
    for (; (at = pattern.find(u'{', at)) != pattern.npos; ++at) {
        size_t end = at + 1;
        size_t number = 0;
        for (; end < pattern.size() && isDigit(pattern[end]) && number <= limit; ++end)
            number = number * 10 + (pattern[end] - u'0');
        const size_t digits = end - at - 1;
        if (digits > 0 && end < pattern.size() && pattern[end] == u'}' &&
            (digits == 1 || pattern[at + 1] != u'0'))
            return TextPlace{at, end + 1, number};
    }
    return std::nullopt;
}

PatternReader::PatternReader(std::u16string_view pattern, PatternRules rules,
                             const FormatArgument* arguments, size_t count) noexcept
    : m_pattern(pattern), m_arguments(arguments),
      m_count(rules == PatternRules::Full ? count : countPlaces(pattern, count)), m_rules(rules) {}

size_t PatternReader::countPlaces(std::u16string_view pattern, size_t limit) noexcept {
    constexpr size_t Step = 64;
    size_t count = 0;
    size_t more = Step;
    for (; count < limit && more == Step; count += more) {
        uint64_t seen = 0; // of the next numbers
        for (auto place = findPlace(pattern, 0); place; place = findPlace(pattern, place->end)) {
            if (place->number >= count && place->number - count < Step)
                seen |= uint64_t{1} << (place->number - count);
        }
        more = static_cast<size_t>(std::countr_one(seen));
    }
    return std::min(count, limit);
}

bool PatternReader::next() {
    if (m_at >= m_pattern.size())
        return false;
    m_argument = nullptr;
    if (m_rules == PatternRules::TextsOnly)
        return nextOfTexts();
    const size_t begin = m_at;
    m_at += findEither<u'{', u'}'>(m_pattern.data() + m_at, m_pattern.size() - m_at);
    m_text = m_pattern.substr(begin, m_at - begin);
    if (m_at < m_pattern.size())
        readBrace();
    return true;
}

bool PatternReader::nextOfTexts() noexcept {
    const size_t begin = m_at;
    auto place = findPlace(m_pattern, m_at);
    while (place && place->number >= m_count)
        place = findPlace(m_pattern, place->end);
    m_text = m_pattern.substr(begin, place ? place->begin - begin : m_pattern.npos);
    m_at = place ? place->end : m_pattern.size();
    if (place)
        m_argument = &m_arguments[place->number];
    return true;
}

void PatternReader::readBrace() {
    if (!m_isPlain)
        m_layout = {}; // of the place before
    const char16_t brace = m_pattern[m_at++];
    if (tryTake(brace)) {
        m_text = {m_text.data(), m_text.size() + 1};
        return;
    }
    if (brace == u'}')
        refuse(m_at - 1, u"a single \"}\"");
    m_place = m_at - 1;
    uint32_t number = 0;
    bool hasLayout = false;
    if (m_pattern.size() - m_at >= 2 && isDigit(m_pattern[m_at]) && m_pattern[m_at + 1] == u'}') {
        number = m_pattern[m_at] - u'0'; // as most often
        m_at += 2;
    } else {
        const auto taken = tryTakeNumber();
        if (!taken)
            refuse(m_at, u"the number of an argument expected");
        number = *taken;
        hasLayout = tryTake(u':');
        if (hasLayout)
            readLayout();
        if (!tryTake(u'}'))
            refuse(m_at, u"\"}\" expected");
    }
    if (number >= m_count)
        refuse(m_place, String(u"there is no argument ").append(number));
    m_argument = &m_arguments[number];
    const Kind kind = m_argument->kind();
    m_isPlain = !hasLayout && kind != Kind::Real && kind != Kind::Object;
}

void PatternReader::readLayout() {
    if (tryTake(u'<'))
        m_layout.side = Layout::Side::Left;
    else if (tryTake(u'>'))
        m_layout.side = Layout::Side::Right;
    m_layout.fillsWithZeros = tryTake(u'0');
    const size_t widthAt = m_at;
    m_layout.width = tryTakeNumber().value_or(0);
    if (m_layout.width > LargestWidth)
        refuse(widthAt, u"more units than 10000");
    if (tryTake(u'.')) {
        const size_t precisionAt = m_at;
        m_layout.precision = tryTakeNumber();
        if (!m_layout.precision)
            refuse(precisionAt, u"the number of digits expected");
        if (*m_layout.precision > LargestPrecision)
            refuse(precisionAt, u"more digits than 100");
    }
    if (m_at < m_pattern.size() && m_pattern[m_at] != u'}') {
        if (std::u16string_view(u"xXfe").find(m_pattern[m_at]) == std::u16string_view::npos)
            refuse(m_at, u"neither \"x\", \"X\", \"f\" nor \"e\"");
        m_layout.form = m_pattern[m_at++];
    }
}

bool PatternReader::tryTake(char16_t unit) noexcept {
    const bool stands = m_at < m_pattern.size() && m_pattern[m_at] == unit;
    m_at += stands ? 1 : 0;
    return stands;
}

/// Decimal digits; a number of more than nine is as large as can be.
std::optional<uint32_t> PatternReader::tryTakeNumber() noexcept {
    const size_t begin = m_at;
    uint64_t number = 0;
    for (; m_at < m_pattern.size() && isDigit(m_pattern[m_at]); ++m_at)
        number = std::min<uint64_t>(number * 10 + (m_pattern[m_at] - u'0'), UINT32_MAX);
    return m_at > begin ? std::optional(static_cast<uint32_t>(number)) : std::nullopt;
}

int32_t PatternReader::expectedLength() const noexcept {
    constexpr size_t OfNumber = 8;
    constexpr size_t Most = 1000; // which not every argument may be shown for
    size_t length = m_pattern.size();
    for (size_t i = 0; i < m_count && length < Most; ++i) {
        const FormatArgument& argument = m_arguments[i];
        length += argument.kind() == Kind::Text   ? argument.text().size()
                  : argument.kind() == Kind::Utf8 ? argument.utf8().size()
                                                  : OfNumber;
    }
    return static_cast<int32_t>(std::min(length, Most));
}

void PatternReader::appendArgument(String& out) const {
    if (m_isPlain)
        appendPlain(out);
    else
        appendLaidOut(out);
}

void PatternReader::appendPlain(String& out) const {
    switch (m_argument->kind()) {
    case Kind::Signed:
        out.append(m_argument->toSigned());
        break;
    case Kind::Unsigned:
        out.append(m_argument->toUnsigned());
        break;
    case Kind::Truth:
        out.append(m_argument->toUnsigned() != 0);
        break;
    case Kind::Character:
        out.append(static_cast<char32_t>(m_argument->toUnsigned()));
        break;
    case Kind::Utf8:
        out.append(m_argument->utf8());
        break;
    default:
        out.append(m_argument->text());
    }
}

void PatternReader::checkLayout() const {
    const Kind kind = m_argument->kind();
    const Layout& layout = m_layout;
    const bool isInteger = kind == Kind::Signed || kind == Kind::Unsigned;
    if (layout.precision && kind != Kind::Real)
        refuse(m_place, u"only a float or a double has digits behind a point");
    if (isInteger && layout.form != 0 && layout.form != u'x' && layout.form != u'X')
        refuse(m_place, u"the argument is an integer");
    if (kind == Kind::Real && layout.form != 0 && layout.form != u'f' && layout.form != u'e')
        refuse(m_place, u"the argument is no integer");
    if (!isInteger && kind != Kind::Real && (layout.form != 0 || layout.fillsWithZeros))
        refuse(m_place, u"the argument is no number");
}

void PatternReader::appendLaidOut(String& out) const {
    checkLayout();
    switch (m_argument->kind()) {
    case Kind::Signed:
        appendFilled(out, NumberText(m_argument->toSigned(), m_layout.form).text(), m_layout);
        break;
    case Kind::Unsigned:
        appendFilled(out, NumberText(m_argument->toUnsigned(), m_layout.form).text(), m_layout);
        break;
    case Kind::Real:
        appendReal(out, m_argument->toReal(), m_layout);
        break;
    default: {
        const int32_t from = out.getLength();
        if (m_argument->kind() == Kind::Object)
            out.append(m_argument->objectText());
        else
            appendPlain(out);
        const int32_t missing = static_cast<int32_t>(m_layout.width) - (out.getLength() - from);
        if (missing > 0)
            out.insert(m_layout.side == Layout::Side::Right ? from : -1, u' ', missing);
    }
    }
}

void PatternReader::refuse(size_t place, TextView why) const {
    throw Exception(u"bad format pattern \"" + String(m_pattern) + u"\" at position " +
                    String::valueOf(place) + u": " + why);
}

} // namespace qx::detail
