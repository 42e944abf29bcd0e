#include "qx/util/StringTokenizer.h"

#include <qx/core/Exception.h>

namespace qx::util {

StringTokenizer::StringTokenizer(const String& text, const char16_t* delimiters, bool returnDelims)
    : m_text(text, String::AM_COPY), // which may lie in memory that somebody else changes
      m_delimiters(delimiters ? delimiters : s_defaultDelims), m_returnDelims(returnDelims) {}

bool StringTokenizer::hasMoreTokens() {
    m_lookahead = skipDelims(m_position);
    return m_lookahead < m_text.getLength();
}

String StringTokenizer::nextToken(const char16_t* delimiters) {
    if (delimiters) {
        m_delimiters = String(delimiters);
        m_lookahead = -1;
    }
    const int32_t start = m_lookahead >= 0 ? m_lookahead : skipDelims(m_position);
    m_lookahead = -1;
    if (start >= m_text.getLength())
        throw Exception(u"No such element"_qs);
    m_position = scanToken(start);
    return m_text.substring(start, m_position);
}

int32_t StringTokenizer::getTokenCount() const {
    int32_t count = 0;
    for (int32_t at = skipDelims(m_position); at < m_text.getLength(); ++count)
        at = skipDelims(scanToken(at));
    return count;
}

int32_t StringTokenizer::scanToken(int32_t from) const {
    const int32_t end = m_text.findFirstOf(m_delimiters, from);
    if (end < 0)
        return m_text.getLength();
    return end == from && m_returnDelims ? from + 1 : end;
}

int32_t StringTokenizer::skipDelims(int32_t from) const {
    if (m_returnDelims)
        return from;
    const int32_t start = m_text.findFirstNotOf(m_delimiters, from);
    return start < 0 ? m_text.getLength() : start;
}

} // namespace qx::util
