#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::io {

class ByteBuffer;

/// The sending side of a connection.
class QX_INTERFACE IWriteChannel : public IQXUnknown {
public:
    /// Sends what remains in @p buffer, or the first part of it, and advances the position past
    /// what was sent.
    /// @return the number of bytes sent
    virtual int write(ByteBuffer& buffer) = 0;

protected:
    ~IWriteChannel() = default;
};

} // namespace qx::io
