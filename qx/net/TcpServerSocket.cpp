#include "qx/net/TcpServerSocket.h"

#include <qx/core/Exception.h>
#include <qx/io/IoException.h>
#include <qx/net/TcpSocket2.h>
#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Descriptions.h>
#include <qx/platform/native.h>

namespace qx::net {

namespace {

String withErrorText() {
    char text[256];
    QXNativeErrorText(text, sizeof text);
    return u"TcpServerSocket: " + String(text);
}

} // namespace

TcpServerSocket::TcpServerSocket(unsigned short port, int backlog) {
    if (const ENUM_QX_E_SOCKET code = TcpSocket2::init())
        throwDescribed(u"TcpServerSocket: Winsock failed to load ", code);
    if (QXSocketCreate(QX_AF_INET, QX_SOCK_STREAM, 0, m_socket.put()) != 0)
        throw io::IoException(withErrorText());
    qx_sockaddr_union any{};
    any.ipv4 = {QX_AF_INET, swapPortOrder(port), {}, {}};
    if (QXSocketBind(m_socket.get(), &any, sizeof any.ipv4) != 0)
        throw withDetail(Exception(withErrorText()), portText(port));
    if (QXSocketListen(m_socket.get(), backlog) != 0)
        throw withDetail(Exception(withErrorText()), portText(port));
}

Reference<TcpSocket> TcpServerSocket::accept() {
    PlatformHandle<&QXSocketClose> accepted;
    if (QXSocketAccept(m_socket.get(), nullptr, nullptr, accepted.put()) != 0) {
        throw Exception(u"TcpServerSocket::accept "
                        u"WSERROR " +
                        String::valueOf(QXSocketLastError()));
    }
    Reference<TcpSocket> socket(new TcpSocket(accepted.get()));
    static_cast<void>(accepted.detach());
    return socket;
}

} // namespace qx::net
