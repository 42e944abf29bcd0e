#pragma once

#include <qx/io/BufferedSource.h>
#include <qx/io/InputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API BufferedSource<InputStream, signed char>;

/// Reads a byte stream in blocks, with mark and reset.
class QX_API BufferedInputStream : public BufferedSource<InputStream, signed char> {
public:
    static constexpr int32_t DefaultSize = 8192;

    /// @param size  of the buffer in bytes, raised to 16
    explicit BufferedInputStream(InputStream* in, int32_t size = DefaultSize);
    ~BufferedInputStream() override;
};

} // namespace qx::io

using CQXBufferedInputStream = qx::io::BufferedInputStream;
