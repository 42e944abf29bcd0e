#pragma once

#include <cstdint>
#include <string_view>

/// A word of a statement. Its text lies in the line that was scanned.
struct Token {
    enum class Kind { Number, Name, Symbol, End };

    Kind kind;
    std::u16string_view text;
    int32_t column; ///< of its first unit, from 1

    bool is(char16_t symbol) const { return kind == Kind::Symbol && text.front() == symbol; }
};

/// Splits a line into numbers (digits, upper-case letters, points), names (lower-case letters) and
/// symbols of one character. Blanks separate; "#" begins a comment.
class Scanner {
public:
    explicit Scanner(std::u16string_view line) : m_line(line) { advance(); }

    /// The word in front; End, without end, behind the last one.
    const Token& token() const { return m_token; }
    void advance();
    /// Goes on behind the word in front when it is @p symbol.
    bool accept(char16_t symbol);

private:
    std::u16string_view takeWhile(bool (*belongs)(char16_t));
    std::u16string_view takeSymbol();

    std::u16string_view m_line;
    size_t m_position = 0;
    Token m_token{};
};
