#pragma once

#include <qx/io/BufferedSink.h>
#include <qx/io/Writer.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API BufferedSink<Writer, char16_t>;

/// Writes text in blocks. Flush before closing: close drops pending units.
class QX_API BufferedWriter : public BufferedSink<Writer, char16_t> {
public:
    static constexpr int32_t DefaultSize = 8192;

    /// @param size  of the buffer in units, raised to 16
    explicit BufferedWriter(Writer* out, int32_t size = DefaultSize) : BufferedSink(out, size) {}
    ~BufferedWriter() override;
};

} // namespace qx::io

using CQXBufferedWriter = qx::io::BufferedWriter;
