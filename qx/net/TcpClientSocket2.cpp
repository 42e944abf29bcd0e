#include "qx/net/TcpClientSocket2.h"

#include <new>

#include <qx/net/detail/Codes.h>

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
    if (address == nullptr || length == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (getClosed())
        return QX_E_SOCKET_ENOTSOCK;
    return codeOfCall(QXSocketGetName(getId(), address, length));
}

} // namespace qx::net
