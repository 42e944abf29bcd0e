#include "LineEnds.h"

LineEnds::LineEnds(const std::string& end)
    : m_end(end == "lf"     ? u"\n"
            : end == "crlf" ? u"\r\n"
            : end == "cr"   ? u"\r"
                            : u"") {}

void LineEnds::convert(const Buffer<char16_t>& units, Buffer<char16_t>& lines) {
    lines.truncate(0);
    lines.reserve(units.size() * static_cast<int32_t>(m_end.size()));
    m_wasBehindReturn = m_isBehindReturn;
    for (int32_t i = 0; i < units.size(); ++i) {
        const char16_t unit = units.data()[i];
        if (unit == u'\r' || (unit == u'\n' && !m_isBehindReturn))
            lines.append(m_end.data(), static_cast<int32_t>(m_end.size()));
        else if (unit != u'\n')
            lines.append(&unit, 1);
        m_isBehindReturn = unit == u'\r';
    }
}

int32_t LineEnds::positionOf(int32_t position, const Buffer<char16_t>& units) const {
    bool isBehindReturn = m_wasBehindReturn;
    int32_t written = 0;
    for (int32_t i = 0; i < units.size(); ++i) {
        const char16_t unit = units.data()[i];
        const bool isEnd = unit == u'\r' || unit == u'\n';
        if (!isEnd || unit == u'\r' || !isBehindReturn)
            written += isEnd ? static_cast<int32_t>(m_end.size()) : 1;
        isBehindReturn = unit == u'\r';
        if (written > position)
            return i;
    }
    return units.size();
}
