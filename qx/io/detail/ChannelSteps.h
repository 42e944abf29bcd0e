#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/core/detail/CauseText.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/IReadChannel.h>
#include <qx/io/IWriteChannel.h>
#include <qx/io/MovedLength.h>

// What every channel does around the call that moves the bytes.

namespace qx::io::detail {

/// Lets @p move (bytes, length) move what remains of @p buffer, and advances its position.
template <class Move>
int32_t moveRemaining(ByteBuffer& buffer, int32_t least, Move&& move) {
    const unsigned int position = buffer.getPosition();
    const int32_t offered = clippedLength(buffer.remaining());
    const int32_t moved = checkedMove(move(buffer.getBuffer() + position, offered), offered, least);
    if (moved > 0)
        buffer.setPosition(position + static_cast<unsigned int>(moved));
    return moved;
}

/// Lets @p read (bytes, length) fill what remains of @p buffer.
template <class Read>
int32_t readRemaining(ByteBuffer& buffer, Read&& read) {
    if (buffer.isReadOnly())
        throw ReadOnlyException(u"read-only buffer"_qs);
    return moveRemaining(buffer, EndOfInput, read);
}

/// Lets @p write (bytes, length) send what remains of @p buffer.
template <class Write>
int32_t writeRemaining(ByteBuffer& buffer, Write&& write) {
    return moveRemaining(buffer, 0, write);
}

/// Takes the length that a component caller offers and hands it to @p move (offered), whose result
/// becomes the length; 0 when it fails.
template <class Byte, class Move>
int32_t moveOffered(Byte* bytes, int32_t* length, Move&& move) {
    if (!length)
        return result::NullPointer;
    const int32_t offered = *length;
    *length = 0;
    if (offered < 0)
        return result::InvalidArgument;
    if (!bytes && offered > 0)
        return result::NullPointer;
    return qx::detail::resultTellingCause([&] { *length = move(offered); });
}

/// pcom::IQXChannel::Read by way of @p channel.
inline int32_t readThrough(IReadChannel& channel, signed char* bytes, int32_t* length) {
    return moveOffered(bytes, length, [&](int32_t offered) {
        ByteBuffer buffer(bytes, static_cast<unsigned int>(offered), QX_ENDIAN_LITTLE);
        return checkedMove(channel.read(buffer), offered, EndOfInput);
    });
}

/// pcom::IQXChannel::Write by way of @p channel.
inline int32_t writeThrough(IWriteChannel& channel, const signed char* bytes, int32_t* length) {
    return moveOffered(bytes, length, [&](int32_t offered) {
        ByteBuffer buffer(bytes, static_cast<unsigned int>(offered), QX_ENDIAN_LITTLE);
        return checkedMove(channel.write(buffer), offered, 0);
    });
}

} // namespace qx::io::detail
