#include "qx/core/detail/PatternReader.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <iterator>

#include <qx/core/Exception.h>
#include <qx/core/detail/FindEither.h>

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

/// Brings what was written at @p from to its width.
void fillUp(String& out, int32_t from, const Layout& layout, Layout::Side usual) {
    const int32_t missing = static_cast<int32_t>(layout.width) - (out.getLength() - from);
    if (missing <= 0)
        return;
    if (layout.fillsWithZeros)
        out.insert(from + (out[from] == u'-' ? 1 : 0), u'0', missing);
    else if ((layout.side == Layout::Side::Default ? usual : layout.side) == Layout::Side::Right)
        out.insert(from, u' ', missing);
    else
        out.append(u' ', missing);
}

template <class Integer>
void writeHexadecimal(String& out, Integer value, bool raises) {
    char digits[20];
    const auto written = std::to_chars(digits, std::end(digits), value, 16);
    for (const char* digit = digits; digit != written.ptr; ++digit)
        out.append(static_cast<char16_t>(*digit - (raises && *digit >= 'a' ? 'a' - 'A' : 0)));
}

void writeReal(String& out, double value, const Layout& layout) {
    if (layout.form == 0) {
        out.append(String::valueOf(
            value, static_cast<int32_t>(std::max(layout.precision.value_or(6), 1u))));
        return;
    }
    // The 309 digits of the largest number, the point and what stands behind it.
    char digits[310 + 1 + LargestPrecision + 8];
    const auto form =
        layout.form == u'f' ? std::chars_format::fixed : std::chars_format::scientific;
    const auto written = std::to_chars(digits, std::end(digits), value, form,
                                       static_cast<int>(layout.precision.value_or(6)));
    for (const char* digit = digits; digit != written.ptr; ++digit)
        out.append(static_cast<char16_t>(*digit));
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

String PatternReader::argumentText() const {
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

    String out;
    switch (kind) {
    case Kind::Signed:
        if (layout.form == 0)
            out.append(m_argument->toSigned());
        else
            writeHexadecimal(out, m_argument->toSigned(), layout.form == u'X');
        break;
    case Kind::Unsigned:
        if (layout.form == 0)
            out.append(m_argument->toUnsigned());
        else
            writeHexadecimal(out, m_argument->toUnsigned(), layout.form == u'X');
        break;
    case Kind::Real:
        writeReal(out, m_argument->toReal(), layout);
        break;
    case Kind::Truth:
        out.append(m_argument->toUnsigned() != 0);
        break;
    case Kind::Character:
        out.append(static_cast<char32_t>(m_argument->toUnsigned()));
        break;
    case Kind::Text:
        out.append(m_argument->text());
        break;
    case Kind::Utf8:
        out.append(m_argument->utf8());
        break;
    case Kind::Object:
        out = m_argument->objectText();
        break;
    }
    if (layout.width == 0)
        return out;
    Layout filled = layout;
    filled.fillsWithZeros &= kind != Kind::Real || std::isfinite(m_argument->toReal());
    fillUp(out, 0, filled,
           isInteger || kind == Kind::Real ? Layout::Side::Right : Layout::Side::Left);
    return out;
}

void PatternReader::refuse(size_t place, TextView why) const {
    throw Exception(u"bad format pattern \"" + String(m_pattern) + u"\" at position " +
                    String::valueOf(place) + u": " + why);
}

} // namespace qx::detail
