#pragma once

/// @file
/// A TCP server with several addresses, for C.
///
/// The functions call the members of qx::net::TcpServerSocket2, which say more about arguments and
/// results. In order: create, fill the bind list, bind, listen, save the bound addresses, accept in
/// a loop, QxNetTcpSocketStaticDestroy. A null server and a null pointer give QX_E_SOCKET_EINVAL,
/// unless said otherwise.

#include <qx/net/nettypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Makes a server, which QxNetTcpSocketStaticDestroy frees; null after a failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketStaticCreate(int family, int type, int protocol,
                                                         QxNetTcpServerSocket** out);

/// Adds the any address of IPv6 and then of IPv4 to the bind list.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddAddrAny(QxNetTcpServerSocket* server,
                                                               uint16_t port);
/// Adds the addresses that hosts resolve to. @p hosts are separated by commas; @p service, which
/// may be null otherwise, names the port when @p port is 0.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddAddrInfo(QxNetTcpServerSocket* server,
                                                                const char* hosts,
                                                                const char* service, uint16_t port);
/// Empties the bind list.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListClear(QxNetTcpServerSocket* server);
/// Keeps the only address of the bind list aside, if it is the only one, and empties the list.
QX_API ENUM_QX_E_SOCKET
QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(QxNetTcpServerSocket* server);

/// Makes a socket for every address of the bind list.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBind(QxNetTcpServerSocket* server);
/// Listens on every socket. A backlog below 1 is the highest that the system has.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketListen(QxNetTcpServerSocket* server, int backlog);
/// Appends the address of every listening socket to the bound list.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketSaveBoundAddresses(QxNetTcpServerSocket* server);

/// Waits without limit for a connection. The worker is freed by QxNetTcpSocketStaticDestroy; null
/// after a failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketAccept(QxNetTcpServerSocket* server,
                                                   QxNetTcpWorkerSocket** out);
/// The same, with the bare socket, which the caller closes; all ones after a failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketAcceptSocket(QxNetTcpServerSocket* server,
                                                         uint64_t* nativeSocket);

/// Stores the socket address at @p index of the bound list. @p length is the capacity in bytes,
/// then the length, 0 after a failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketGetBoundAddress(QxNetTcpServerSocket* server,
                                                            uint32_t index, signed char* buffer,
                                                            size_t* length);
/// Gives the addresses of the bind list as text, separated by "; ", as the functions of
/// netaddress.h give texts.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBindListAddressesDiagnosticStrA(
    QxNetTcpServerSocket* server, char* buffer, uint32_t* length);
/// The same for the bound list.
QX_API ENUM_QX_E_SOCKET QxNetTcpServerSocketBoundListAddressesDiagnosticStrA(
    QxNetTcpServerSocket* server, char* buffer, uint32_t* length);

#ifdef __cplusplus
}
#endif
