#include "qx/core/FormatArgument.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/core/detail/CheckedSize.h>

namespace qx {

namespace {

/// Limits of what a pattern may ask for.
constexpr uint32_t LargestWidth = 10'000;
constexpr uint32_t LargestPrecision = 100;

/// What stands behind the ":" of a place.
struct Layout {
    enum class Side : uint8_t { Default, Left, Right };

    Side side = Side::Default;
    bool fillsWithZeros = false;
    uint32_t width = 0;
    std::optional<uint32_t> precision;
    char16_t form = 0; ///< "x", "X", "f", "e", or 0 for the usual one
};

/// Reads a pattern from left to right and writes the text.
class Formatter {
public:
    Formatter(std::u16string_view pattern, const FormatArgument* arguments, size_t count)
        : m_pattern(pattern), m_arguments(arguments), m_count(count) {}

    String run() {
        while (m_at < m_pattern.size()) {
            const size_t brace = std::min(m_pattern.find_first_of(u"{}", m_at), m_pattern.size());
            m_out.append(m_pattern.substr(m_at, brace - m_at));
            m_at = brace;
            if (m_at < m_pattern.size())
                readBrace();
        }
        return std::move(m_out);
    }

private:
    void readBrace() {
        const char16_t brace = m_pattern[m_at++];
        if (tryTake(brace)) {
            m_out.append(brace);
            return;
        }
        if (brace == u'}')
            refuse(m_at - 1, u"a single \"}\"");
        m_place = m_at - 1;
        const auto number = tryTakeNumber();
        if (!number)
            refuse(m_at, u"the number of an argument expected");
        const Layout layout = tryTake(u':') ? readLayout() : Layout();
        if (!tryTake(u'}'))
            refuse(m_at, u"\"}\" expected");
        if (*number >= m_count)
            refuse(m_place, String(u"there is no argument ").append(*number));
        write(m_arguments[*number], layout);
    }

    Layout readLayout() {
        Layout layout;
        if (tryTake(u'<'))
            layout.side = Layout::Side::Left;
        else if (tryTake(u'>'))
            layout.side = Layout::Side::Right;
        layout.fillsWithZeros = tryTake(u'0');
        const size_t widthAt = m_at;
        layout.width = tryTakeNumber().value_or(0);
        if (layout.width > LargestWidth)
            refuse(widthAt, u"more units than 10000");
        if (tryTake(u'.')) {
            const size_t precisionAt = m_at;
            layout.precision = tryTakeNumber();
            if (!layout.precision)
                refuse(precisionAt, u"the number of digits expected");
            if (*layout.precision > LargestPrecision)
                refuse(precisionAt, u"more digits than 100");
        }
        if (m_at < m_pattern.size() && m_pattern[m_at] != u'}') {
            if (std::u16string_view(u"xXfe").find(m_pattern[m_at]) == std::u16string_view::npos)
                refuse(m_at, u"neither \"x\", \"X\", \"f\" nor \"e\"");
            layout.form = m_pattern[m_at++];
        }
        return layout;
    }

    bool tryTake(char16_t unit) {
        const bool stands = m_at < m_pattern.size() && m_pattern[m_at] == unit;
        m_at += stands ? 1 : 0;
        return stands;
    }

    /// Decimal digits; a number of more than nine is as large as can be.
    std::optional<uint32_t> tryTakeNumber() {
        const size_t begin = m_at;
        uint64_t number = 0;
        for (; m_at < m_pattern.size() && m_pattern[m_at] >= u'0' && m_pattern[m_at] <= u'9';
             ++m_at)
            number = std::min<uint64_t>(number * 10 + (m_pattern[m_at] - u'0'), UINT32_MAX);
        return m_at > begin ? std::optional(static_cast<uint32_t>(number)) : std::nullopt;
    }

    void write(const FormatArgument& argument, const Layout& layout) {
        using Kind = FormatArgument::Kind;
        const Kind kind = argument.kind();
        if (kind == Kind::Real)
            return writeReal(argument.toReal(), layout);
        if (layout.precision)
            refuse(m_place, u"only a float or a double has digits behind a point");
        if (kind == Kind::Signed)
            return writeInteger(argument.toSigned(), layout);
        if (kind == Kind::Unsigned)
            return writeInteger(argument.toUnsigned(), layout);
        if (layout.form != 0 || layout.fillsWithZeros)
            refuse(m_place, u"the argument is no number");

        const int32_t from = m_out.getLength();
        switch (kind) {
        case Kind::Truth:
            m_out.append(argument.toUnsigned() != 0);
            break;
        case Kind::Character:
            m_out.append(static_cast<char32_t>(argument.toUnsigned()));
            break;
        case Kind::Utf8:
            m_out.append(argument.utf8());
            break;
        case Kind::Object:
            m_out.append(argument.objectText());
            break;
        default:
            m_out.append(argument.text());
        }
        fillUp(from, layout, Layout::Side::Left);
    }

    template <class Integer>
    void writeInteger(Integer value, const Layout& layout) {
        const int32_t from = m_out.getLength();
        if (layout.form == 0) {
            m_out.append(value);
        } else {
            if (layout.form != u'x' && layout.form != u'X')
                refuse(m_place, u"the argument is an integer");
            char digits[20];
            const auto written = std::to_chars(digits, std::end(digits), value, 16);
            for (const char* digit = digits; digit != written.ptr; ++digit) {
                const bool raises = layout.form == u'X' && *digit >= 'a';
                m_out.append(static_cast<char16_t>(*digit - (raises ? 'a' - 'A' : 0)));
            }
        }
        fillUp(from, layout, Layout::Side::Right);
    }

    void writeReal(double value, Layout layout) {
        const int32_t from = m_out.getLength();
        layout.fillsWithZeros &= std::isfinite(value);
        if (layout.form == 0) {
            m_out.append(String::valueOf(
                value, static_cast<int32_t>(std::max(layout.precision.value_or(6), 1u))));
        } else {
            if (layout.form != u'f' && layout.form != u'e')
                refuse(m_place, u"the argument is no integer");
            // The 309 digits of the largest number, the point and what stands behind it.
            char digits[310 + 1 + LargestPrecision + 8];
            const auto form =
                layout.form == u'f' ? std::chars_format::fixed : std::chars_format::scientific;
            const auto written = std::to_chars(digits, std::end(digits), value, form,
                                               static_cast<int>(layout.precision.value_or(6)));
            for (const char* digit = digits; digit != written.ptr; ++digit)
                m_out.append(static_cast<char16_t>(*digit));
        }
        fillUp(from, layout, Layout::Side::Right);
    }

    /// Brings what was written at @p from to its width.
    void fillUp(int32_t from, const Layout& layout, Layout::Side usual) {
        const int32_t missing = static_cast<int32_t>(layout.width) - (m_out.getLength() - from);
        if (missing <= 0)
            return;
        if (layout.fillsWithZeros) {
            m_out.insert(from + (m_out[from] == u'-' ? 1 : 0), u'0', missing);
        } else if ((layout.side == Layout::Side::Default ? usual : layout.side) ==
                   Layout::Side::Right) {
            m_out.insert(from, u' ', missing);
        } else {
            m_out.append(u' ', missing);
        }
    }

    [[noreturn]] void refuse(size_t place, TextView why) const {
        throw Exception(u"bad format pattern \"" + String(m_pattern) + u"\" at position " +
                        String::valueOf(place) + u": " + why);
    }

    const std::u16string_view m_pattern;
    const FormatArgument* const m_arguments;
    const size_t m_count;
    size_t m_at = 0;
    size_t m_place = 0; ///< where the "{" of the place stands
    String m_out;
};

} // namespace

String FormatArgument::objectText() const {
    return m_reference.data ? m_reference.textOf(m_reference.data) : u"null"_qs;
}

String String::formatValues(TextView pattern, const FormatArgument* arguments, size_t count) {
    return Formatter(pattern, arguments, count).run();
}

} // namespace qx
