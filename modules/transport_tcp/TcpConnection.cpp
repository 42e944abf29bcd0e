#include "TcpConnection.h"

#include <chrono>

#include <qx/core/Result.h>
#include <qx/platform/net.h>

namespace qx::tcp {

TcpConnection::TcpConnection(transport::Socket socket, const transport::Place& place)
    : m_socket(socket.detach(), nullptr) {
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
    while (length > 0) {
        int64_t count = 0;
        const ENUM_QX_E_SOCKET code = m_socket.send(reinterpret_cast<const char*>(from),
                                                    static_cast<size_t>(length), 0, &count);
        if (count < 1)
            throwResult(code < 0 ? code : result::Fail);
        from += count;
        length -= static_cast<int32_t>(count);
    }
}

String TcpConnection::inheritableName() const {
    const uint64_t socket = m_socket.getId();
    QXSocketSetInherited(socket, 1);
    m_isHandedOn = true;
    return String(u"qx.net.tcp.socket=") + String::valueOf(socket);
}

} // namespace qx::tcp
