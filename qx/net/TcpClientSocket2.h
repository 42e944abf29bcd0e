#pragma once

#include <qx/net/TcpWorkerSocket2.h>

namespace qx::net {

/// A socket of the program's own making that connects to a server.
class QX_API TcpClientSocket2 : public TcpWorkerSocket2 {
public:
    /// Makes a socket, which the caller owns; null after a failure.
    /// @param family    QX_AF_INET or QX_AF_INET6
    /// @param type      QX_SOCK_STREAM
    /// @param protocol  QX_IPPROTO_TCP, or 0 for the protocol of the type
    [[nodiscard]] static ENUM_QX_E_SOCKET createTcpClientSocket2(int family, int type, int protocol,
                                                                 TcpClientSocket2** out);

    /// @p length counts bytes of the address, in the lower 32 bits.
    [[nodiscard]] ENUM_QX_E_SOCKET bind(const qx_sockaddr_union* address, size_t length);
    /// Waits without limit.
    [[nodiscard]] ENUM_QX_E_SOCKET connect(const qx_sockaddr_union* address, size_t length);
    /// Address that the socket is bound to. @p length is the capacity, then the length.
    [[nodiscard]] ENUM_QX_E_SOCKET getLocalAddress(qx_sockaddr_union* address, int* length);

private:
    using TcpWorkerSocket2::TcpWorkerSocket2;
};

} // namespace qx::net
