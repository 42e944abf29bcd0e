#pragma once

#include <cstddef>
#include <cstdint>
#include <ratio>
#include <string>

#include <qx/net/TcpWorkerSocket2.h>
#include <qx/sync/Duration.h>

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

    /// Makes a socket that is connected to a host, a name or a numeric address, in UTF-8; null
    /// after a failure. The addresses of the host are tried in turn. Waits without limit.
    /// @return QX_E_SOCKET_EINVAL for a port of 0, a code of the resolver, or the failure of the
    ///         first address
    [[nodiscard]] static ENUM_QX_E_SOCKET connectTcpClientSocket2(const char* host, uint16_t port,
                                                                  TcpClientSocket2** out);
    /// The same with one limit for all addresses, any std::chrono::duration. An address that does
    /// not answer may use as much of what is left of it as each one after it. Looking the name up
    /// counts, but is not cut short.
    /// @return QX_E_SOCKET_ETIMEDOUT when an address has run out of time
    template <sync::Duration D>
    [[nodiscard]] static ENUM_QX_E_SOCKET connectTcpClientSocket2(const char* host, uint16_t port,
                                                                  const D& limit,
                                                                  TcpClientSocket2** out) {
        return connectIn(host, port, sync::roundedUp<std::milli>(limit), out);
    }
    /// The same for a string of the standard library.
    /// @return QX_E_SOCKET_EINVAL also for a 0 byte in it
    [[nodiscard]] static ENUM_QX_E_SOCKET
    connectTcpClientSocket2(const std::string& host, uint16_t port, TcpClientSocket2** out) {
        return connectTcpClientSocket2(wholeOrNull(host), port, out);
    }
    template <sync::Duration D>
    [[nodiscard]] static ENUM_QX_E_SOCKET connectTcpClientSocket2(const std::string& host,
                                                                  uint16_t port, const D& limit,
                                                                  TcpClientSocket2** out) {
        return connectTcpClientSocket2(wholeOrNull(host), port, limit, out);
    }

    /// @p length counts bytes of the address, in the lower 32 bits.
    [[nodiscard]] ENUM_QX_E_SOCKET bind(const qx_sockaddr_union* address, size_t length);
    /// Waits without limit.
    [[nodiscard]] ENUM_QX_E_SOCKET connect(const qx_sockaddr_union* address, size_t length);
    /// Waits no longer than @p limit.
    /// @return QX_E_SOCKET_ETIMEDOUT when that was not enough; the socket is then good for nothing
    ///         but closing
    template <sync::Duration D>
    [[nodiscard]] ENUM_QX_E_SOCKET connect(const qx_sockaddr_union* address, size_t length,
                                           const D& limit) {
        return connectIn(address, length, sync::roundedUp<std::milli>(limit));
    }
    /// Address that the socket is bound to. @p length is the capacity, then the length.
    [[nodiscard]] ENUM_QX_E_SOCKET getLocalAddress(qx_sockaddr_union* address, int* length);

private:
    static const char* wholeOrNull(const std::string& text) noexcept {
        return text.find('\0') == std::string::npos ? text.c_str() : nullptr;
    }
    static ENUM_QX_E_SOCKET connectIn(const char* host, uint16_t port, uint64_t milliseconds,
                                      TcpClientSocket2** out);
    ENUM_QX_E_SOCKET connectIn(const qx_sockaddr_union* address, size_t length,
                               uint64_t milliseconds);

    using TcpWorkerSocket2::TcpWorkerSocket2;
};

} // namespace qx::net
