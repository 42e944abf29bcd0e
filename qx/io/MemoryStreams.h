#pragma once

#include <cstdint>

#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedOutputStream.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/ByteBufferInputStream.h>
#include <qx/io/ByteBufferOutputStream.h>
#include <qx/platform/export.h>

// Direct access to streams that keep their bytes in memory, with the same result as single-byte
// calls. It serves exactly the classes below: a derived class sees every call. The class of a
// stream is found out once, so that single values need no virtual call.

namespace qx::io {

/// Direct access to the bytes of an InputStream for a filter that reads it. Refers to the stream.
class MemorySource {
public:
    QX_API explicit MemorySource(InputStream& in) noexcept;

    /// Reads @p length bytes where they are, valid until the stream's next operation. Null, with
    /// nothing read, when they are not all in memory.
    const signed char* tryTake(int32_t length) const noexcept {
        if (m_buffered)
            return m_buffered->tryTake(length);
        if (m_array)
            return m_array->tryTake(length);
        return m_buffer ? m_buffer->tryTake(length) : nullptr;
    }

private:
    // One at most is the stream, the others are null.
    BufferedInputStream* m_buffered;
    ByteArrayInputStream* m_array;
    ByteBufferInputStream* m_buffer;
};

/// Direct access to the memory of an OutputStream for a filter that writes it. Refers to the
/// stream.
class MemorySink {
public:
    QX_API explicit MemorySink(OutputStream& out) noexcept;

    /// Room for @p length bytes, which count as written; the caller fills it before the stream's
    /// next operation. Null, with nothing written, when there is not so much room in memory.
    signed char* tryClaim(int32_t length) const noexcept {
        if (m_buffered)
            return m_buffered->tryClaim(length);
        if (m_array)
            return m_array->tryClaim(length);
        return m_buffer ? m_buffer->tryClaim(length) : nullptr;
    }

private:
    // One at most is the stream, the others are null.
    BufferedOutputStream* m_buffered;
    ByteArrayOutputStream* m_array;
    ByteBufferOutputStream* m_buffer;
};

} // namespace qx::io
