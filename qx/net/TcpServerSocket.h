#pragma once

#include <cstdint>
#include <memory>
#include <ratio>

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/net/TcpSocket.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>
#include <qx/sync/Duration.h>

namespace qx::net {

class StopSignal;

/// A TCP server on one port of every IPv4 address of the machine. For several addresses and IPv6
/// there is TcpServerSocket2.
///
///     qx::net::TcpServerSocket server(0, 50); // another thread calls server.stop()
///     std::cout << "port " << server.getPort() << std::endl;
///     while (const auto connection = server.accept())
///         serve(*connection);
///
/// Any thread may call the members.
class QX_API TcpServerSocket : public Object {
public:
    /// Listens at once.
    /// @param port     0 for a free one that the system chooses
    /// @param backlog  connections that may wait to be accepted; the system caps it
    /// @throws Exception "TcpServerSocket: " and the system's text of the error
    /// @throws io::IoException the same when no socket can be made
    TcpServerSocket(unsigned short port, int backlog);
    ~TcpServerSocket() override;

    /// Waits without limit for a connection; null when the server is stopped. Several threads may
    /// wait at once.
    /// @throws Exception "TcpServerSocket::accept WSERROR " and the number of the socket error; the
    ///     server goes on listening
    Reference<TcpSocket> accept();
    /// The same for a limited time, any std::chrono::duration: null when that is over, too.
    template <sync::Duration D>
    Reference<TcpSocket> accept(const D& limit) {
        return acceptIn(sync::roundedUp<std::milli>(limit));
    }

    /// The port that it listens on.
    unsigned short getPort() const;

    /// Ends accept in every thread that waits in it, and every later call, in this process: one
    /// that shares the server by fork goes on. Connections that nobody has accepted are dropped
    /// when the object is destroyed, which no thread may be using then.
    void stop() noexcept;
    bool isStopped() const noexcept;

private:
    Reference<TcpSocket> acceptIn(uint64_t milliseconds);

    PlatformHandle<&QXSocketClose> m_socket; // does not block: another thread may be quicker
    std::unique_ptr<StopSignal> m_stop;
    unsigned short m_port = 0;
    uint32_t m_forkEpoch; // before the socket was made
};

} // namespace qx::net
