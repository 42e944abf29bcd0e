#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace collector {

/// Cuts what comes in into lines, in memory that does not grow: a line of more than a given length
/// is skipped up to its end, however far away that is.
class LineBuffer {
public:
    struct Line {
        std::string_view text;  ///< without its end; until room is called
        bool isTooLong = false; ///< the text is then empty
    };

    /// @param longest  bytes of a line without its end
    explicit LineBuffer(size_t longest);

    /// Where further bytes are to be put, once next has given all lines; not empty.
    std::span<char> room();
    /// So many bytes have been put there.
    void fill(size_t count) { m_end += count; }
    /// The next line that is complete; nothing when there is none.
    std::optional<Line> next();

private:
    size_t m_longest;
    std::vector<char> m_bytes;
    size_t m_begin = 0;
    size_t m_searched = 0; ///< no line ends before here
    size_t m_end = 0;
    bool m_isSkipping = false;
};

} // namespace collector
