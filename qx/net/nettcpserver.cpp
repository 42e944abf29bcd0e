#include "qx/net/nettcpserver.h"

#include <limits>

#include <qx/net/TcpServerSocket2.h>
#include <qx/net/detail/Forward.h>
#include <qx/net/detail/TextOutput.h>

using namespace qx::net;

namespace {

/// Gives a text of the server, which may be null.
ENUM_QX_E_SOCKET giveList(const TcpServerSocket2* server,
                          ENUM_QX_E_SOCKET (TcpServerSocket2::*give)(char*, uint32_t*) const,
                          char* buffer, uint32_t* length) {
    if (server != nullptr)
        return (server->*give)(buffer, length);
    beginText(buffer, length);
    return QX_E_SOCKET_EINVAL;
}

} // namespace

ENUM_QX_E_SOCKET QxNetTcpServerSocketStaticCreate(int family, int type, int protocol,
                                                  TcpServerSocket2** out) {
    return TcpServerSocket2::createTcpServerSocket2(family, type, protocol, out);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddAddrAny(TcpServerSocket2* server, uint16_t port) {
    return forward(server, &TcpServerSocket2::bindListAddAddrAny, port);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddAddrInfo(TcpServerSocket2* server,
                                                         const char* hosts, const char* service,
                                                         uint16_t port) {
    return forward(server, &TcpServerSocket2::bindListAddAddrInfo, hosts, service, port);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListClear(TcpServerSocket2* server) {
    if (server == nullptr)
        return QX_E_SOCKET_EINVAL;
    server->bindListClear();
    return 0;
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(TcpServerSocket2* server) {
    return forward(server, &TcpServerSocket2::bindListSaveOneForNamedPipeReply);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketBind(TcpServerSocket2* server) {
    return forward(server, &TcpServerSocket2::bind);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketListen(TcpServerSocket2* server, int backlog) {
    return forward(server, &TcpServerSocket2::listen, backlog);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketSaveBoundAddresses(TcpServerSocket2* server) {
    return forward(server, &TcpServerSocket2::saveBoundAddresses);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketAccept(TcpServerSocket2* server, TcpWorkerSocket2** out) {
    if (out != nullptr)
        *out = nullptr;
    return server != nullptr && out != nullptr ? server->accept(out) : QX_E_SOCKET_EINVAL;
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketAcceptSocket(TcpServerSocket2* server,
                                                  uint64_t* nativeSocket) {
    if (nativeSocket != nullptr)
        *nativeSocket = std::numeric_limits<uint64_t>::max();
    return server != nullptr && nativeSocket != nullptr ? server->accept(nativeSocket)
                                                        : QX_E_SOCKET_EINVAL;
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketGetBoundAddress(TcpServerSocket2* server, uint32_t index,
                                                     signed char* buffer, size_t* length) {
    if (length != nullptr && (server == nullptr || buffer == nullptr))
        *length = 0;
    return forward(server, &TcpServerSocket2::getBoundAddress, index, buffer, length);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddressesDiagnosticStrA(TcpServerSocket2* server,
                                                                     char* buffer,
                                                                     uint32_t* length) {
    return giveList(server, &TcpServerSocket2::bindListAddressesDiagnosticStrA, buffer, length);
}

ENUM_QX_E_SOCKET QxNetTcpServerSocketBoundListAddressesDiagnosticStrA(TcpServerSocket2* server,
                                                                      char* buffer,
                                                                      uint32_t* length) {
    return giveList(server, &TcpServerSocket2::boundListAddressesDiagnosticStrA, buffer, length);
}
