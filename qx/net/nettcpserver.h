#pragma once

/*
 * The multi-address TCP server for C: the class of qx/net/TcpServerSocket2.h, whose comments say
 * what each function does and returns. In order: create, fill the bind list, bind, listen, save the
 * bound addresses, accept in a loop, QxNetTcpSocketStaticDestroy. A null server and a null pointer
 * give QX_E_SOCKET_EINVAL, unless said otherwise.
 */

#include <qx/net/nettypes.h>

#ifdef __cplusplus
extern "C" {
#endif

QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketStaticCreate(int family, int type, int protocol,
                                                         QxNetTcpServerSocket** out);

QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddAddrAny(QxNetTcpServerSocket* server,
                                                               uint16_t port);
/* @p service may be null unless @p port is 0. */
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddAddrInfo(QxNetTcpServerSocket* server,
                                                                const char* hosts,
                                                                const char* service, uint16_t port);
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListClear(QxNetTcpServerSocket* server);
QX_API ENUM_QX_E_SOCKET
QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(QxNetTcpServerSocket* server);

QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBind(QxNetTcpServerSocket* server);
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketListen(QxNetTcpServerSocket* server, int backlog);
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketSaveBoundAddresses(QxNetTcpServerSocket* server);

QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketAccept(QxNetTcpServerSocket* server,
                                                   QxNetTcpWorkerSocket** out);
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketAcceptSocket(QxNetTcpServerSocket* server,
                                                         uint64_t* nativeSocket);

QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketGetBoundAddress(QxNetTcpServerSocket* server,
                                                            uint32_t index, signed char* buffer,
                                                            size_t* length);
/* Text outputs as in netaddress.h. */
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddressesDiagnosticStrA(
    QxNetTcpServerSocket* server, char* buffer, uint32_t* length);
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBoundListAddressesDiagnosticStrA(
    QxNetTcpServerSocket* server, char* buffer, uint32_t* length);

#ifdef __cplusplus
}
#endif
