#pragma once

#include <atomic>
#include <cstdint>

#include <qx/core/ProcessMark.h>
#include <qx/net/TcpWorkerSocket2.h>

#include "modules/transport/Connection.h"
#include "modules/transport/Place.h"
#include "modules/transport/Sockets.h"

namespace qx::tcp {

/// A connected socket.
class TcpConnection : public transport::Connection {
public:
    /// @throws ResultException with a socket code when the socket cannot be set up
    TcpConnection(transport::Socket socket, const transport::Place& place);
    /// A connection that a child may go on with stays open for it, and that of a parent for this
    /// when a child made by fork lets go of it.
    ~TcpConnection() override;

    int32_t receive(signed char* to, int32_t length) override;
    void send(const signed char* from, int32_t length) override;

    /// "qx.net.tcp.socket=" and the number of the socket, which children that the program starts
    /// from now on inherit.
    String inheritableName() const override;

private:
    net::TcpWorkerSocket2 m_socket;
    const int32_t m_mostAtOnce; ///< bytes that one call may send
    const ProcessMark m_mark;
    mutable std::atomic<bool> m_isHandedOn{false};
};

} // namespace qx::tcp
