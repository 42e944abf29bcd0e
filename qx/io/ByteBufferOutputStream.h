#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Writes into a buffer at its position. What does not fit in front of the limit is dropped, and
/// noted for good.
class QX_API ByteBufferOutputStream : public OutputStream {
public:
    explicit ByteBufferOutputStream(ByteBuffer* buffer) : m_buffer(required(buffer)) {}

    using OutputStream::write;
    /// @throws ReadOnlyException for a read-only buffer
    void write(const signed char* from, int32_t length) override;

    /// Room for @p length bytes in the buffer, which count as written; the caller fills it before
    /// the next operation. Null, with nothing written, when the buffer refuses or has less room.
    signed char* tryClaim(int32_t length) noexcept {
        const auto count = static_cast<unsigned int>(length);
        const bool fits = !m_buffer->isReadOnly() && count <= m_buffer->remaining();
        return fits ? m_buffer->advance(count) : nullptr;
    }

    /// 1 when bytes were dropped, else 0.
    int16_t Overflowed() const noexcept { return m_overflowed; }

private:
    Reference<ByteBuffer> m_buffer;
    int16_t m_overflowed = 0;
};

} // namespace qx::io

using CQXByteBufferOutputStream = qx::io::ByteBufferOutputStream;
