#include "qx/util/StringTokenizer.h"

#include <algorithm>

#include <qx/core/Exception.h>
#include <qx/core/detail/UnitSearch.h>

namespace qx::util {

namespace {

/// First place from @p start on whose unit is in the set, or not in it, or the end.
int32_t firstPlace(const String& text, int32_t start, const String& set, bool member) {
    const qx::detail::UnitSet units(set.view());
    const char16_t* const from = text.begin() + qx::detail::limited(start, text.getLength());
    const auto isSought = [&](char16_t unit) { return units.has(unit) == member; };
    return static_cast<int32_t>(std::find_if(from, text.end(), isSought) - text.begin());
}

} // namespace

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
    const int32_t end = firstPlace(m_text, from, m_delimiters, true);
    return end == from && m_returnDelims ? std::min(from + 1, m_text.getLength()) : end;
}

int32_t StringTokenizer::skipDelims(int32_t from) const {
    return m_returnDelims ? from : firstPlace(m_text, from, m_delimiters, false);
}

} // namespace qx::util
