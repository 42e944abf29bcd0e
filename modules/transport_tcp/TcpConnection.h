#pragma once

#include <cstdint>
#include <memory>

#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/net/TcpWorkerSocket2.h>

namespace qx::tcp {

/// A connected socket, shared by the two streams and the channel over it; closed with the last of
/// them. One thread may receive while another one sends.
class Connection : public Object {
public:
    /// @param readTimeoutMs  0 for none
    /// @throws ResultException with a socket code when the socket cannot be set up
    Connection(std::unique_ptr<net::TcpWorkerSocket2> socket, int32_t readTimeoutMs);

    /// Bytes received, at least one; -1 after the peer's orderly close.
    /// @throws ResultException with QX_E_SOCKET_ETIMEDOUT when the read time-out passes, else with
    ///     the code of the failure
    int32_t receive(signed char* to, int32_t length);
    /// Sends all bytes.
    /// @throws ResultException with the code of the failure
    void send(const signed char* from, int32_t length);

    /// "qx.net.tcp.socket=" and the number of the socket, which children that the program starts
    /// from now on inherit.
    String inheritableName() const;

private:
    const std::unique_ptr<net::TcpWorkerSocket2> m_socket;
};

} // namespace qx::tcp
