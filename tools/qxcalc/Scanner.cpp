#include "Scanner.h"

#include <qx/text/charset/Surrogates.h>

namespace {

bool isBlank(char16_t unit) { return unit == u' ' || unit == u'\t' || unit == u'\r'; }

bool isLower(char16_t unit) { return unit >= u'a' && unit <= u'z'; }

bool isOfNumber(char16_t unit) {
    return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') || unit == u'.';
}

} // namespace

void Scanner::advance() {
    takeWhile(isBlank);
    const auto column = static_cast<int32_t>(m_position) + 1;
    if (m_position == m_line.size() || m_line[m_position] == u'#') {
        m_token = {Token::Kind::End, {}, column};
    } else if (isOfNumber(m_line[m_position])) {
        m_token = {Token::Kind::Number, takeWhile(isOfNumber), column};
    } else if (isLower(m_line[m_position])) {
        m_token = {Token::Kind::Name, takeWhile(isLower), column};
    } else {
        m_token = {Token::Kind::Symbol, takeSymbol(), column};
    }
}

bool Scanner::accept(char16_t symbol) {
    if (!m_token.is(symbol))
        return false;
    advance();
    return true;
}

std::u16string_view Scanner::takeWhile(bool (*belongs)(char16_t)) {
    const size_t begin = m_position;
    while (m_position < m_line.size() && belongs(m_line[m_position]))
        ++m_position;
    return m_line.substr(begin, m_position - begin);
}

std::u16string_view Scanner::takeSymbol() {
    const size_t begin = m_position++;
    if (qx::text::charset::isHighSurrogate(m_line[begin]) && m_position < m_line.size())
        ++m_position;
    return m_line.substr(begin, m_position - begin);
}
