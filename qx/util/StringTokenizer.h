#pragma once

#include <cstdint>
#include <iterator>

#include <qx/collections/InputIterator.h>
#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::util {

/// Splits a text into the tokens between delimiter units, from front to back.
///
/// A run of delimiters counts as one, and delimiters are not returned; with returnDelims each of
/// them is a token of one unit instead. One instance is used by one thread at a time. It is an
/// input range of the remaining tokens:
///
///     for (const String& word : StringTokenizer(text))
class QX_API StringTokenizer : public Object {
public:
    /// Space, carriage return, line feed, tab and form feed.
    QX_LOCAL static constexpr char16_t s_defaultDelims[] = u" \r\n\t\f";

    /// @param delimiters    the set of delimiters, ended by a 0 unit, copied; null: the default set
    /// @param returnDelims  whether delimiters are tokens, too
    explicit StringTokenizer(const String& text, const char16_t* delimiters = nullptr,
                             bool returnDelims = false);

    /// True when nextToken with the current delimiters has a token to return.
    bool hasMoreTokens();

    /// The next token.
    /// @param delimiters  replaces the set of delimiters from this call on; null keeps it
    /// @throws Exception "No such element" at the end
    String nextToken(const char16_t* delimiters = nullptr);

    bool hasNext() { return hasMoreTokens(); }
    String next() { return nextToken(); }
    collections::InputIterator<StringTokenizer, StringTokenizer*> begin() {
        return collections::InputIterator<StringTokenizer, StringTokenizer*>(this);
    }
    std::default_sentinel_t end() const noexcept { return {}; }

    /// Number of tokens still to come.
    int32_t getTokenCount() const;

protected:
    /// End of the token that starts at @p from, a position before the end.
    int32_t scanToken(int32_t from) const;
    /// Start of the next token at or behind @p from; the length of the text when there is none.
    int32_t skipDelims(int32_t from) const;

private:
    String m_text;
    String m_delimiters;
    bool m_returnDelims;
    /// Where the next scan starts.
    int32_t m_position = 0;
    /// The start that the last hasMoreTokens found, or -1.
    int32_t m_lookahead = -1;
};

} // namespace qx::util

using CQXStringTokenizer = qx::util::StringTokenizer;
