#include "Sockets.h"

#include <qx/core/Result.h>
#include <qx/io/ByteOrder.h>
#include <qx/net/TcpSocket2.h>

namespace qx::transport {

namespace {

/// Address number @p index of a host, with the port, which may be 0.
ENUM_QX_E_SOCKET resolve(const Place& place, uint32_t index, qx_sockaddr_union& address) {
    qx_addrinfo hints{};
    hints.ai_socktype = QX_SOCK_STREAM;
    hints.ai_protocol = QX_IPPROTO_TCP;
    constexpr uint16_t AnyPort = 1; // the resolver takes no 0
    const uint16_t port = place.port != 0 ? place.port : AnyPort;
    const ENUM_QX_E_SOCKET code =
        net::TcpSocket2::getAddrInfo(place.host.c_str(), port, &hints, index, &address);
    if (code == 0 && place.port == 0)
        address.ipv4.port = 0; // where that of IPv6 is too
    return code;
}

ENUM_QX_E_SOCKET makeSocket(const qx_sockaddr_union& address, Socket& socket) {
    return codeOf(QXSocketCreate(address.family, QX_SOCK_STREAM, QX_IPPROTO_TCP, socket.put()));
}

uint16_t hostOrder(uint16_t port) {
    return io::isSwapped(QX_ENDIAN_BIG) ? io::swapBytes(port) : port;
}

ENUM_QX_E_SOCKET connect(const Socket& socket, const qx_sockaddr_union& address,
                         const Deadline& deadline) {
    return codeOf(QXSocketTimedConnect(socket.get(), &address, lengthOf(address),
                                       deadline.millisecondsLeft()));
}

} // namespace

bool await(const Socket& socket, uint32_t wanted, const Deadline& deadline) {
    if (deadline.hasPassed())
        return false;
    qx_socket_poll entry{socket.get(), wanted, 0};
    qx_timeval limit{};
    const int32_t ready = QXSocketPoll(&entry, 1, deadline.left(limit));
    throwIfFailed(codeOf(ready));
    return ready > 0;
}

Socket connectTo(const Place& place, const Deadline& deadline) {
    ENUM_QX_E_SOCKET failure = 0;
    for (uint32_t index = 0;; ++index) {
        qx_sockaddr_union address{};
        if (const ENUM_QX_E_SOCKET code = resolve(place, index, address))
            throwResult(failure != 0 ? failure : code);
        Socket socket;
        failure = makeSocket(address, socket);
        if (failure == 0)
            failure = connect(socket, address, deadline);
        if (failure == 0)
            return socket;
    }
}

Listener::Listener(const Place& place) {
    qx_sockaddr_union address{};
    throwIfFailed(resolve(place, 0, address));
    throwIfFailed(makeSocket(address, m_socket));
    throwIfFailed(codeOf(QXSocketBind(m_socket.get(), &address, lengthOf(address))));
    throwIfFailed(codeOf(QXSocketListen(m_socket.get(), place.backlog)));
    int32_t length = sizeof address;
    throwIfFailed(codeOf(QXSocketGetName(m_socket.get(), &address, &length)));
    m_port = hostOrder(address.ipv4.port);
}

Socket Listener::accept(qx_sockaddr_union* peer) const {
    Socket accepted;
    int32_t length = sizeof(qx_sockaddr_union);
    const ENUM_QX_E_SOCKET code =
        codeOf(QXSocketAccept(m_socket.get(), peer, peer ? &length : nullptr, accepted.put()));
    if (code != QX_E_SOCKET_EWOULDBLOCK)
        throwIfFailed(code);
    return accepted;
}

} // namespace qx::transport
