#pragma once

#include <qx/io/BufferedSource.h>
#include <qx/io/Reader.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API BufferedSource<Reader, char16_t>;

/// Reads text in blocks, with mark and reset, and by lines.
class QX_API BufferedReader : public BufferedSource<Reader, char16_t> {
public:
    static constexpr int32_t DefaultSize = 8192;

    /// @param size  of the buffer in units, raised to 16
    explicit BufferedReader(Reader* in, int32_t size = DefaultSize)
        : BufferedSource(in, size, &typeid(BufferedReader)) {}

    /// Reads one line into @p line, which is emptied first. A line ends with LF, CR or CR LF, which
    /// is not part of it, or at the end of input.
    /// @return the length of the line in units, or -1 at the end of input
    /// @throws what the wrapped reader throws; @p line then holds the part of the line that was
    ///     read, and the next call goes on behind it
    virtual int32_t readLine(String& line);

private:
    void dropLineEnd(char16_t lineEnd);
};

} // namespace qx::io

using CQXBufferedReader = qx::io::BufferedReader;
