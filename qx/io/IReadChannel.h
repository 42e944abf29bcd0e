#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::io {

class ByteBuffer;

/// The receiving side of a connection.
class QX_INTERFACE IReadChannel : public IQXUnknown {
public:
    /// Reads into @p buffer from its position, at most what remains in it, and advances the
    /// position by what came.
    /// @return the number of bytes read; -1 at the end, with the position where it was
    virtual int read(ByteBuffer& buffer) = 0;

protected:
    ~IReadChannel() = default;
};

} // namespace qx::io
