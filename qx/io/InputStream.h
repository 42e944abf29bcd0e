#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <qx/core/ByteView.h>
#include <qx/core/Object.h>
#include <qx/io/UnitWindow.h>

namespace qx::io {

/// A source of bytes. A concrete stream supplies the block read into signed char; everything else
/// has a default that rests on it.
///
/// Counts are in bytes. Streams are used by one thread at a time. Destroying a stream that wraps
/// another releases it and does not close it. Wrapping null throws ResultException with
/// result::NullPointer; a wrapped stream that claims to have read more than it was asked for is an
/// IoException.
class QX_API InputStream : public Object {
public:
    /// The block read below, for the other byte types.
    virtual int32_t read(char* to, int32_t length);
    virtual int32_t read(unsigned char* to, int32_t length);
    /// Reads up to @p length bytes, as many as come at once but at least one.
    /// @return the number of bytes read, or -1 at the end; 0 for a length below 1 unless the stream
    ///     says otherwise
    virtual int32_t read(signed char* to, int32_t length) = 0;
    template <qx::detail::ByteType Byte, size_t Extent>
    int32_t read(std::span<Byte, Extent> to) {
        const size_t length = to.size() < INT32_MAX ? to.size() : INT32_MAX;
        return read(reinterpret_cast<signed char*>(to.data()), static_cast<int32_t>(length));
    }
    /// The next byte as 0 to 255, or -1 at the end.
    virtual int read();
    /// The same for loops over single bytes: what a buffer holds comes without a call for each.
    int next() { return m_window.isEmpty() ? read() : m_window.take(); }
    /// Reads and drops up to @p count bytes.
    /// @return the number of bytes dropped, fewer than @p count only at the end and in front of a
    ///     failure that the next read raises: a time-out, and others if the stream keeps them
    virtual int32_t skip(int32_t count);
    /// Bytes that can be read without blocking; 0 when unknown, which is the default.
    virtual int32_t available();
    /// Gives up what the stream holds. The default does nothing.
    virtual void close();
    /// False unless the stream says otherwise.
    virtual bool markSupported();
    /// Remembers the position for reset, at least until @p readLimit further bytes were read.
    virtual void mark(int32_t readLimit);
    /// Goes back to the mark.
    /// @throws IoException where marks are not supported, none is set or it was lost
    virtual void reset();

protected:
    UnitWindow<signed char> m_window;
};

} // namespace qx::io

using CQXInputStream = qx::io::InputStream;
