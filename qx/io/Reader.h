#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/io/UnitWindow.h>

namespace qx::io {

/// A source of UTF-16 code units. A concrete reader supplies the block read; everything else has a
/// default that rests on it.
///
/// Counts are in units. Readers are used by one thread at a time. Destroying a reader that wraps
/// another source releases it and does not close it.
class QX_API Reader : public Object {
public:
    /// Reads up to @p length units.
    /// @return the number of units read, 0 for a length below 1, or -1 at the end
    virtual int32_t read(char16_t* to, int32_t length) = 0;
    /// The next unit as 0 to 65535, or -1 at the end.
    virtual int read();
    /// The same for loops over single units: what a buffer holds comes without a call for each.
    int next() { return m_window.isEmpty() ? read() : m_window.take(); }
    /// Reads and drops up to @p count units.
    /// @return the number of units dropped, fewer than @p count only at the end and in front of a
    ///     failure that the next read raises: a time-out, and others if the reader keeps them
    virtual int32_t skip(int32_t count);
    /// Units that can be read without blocking; 0 when unknown, which is the default.
    virtual int32_t available();
    /// Gives up what the reader holds. The default does nothing.
    virtual void close();
    /// False unless the reader says otherwise.
    virtual bool markSupported();
    /// Remembers the position for reset, at least until @p readLimit further units were read.
    virtual void mark(int32_t readLimit);
    /// Goes back to the mark.
    /// @throws IoException where marks are not supported, none is set or it was lost
    virtual void reset();

protected:
    UnitWindow<char16_t> m_window;
};

} // namespace qx::io

using CQXReader = qx::io::Reader;
