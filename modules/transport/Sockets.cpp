#include "Sockets.h"

#include <utility>

#include <qx/core/Result.h>
#include <qx/net/TcpSocket2.h>
#include <qx/net/detail/ByteOrder.h>

namespace qx::transport {

bool await(const Socket& socket, uint32_t wanted, const Deadline& deadline) {
    if (deadline.hasPassed())
        return false;
    qx_socket_poll entry{socket.get(), wanted, 0};
    qx_timeval limit{};
    const int32_t ready = QXSocketPoll(&entry, 1, deadline.left(limit));
    throwIfFailed(codeOf(ready));
    return ready > 0;
}

net::HostAddresses lookUp(const Place& place) {
    throwIfFailed(net::TcpSocket2::init());
    int32_t number = 0;
    net::HostAddresses addresses = net::resolveHost(place.host.c_str(), number);
    if (!addresses)
        throwResult(QX_E_SOCKETFromNativeEaiSocketError(number));
    return addresses;
}

Socket connectTo(const net::HostAddresses& addresses, const Place& place,
                 const Deadline& deadline) {
    net::HostConnection connection;
    throwIfFailed(connection.open(*addresses, place.port, deadline.millisecondsLeft()));
    return std::move(connection.socket);
}

Listener::Listener(const Place& place) {
    qx_sockaddr_union address = *lookUp(place)->ai_addr;
    address.ipv4.port = net::swapPortOrder(place.port); // where that of IPv6 is too
    throwIfFailed(
        codeOf(QXSocketCreate(address.family, QX_SOCK_STREAM, QX_IPPROTO_TCP, m_socket.put())));
    throwIfFailed(codeOf(QXSocketBind(m_socket.get(), &address, lengthOf(address))));
    throwIfFailed(codeOf(QXSocketListen(m_socket.get(), place.backlog)));
    int32_t length = sizeof address;
    throwIfFailed(codeOf(QXSocketGetName(m_socket.get(), &address, &length)));
    m_port = net::swapPortOrder(address.ipv4.port);
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
