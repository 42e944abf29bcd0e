#pragma once

#include <cstdint>

#include <qx/io/InputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// The C library's standard input. Block reads are by lines, as with fgets.
class QX_API StdioInputStream : public InputStream {
public:
    using InputStream::read;
    /// At most one line with its line feed, and at most length - 1 bytes: one byte of @p to is kept
    /// for a terminating 0, which is stored. -1 at the end, also for a length of 1.
    /// @throws IoException "stream read error"
    int32_t read(signed char* to, int32_t length) override;
    int read() override;
    /// Moves the position of standard input forward; how far it moved.
    /// @throws IoException "stream seek error"
    int32_t skip(int32_t count) override;
};

} // namespace qx::io

using CQXStdioInputStream = qx::io::StdioInputStream;
