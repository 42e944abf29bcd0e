#pragma once

#include <cstdint>

#include <qx/core/ByteView.h>
#include <qx/core/Object.h>

namespace qx::io {

/// A sink of bytes. A concrete stream supplies the block write of signed char; everything else has
/// a default that rests on it:
///
///     class Counter : public qx::io::OutputStream {
///     public:
///         using OutputStream::write;
///         void write(const signed char*, int32_t length) override { m_count += length; }
///         ...
///     };
///
/// A write takes all bytes or throws. What holds bytes back (a buffer, an encoder) writes them in
/// flush, so flush before the end: neither close nor the destructor does.
///
/// Counts are in bytes. Streams are used by one thread at a time unless they say otherwise.
/// Destroying a stream that wraps another releases it and neither flushes nor closes it. Wrapping
/// null throws ResultException with result::NullPointer.
class QX_API OutputStream : public Object {
public:
    /// The block write below, for the other byte types.
    virtual void write(const char* from, int32_t length);
    virtual void write(const unsigned char* from, int32_t length);
    /// Writes all @p length bytes, which must not be negative.
    virtual void write(const signed char* from, int32_t length) = 0;
    virtual void write(signed char byte);
    /// Writes all the bytes, whatever holds them.
    ///
    ///     out->write("ping"); // four bytes
    void write(const ByteView& bytes);
    /// Passes on what the stream holds back. The default does nothing.
    virtual void flush();
    /// Gives up what the stream holds, without a flush. The default does nothing.
    virtual void close();
};

} // namespace qx::io

using CQXOutputStream = qx::io::OutputStream;
