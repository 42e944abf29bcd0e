#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/String.h>

namespace qx::transport {

/// A connection, shared by the two streams and the channel over it; closed with the last of them.
/// One thread may receive while another one sends.
class Connection : public Object {
public:
    /// Bytes received, at least one; -1 after the peer's orderly close.
    /// @throws ResultException with QX_E_SOCKET_ETIMEDOUT when the read time-out passes, else with
    ///     the code of the failure
    virtual int32_t receive(signed char* to, int32_t length) = 0;
    /// Sends all bytes.
    /// @throws ResultException with QX_E_SOCKET_ETIMEDOUT when the write time-out passes, else with
    ///     the code of the failure; after either a part of the bytes may have gone out, and nothing
    ///     more can be sent that makes sense
    virtual void send(const signed char* from, int32_t length) = 0;
    /// @throws ResultException with result::NotAvailable when there is no such name
    virtual String inheritableName() const = 0;
};

} // namespace qx::transport
