#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Collects bytes in memory. A buffer that became too small for n bytes grows to n * 5 / 4.
class QX_API ByteArrayOutputStream : public OutputStream {
public:
    static constexpr int32_t DefaultCapacity = 256;

    ByteArrayOutputStream() : ByteArrayOutputStream(DefaultCapacity) {}
    /// @param capacity  in bytes
    explicit ByteArrayOutputStream(int32_t capacity);

    using OutputStream::write;
    /// @throws std::bad_alloc when memory runs out, with everything as it was
    void write(const signed char* from, int32_t length) override;

    /// Where the next bytes go without the buffer having to grow.
    std::span<signed char> room() noexcept {
        return {m_bytes.get() + m_size, static_cast<size_t>(m_capacity - m_size)};
    }
    /// Room for @p length bytes within the capacity, which count as written; the caller fills it
    /// before the next operation. Null, with nothing written, when the capacity does not suffice.
    signed char* tryClaim(int32_t length) noexcept {
        if (length > m_capacity - m_size)
            return nullptr;
        signed char* const bytes = m_bytes.get() + m_size;
        m_size += length;
        return bytes;
    }

    /// The bytes written so far; valid until the next write.
    const signed char* getBytes() const noexcept { return m_bytes.get(); }
    /// Copies at most @p max bytes; the number copied.
    int32_t getBytes(signed char* to, int32_t max) const;
    int32_t getSize() const noexcept { return m_size; }
    int32_t getCapacity() const noexcept { return m_capacity; }
    /// Forgets the bytes and keeps the capacity.
    void reset() noexcept { m_size = 0; }

    /// The bytes as text in the default encoding.
    String toString() const override;
    /// The bytes as text in @p encoding; null for the default.
    /// @throws UnknownEncodingException
    String toString(const char16_t* encoding) const;

    /// Writes all bytes to @p out in one call.
    /// @throws ResultException with result::NullPointer when there is none
    void writeTo(OutputStream* out) const;

protected:
    /// Makes room for @p capacity bytes, and a quarter more when the buffer has to grow.
    void ensureCapacity(int32_t capacity);
    /// Moves the bytes into a buffer of @p capacity bytes, at least as many as are written.
    void reallocBuffer(int32_t capacity);

private:
    using Bytes = std::unique_ptr<signed char[]>;
    Bytes moveBytes(int32_t capacity);

    Bytes m_bytes;
    int32_t m_size = 0;
    int32_t m_capacity;
};

} // namespace qx::io

using CQXByteArrayOutputStream = qx::io::ByteArrayOutputStream;
