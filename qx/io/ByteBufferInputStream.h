#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/InputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Reads the remaining bytes of a buffer and advances its position. At the end even a read of
/// length 0 gives -1.
class QX_API ByteBufferInputStream : public InputStream {
public:
    explicit ByteBufferInputStream(ByteBuffer* buffer) : m_buffer(required(buffer)) {}

    using InputStream::read;
    int32_t read(signed char* to, int32_t length) override;

    /// Reads @p length bytes without a copy: where they are, until the buffer is written. Null,
    /// with nothing read, when fewer remain.
    const signed char* tryTake(int32_t length) noexcept {
        const auto count = static_cast<unsigned int>(length);
        return count <= m_buffer->remaining() ? m_buffer->advance(count) : nullptr;
    }

private:
    Reference<ByteBuffer> m_buffer;
};

} // namespace qx::io

using CQXByteBufferInputStream = qx::io::ByteBufferInputStream;
