#pragma once

#include <qx/io/BufferedSink.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API BufferedSink<OutputStream, signed char>;

/// Writes a byte stream in blocks. Flush before closing: close drops pending bytes.
class QX_API BufferedOutputStream : public BufferedSink<OutputStream, signed char> {
public:
    static constexpr int32_t DefaultSize = 8192;

    /// @param size  of the buffer in bytes, raised to 16
    explicit BufferedOutputStream(OutputStream* out, int32_t size = DefaultSize)
        : BufferedSink(out, size) {}
    ~BufferedOutputStream() override;
};

} // namespace qx::io

using CQXBufferedOutputStream = qx::io::BufferedOutputStream;
