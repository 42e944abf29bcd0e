#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <qx/core/String.h>
#include <qx/util/SystemName.h>

// How command lines are cut up. Everything takes time linear in the text.

namespace qx::util {

/// Calls @p add for every piece of @p text between units of @p delimiters that is not empty. A
/// piece that begins with a double quote runs to the next one and loses both.
template <class Add>
void splitValues(std::u16string_view text, std::u16string_view delimiters, Add&& add) {
    size_t next = 0;
    for (size_t at; (at = text.find_first_not_of(delimiters, next)) < text.size(); next++) {
        const bool isQuoted = text[at] == u'"';
        if (isQuoted)
            ++at;
        next = isQuoted ? text.find(u'"', at) : text.find_first_of(delimiters, at);
        next = std::min(next, text.size());
        if (next > at)
            add(text.substr(at, next - at));
    }
}

struct CommandLineToken {
    /// Valid until the next token is read.
    std::u16string_view text;
    bool isOption = false;
    /// The option before the token takes neither it nor what follows.
    bool endsValues = false;
};

/// The tokens of a line.
class LineTokens {
public:
    static constexpr bool AreExact = false;

    LineTokens(std::u16string_view line, std::u16string_view switches)
        : m_line(line), m_switches(switches) {}

    /// False at the end.
    bool next(CommandLineToken& token) {
        const size_t begin = skipSpaces(m_position);
        if (begin == m_line.size())
            return false;
        if (m_line[begin] == u'"') {
            token.text = m_line.substr(begin + 1, find(u'"', begin + 1) - begin - 1);
            m_position = skipSpaces(begin + 1 + token.text.size() + 1);
        } else {
            token.text = m_line.substr(begin, find(u' ', begin) - begin);
            m_position = begin + token.text.size() + 1;
        }
        token.isOption = !token.text.empty() && isSwitch(token.text.front());
        token.endsValues = token.isOption;
        return true;
    }
    /// Whether an option takes its defaults: a switch character stands behind it and the one space
    /// after it.
    bool takesDefaults() const {
        return m_position < m_line.size() && isSwitch(m_line[m_position]);
    }

private:
    bool isSwitch(char16_t unit) const {
        return m_switches.find(unit) != std::u16string_view::npos;
    }
    size_t find(char16_t unit, size_t from) const {
        return std::min(m_line.find(unit, from), m_line.size());
    }
    size_t skipSpaces(size_t from) const {
        return std::min(m_line.find_first_not_of(u' ', from), m_line.size());
    }

    std::u16string_view m_line;
    std::u16string_view m_switches;
    /// May lie one behind the end.
    size_t m_position = 0;
};

/// The arguments behind the name of a program, each a token. "--" ends the options and is none
/// itself.
class ArgumentTokens {
public:
    static constexpr bool AreExact = true; // somebody else has taken quotes away

    ArgumentTokens(int argc, const char* const* argv) : m_argc(argc), m_argv(argv) {}

    bool next(CommandLineToken& token) {
        token.endsValues = false;
        if (m_index < m_argc && !m_optionsEnded && argument() == "--") {
            m_optionsEnded = token.endsValues = true;
            ++m_index;
        }
        if (m_index >= m_argc)
            return false;
        token.isOption = optionFollows();
        token.endsValues = token.endsValues || token.isOption;
        m_text = fromSystemName(m_argv[m_index++]);
        token.text = m_text.view();
        return true;
    }
    bool takesDefaults() const { return false; } // who forgot a value is told so

private:
    std::string_view argument() const {
        return m_argv[m_index] ? std::string_view(m_argv[m_index]) : std::string_view();
    }
    bool optionFollows() const {
        return !m_optionsEnded && argument().starts_with('-') && argument() != "-";
    }

    int m_argc;
    const char* const* m_argv;
    int m_index = 1;
    bool m_optionsEnded = false;
    String m_text;
};

} // namespace qx::util
