#pragma once

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/net/TcpSocket.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>

namespace qx::net {

/// A TCP server on one port of every IPv4 address of the machine. For several addresses and IPv6
/// there is TcpServerSocket2.
class QX_API TcpServerSocket : public Object {
public:
    /// Listens at once.
    /// @param backlog  connections that may wait to be accepted; the system caps it
    /// @throws Exception "TcpServerSocket: " and the system's text of the error
    /// @throws io::IoException the same when no socket can be made
    TcpServerSocket(unsigned short port, int backlog);

    /// Waits without limit for a connection. Several threads may wait at once.
    /// @throws Exception "TcpServerSocket::accept WSERROR " and the number of the socket error; the
    ///     server goes on listening
    Reference<TcpSocket> accept();

private:
    PlatformHandle<&QXSocketClose> m_socket;
};

} // namespace qx::net
