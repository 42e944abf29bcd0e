#pragma once

#include <cstdint>
#include <typeinfo>

#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedOutputStream.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/ByteBufferInputStream.h>
#include <qx/io/ByteBufferOutputStream.h>

// A short way into streams that keep their bytes in memory, where it has the result of as many
// single-byte calls. It serves exactly these classes: one that derives from them sees every call.

namespace qx::io::detail {

/// Compared by address: a description that a program has twice only means the long way.
template <class Stream, class Base>
bool isExactly(const Base& stream) noexcept {
    return &typeid(stream) == &typeid(Stream);
}

/// Reads @p length bytes of @p in where they are, valid until its next operation. Null, with
/// nothing read, when they are not all in memory.
inline const signed char* tryTake(InputStream& in, int32_t length) noexcept {
    if (isExactly<BufferedInputStream>(in))
        return static_cast<BufferedInputStream&>(in).tryTake(length);
    if (isExactly<ByteArrayInputStream>(in))
        return static_cast<ByteArrayInputStream&>(in).tryTake(length);
    if (isExactly<ByteBufferInputStream>(in))
        return static_cast<ByteBufferInputStream&>(in).tryTake(length);
    return nullptr;
}

/// Room in @p out for @p length bytes, which the caller writes before its next operation. Null,
/// with nothing written, when there is not so much room in memory.
inline signed char* tryClaim(OutputStream& out, int32_t length) noexcept {
    if (isExactly<BufferedOutputStream>(out))
        return static_cast<BufferedOutputStream&>(out).tryClaim(length);
    if (isExactly<ByteArrayOutputStream>(out))
        return static_cast<ByteArrayOutputStream&>(out).tryClaim(length);
    if (isExactly<ByteBufferOutputStream>(out))
        return static_cast<ByteBufferOutputStream&>(out).tryClaim(length);
    return nullptr;
}

} // namespace qx::io::detail
