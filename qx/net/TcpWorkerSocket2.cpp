#include "qx/net/TcpWorkerSocket2.h"

#include <new>

#include <qx/net/detail/Codes.h>

namespace qx::net {

TcpWorkerSocket2::TcpWorkerSocket2(uint64_t nativeSocket, ENUM_QX_E_SOCKET* error)
    : m_socket(nativeSocket) {
    const ENUM_QX_E_SOCKET code = init();
    if (error != nullptr)
        *error = code;
}

TcpWorkerSocket2::TcpWorkerSocket2(uint64_t nativeSocket, const qx_sockaddr_union* peer,
                                   ENUM_QX_E_SOCKET* error)
    : m_socket(nativeSocket) {
    ENUM_QX_E_SOCKET code = init();
    if (code == 0) {
        m_peer.reset(new (std::nothrow) InetSocketAddress(peer, &code));
        if (!m_peer)
            code = QX_E_SOCKET_ENOBUFS;
    }
    if (error != nullptr)
        *error = code;
}

TcpWorkerSocket2::~TcpWorkerSocket2() {
    if (!getClosed() && !getShutdownOut())
        TcpWorkerSocket2::shutdownOutput();
}

uint64_t TcpWorkerSocket2::getId() const { return m_socket ? m_socket.get() : 0; }

ENUM_QX_E_SOCKET TcpWorkerSocket2::shutdown(int32_t direction) {
    if (direction < 0 || getClosed())
        return 0;
    const ENUM_QX_E_SOCKET code = codeOfCall(QXSocketShutdown(m_socket.get(), direction));
    return code == QX_E_SOCKET_ENOTCONN ? 0 : code;
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::shutdownInput() { return shutdown(takeShutdown(true, false)); }

ENUM_QX_E_SOCKET TcpWorkerSocket2::shutdownOutput() { return shutdown(takeShutdown(false, true)); }

ENUM_QX_E_SOCKET TcpWorkerSocket2::shutdownBoth() { return shutdown(takeShutdown(true, true)); }

ENUM_QX_E_SOCKET TcpWorkerSocket2::close() {
    if (getClosed())
        return 0;
    setClosed(1);
    return codeOfCall(QXSocketClose(m_socket.detach()));
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::getsockopt(int32_t level, int32_t name, char* value,
                                              int* length) {
    if (value == nullptr || length == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    return codeOfCall(QXSocketGetOption(m_socket.get(), level, name, value, length));
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::setsockopt(int32_t level, int32_t name, const char* value,
                                              int length) {
    if (value == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    return codeOfCall(QXSocketSetOption(m_socket.get(), level, name, value, length));
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::setOption(int32_t level, int32_t name, uint64_t value) {
    if (value > UINT32_MAX)
        return QX_E_SOCKET_EINVAL;
    const auto number = static_cast<uint32_t>(value);
    return setsockopt(level, name, reinterpret_cast<const char*>(&number), sizeof number);
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::getPeerAddress(qx_sockaddr_union* address, int* length) const {
    if (address == nullptr || length == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    return codeOfCall(QXSocketGetPeerName(m_socket.get(), address, length));
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::getLocalAddress(qx_sockaddr_union* address, int* length) const {
    if (address == nullptr || length == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    return codeOfCall(QXSocketGetName(m_socket.get(), address, length));
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::getAvailable(uint32_t* count) const {
    if (count == nullptr)
        return QX_E_SOCKET_EINVAL;
    *count = 0;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    return codeOfCall(QXSocketGetAvailable(m_socket.get(), count));
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::recv(char* buffer, size_t length, int32_t flags,
                                        int64_t* count) {
    if (count != nullptr)
        *count = -1;
    if (buffer == nullptr || count == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    *count = QXSocketReceive(m_socket.get(), buffer, static_cast<int32_t>(length), flags);
    return *count > 0 ? 0 : lastCode();
}

ENUM_QX_E_SOCKET TcpWorkerSocket2::send(const char* buffer, size_t length, int32_t flags,
                                        int64_t* count) {
    if (count != nullptr)
        *count = -1;
    if (buffer == nullptr || count == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    *count = QXSocketSend(m_socket.get(), buffer, static_cast<int32_t>(length), flags);
    return *count > 0 ? 0 : lastCode();
}

} // namespace qx::net
