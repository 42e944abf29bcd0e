#pragma once

#include <cstdint>
#include <string>

#include "Buffer.h"

/// Makes all ends of lines (LF, CR LF, CR) the same, in a text that comes in blocks.
class LineEnds {
public:
    /// @param end  "lf", "crlf" or "cr"; another leaves the text as it is
    explicit LineEnds(const std::string& end);

    bool isOn() const { return !m_end.empty(); }
    void restart() { m_isBehindReturn = m_wasBehindReturn = false; }

    /// Puts the text of @p units with its new ends into @p lines.
    void convert(const Buffer<char16_t>& units, Buffer<char16_t>& lines);
    /// The unit of the block converted last that became the one at @p position.
    int32_t positionOf(int32_t position, const Buffer<char16_t>& units) const;

private:
    std::u16string m_end;
    bool m_isBehindReturn = false;
    bool m_wasBehindReturn = false; ///< at the start of the block
};
