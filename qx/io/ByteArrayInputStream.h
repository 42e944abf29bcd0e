#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include <qx/core/ByteView.h>
#include <qx/io/InputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Reads bytes from memory. At the end even a read of length 0 gives -1.
class QX_API ByteArrayInputStream : public InputStream {
public:
    /// Copies @p length bytes; none for a negative length.
    /// @throws ResultException with result::NullPointer for bytes that are not there
    ByteArrayInputStream(const signed char* bytes, int32_t length);
    explicit ByteArrayInputStream(const ByteView& bytes)
        : ByteArrayInputStream(bytes.data(), bytes.length()) {}

    using InputStream::read;
    int32_t read(signed char* to, int32_t length) override;

    /// The bytes that are not read yet.
    std::span<const signed char> rest() const noexcept {
        return {m_bytes.get() + m_position, static_cast<size_t>(m_length - m_position)};
    }
    /// Reads @p length bytes without a copy: where they are, as long as the stream lives. Null,
    /// with nothing read, when fewer are left.
    const signed char* tryTake(int32_t length) noexcept {
        if (length > m_length - m_position)
            return nullptr;
        const signed char* const bytes = m_bytes.get() + m_position;
        m_position += length;
        return bytes;
    }

private:
    std::unique_ptr<signed char[]> m_bytes;
    int32_t m_length;
    int32_t m_position = 0;
};

} // namespace qx::io

using CQXByteArrayInputStream = qx::io::ByteArrayInputStream;
