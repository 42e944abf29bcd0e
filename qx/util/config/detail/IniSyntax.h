#pragma once

#include <string_view>

// What both ways of reading an INI file go by.

namespace qx::util::detail {

/// What a line begins with that is neither a set nor a key.
constexpr std::u16string_view IniCommentStarts = u"#:;";
constexpr std::u16string_view IniWhiteSpace = u" \t\n\v\f\r";

/// A name or value without the blanks around it.
template <class Unit>
std::basic_string_view<Unit> trimIni(std::basic_string_view<Unit> text) noexcept {
    const auto isTrimmed = [](Unit unit) {
        return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
    };
    while (!text.empty() && isTrimmed(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isTrimmed(text.back()))
        text.remove_suffix(1);
    return text;
}

/// The name in a header, which begins with "["; one without data when there is no "]".
inline std::u16string_view iniHeaderName(std::u16string_view line) noexcept {
    const size_t end = line.rfind(u']');
    return end == line.npos ? std::u16string_view() : line.substr(1, end - 1);
}

// Why a line is neither.
constexpr char16_t NoSetInLine[] = u"a \"[\" without its \"]\"";
constexpr char16_t NoKeyInLine[] = u"neither a set in brackets nor a key with \"=\"";

} // namespace qx::util::detail
