#pragma once

#include <qx/io/BasicByteBuffer.h>

namespace qx::io {

/// Bytes with position, limit and typed access in either byte order; see BasicByteBuffer. To parse
/// a record of 12 bytes:
///
///     ByteBuffer record(12, QX_ENDIAN_BIG);
///     record.readFully(in);
///     record.flip();
///     const int32_t id = record.getInt32();
///     const double value = record.getDouble();
///
/// An order other than the two is refused with UnsupportedOperationException.
class QX_API ByteBuffer : public BasicByteBuffer<ByteBuffer, signed char> {
public:
    using BasicByteBuffer::BasicByteBuffer;

    /// @p order itself.
    /// @throws UnsupportedOperationException unless bytes can be stored in it
    static ENUM_QX_ENDIAN storableOrder(ENUM_QX_ENDIAN order);
};

} // namespace qx::io

/// The same over unsigned bytes, under the older name: hashes take the bytes as 0 to 255, and any
/// order but QX_ENDIAN_BIG means QX_ENDIAN_LITTLE.
class QX_API CQXByteBuffer : public qx::io::BasicByteBuffer<CQXByteBuffer, unsigned char> {
public:
    using ByteOrder = ENUM_QX_ENDIAN;
    using BasicByteBuffer::BasicByteBuffer;

    static ByteOrder storableOrder(ByteOrder order) noexcept {
        return order == QX_ENDIAN_BIG ? order : QX_ENDIAN_LITTLE;
    }
};

namespace qx::io {

extern template class BasicByteBuffer<ByteBuffer, signed char>;
extern template class BasicByteBuffer<CQXByteBuffer, unsigned char>;

} // namespace qx::io
