#include "LineBuffer.h"

#include <algorithm>

namespace collector {

namespace {

constexpr size_t SmallestSize = 65536; // so that many lines share one system call
constexpr size_t LineEnd = 2;          // "\r\n"

} // namespace

LineBuffer::LineBuffer(size_t longest)
    : m_longest(longest), m_bytes(std::max(2 * (longest + LineEnd), SmallestSize)) {}

std::span<char> LineBuffer::room() {
    std::copy(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_begin),
              m_bytes.begin() + static_cast<std::ptrdiff_t>(m_end), m_bytes.begin());
    m_end -= m_begin;
    m_searched -= m_begin;
    m_begin = 0;
    return std::span(m_bytes).subspan(m_end);
}

std::optional<LineBuffer::Line> LineBuffer::next() {
    const std::string_view bytes(m_bytes.data(), m_end);
    const size_t lineFeed = bytes.find('\n', m_searched);
    if (lineFeed == std::string_view::npos) {
        if (m_isSkipping || m_end - m_begin > m_longest + LineEnd) {
            m_isSkipping = true;
            m_begin = m_end;
        }
        m_searched = m_end;
        return std::nullopt;
    }
    std::string_view text = bytes.substr(m_begin, lineFeed - m_begin);
    m_begin = m_searched = lineFeed + 1;
    if (text.ends_with('\r'))
        text.remove_suffix(1);
    if (m_isSkipping || text.size() > m_longest) {
        m_isSkipping = false;
        return Line{{}, true};
    }
    return Line{text};
}

} // namespace collector
