#include "TcpConnection.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include <qx/core/Result.h>
#include <qx/platform/net.h>

namespace qx::tcp {

namespace {

/// What may take the whole limit: a peer that reads slowly is none that does not read.
constexpr int32_t MostWithinLimit = 65536;

} // namespace

TcpConnection::TcpConnection(transport::Socket socket, const transport::Place& place)
    : m_socket(socket.detach(), nullptr),
      m_mostAtOnce(place.writeTimeoutMs != 0 ? MostWithinLimit
                                             : std::numeric_limits<int32_t>::max()) {
    using std::chrono::milliseconds;
    if (place.readTimeoutMs != 0)
        throwIfFailed(m_socket.setReceiveTimeout(milliseconds(place.readTimeoutMs)));
    if (place.writeTimeoutMs != 0)
        throwIfFailed(m_socket.setSendTimeout(milliseconds(place.writeTimeoutMs)));
}

TcpConnection::~TcpConnection() {
    if (m_isHandedOn || m_mark.isFromParent())
        m_socket.close(); // it would end the connection for the other process otherwise
}

int32_t TcpConnection::receive(signed char* to, int32_t length) {
    int64_t count = 0;
    const ENUM_QX_E_SOCKET code =
        m_socket.recv(reinterpret_cast<char*>(to), static_cast<size_t>(length), 0, &count);
    if (count < 0)
        throwResult(code < 0 ? code : result::Fail);
    return count == 0 ? -1 : static_cast<int32_t>(count);
}

void TcpConnection::send(const signed char* from, int32_t length) {
    const auto* bytes = reinterpret_cast<const char*>(from);
    while (length > 0) {
        const int32_t part = std::min(length, m_mostAtOnce);
        int64_t count = 0;
        ENUM_QX_E_SOCKET code = m_socket.send(bytes, static_cast<size_t>(part), 0, &count);
        // A connection that ends in the middle says so to the next send, which waits for no room
        // when there is nothing to send.
        if (count > 0 && count < part)
            code = m_socket.send(bytes, 0, 0, &count);
        if (count == 0)
            throwResult(QX_E_SOCKET_ETIMEDOUT);
        if (count < 0)
            throwResult(code < 0 ? code : result::Fail);
        bytes += part;
        length -= part;
    }
}

String TcpConnection::inheritableName() const {
    const uint64_t socket = m_socket.getId();
    QXSocketSetInherited(socket, 1);
    m_isHandedOn = true;
    return String(u"qx.net.tcp.socket=") + String::valueOf(socket);
}

} // namespace qx::tcp
