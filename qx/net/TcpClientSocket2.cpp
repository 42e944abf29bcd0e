#include "qx/net/TcpClientSocket2.h"

#include <algorithm>
#include <new>

#include <qx/net/detail/Codes.h>
#include <qx/net/detail/HostConnection.h>

namespace qx::net {

ENUM_QX_E_SOCKET TcpClientSocket2::createTcpClientSocket2(int family, int type, int protocol,
                                                          TcpClientSocket2** out) {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = nullptr;
    if (const ENUM_QX_E_SOCKET code = init())
        return code;
    PlatformHandle<&QXSocketClose> made;
    if (QXSocketCreate(family, type, protocol, made.put()) != 0)
        return lastCode();
    ENUM_QX_E_SOCKET code = 0;
    *out = new (std::nothrow) TcpClientSocket2(made.get(), &code);
    if (*out == nullptr)
        return QX_E_SOCKET_EFAULT;
    static_cast<void>(made.detach());
    return code;
}

ENUM_QX_E_SOCKET TcpClientSocket2::connectTcpClientSocket2(const char* host, uint16_t port,
                                                           TcpClientSocket2** out) {
    return connectIn(host, port, NoLimit, out);
}

ENUM_QX_E_SOCKET TcpClientSocket2::connectIn(const char* host, uint16_t port, uint64_t milliseconds,
                                             TcpClientSocket2** out) {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = nullptr;
    if (host == nullptr || port == 0)
        return QX_E_SOCKET_EINVAL;
    if (const ENUM_QX_E_SOCKET code = init())
        return code;
    const sync::TimeBudget budget(milliseconds);
    int32_t number = 0;
    const HostAddresses addresses = resolveHost(host, number);
    if (!addresses)
        return QX_E_SOCKETFromNativeEaiSocketError(number);
    HostConnection connection;
    ENUM_QX_E_SOCKET code = connection.open(
        *addresses, port, milliseconds == NoLimit ? NoLimit : budget.milliseconds());
    if (code != 0)
        return code;
    *out = new (std::nothrow) TcpClientSocket2(connection.socket.get(), &connection.peer, &code);
    if (*out == nullptr)
        return QX_E_SOCKET_EFAULT;
    static_cast<void>(connection.socket.detach());
    return code;
}

ENUM_QX_E_SOCKET TcpClientSocket2::connectIn(const qx_sockaddr_union* address, size_t length,
                                             uint64_t milliseconds) {
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    if (address == nullptr)
        return QX_E_SOCKET_EINVAL;
    const uint64_t limit = std::min<uint64_t>(milliseconds, QX_SOCKET_NO_LIMIT - 1);
    return codeOfCall(QXSocketTimedConnect(getId(), address, static_cast<int32_t>(length),
                                           static_cast<uint32_t>(limit)));
}

ENUM_QX_E_SOCKET TcpClientSocket2::bind(const qx_sockaddr_union* address, size_t length) {
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    if (address == nullptr)
        return QX_E_SOCKET_EINVAL;
    return codeOfCall(QXSocketBind(getId(), address, static_cast<int32_t>(length)));
}

ENUM_QX_E_SOCKET TcpClientSocket2::connect(const qx_sockaddr_union* address, size_t length) {
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    if (address == nullptr)
        return QX_E_SOCKET_EINVAL;
    return codeOfCall(QXSocketConnect(getId(), address, static_cast<int32_t>(length)));
}

ENUM_QX_E_SOCKET TcpClientSocket2::getLocalAddress(qx_sockaddr_union* address, int* length) {
    return TcpWorkerSocket2::getLocalAddress(address, length);
}

} // namespace qx::net
