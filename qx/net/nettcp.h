#pragma once

/// @file
/// TCP sockets for C.
///
/// The functions call the members of qx::net::TcpSocket2, TcpWorkerSocket2 and TcpClientSocket2,
/// which say more about arguments and results. A null object and a null pointer give
/// QX_E_SOCKET_EINVAL, unless said otherwise. An object is used by one thread at a time.

#include <qx/net/nettypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Starts the socket system. Every function here that needs it does so too.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticInit(void);
/// Does nothing: the socket system is cleaned up when the library is unloaded.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticUninit(void);
/// Stores the highest version of the socket system; 0 and 0 when it did not start.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticGetVersion(int32_t* major, int32_t* minor);

/// Stores the address at @p index of what a host resolves to, with @p port, which is not 0.
/// @p hints may be null.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticGetaddrinfo(const char* host, uint16_t port,
                                                        const qx_addrinfo* hints, uint32_t index,
                                                        qx_sockaddr_union* out);

/// Shuts the output of any socket object down, closes and frees it, and makes the pointer null.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticDestroy(QxNetTcpSocket** socket);
/// Closes the socket; the object stays. A second call does nothing.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketClose(QxNetTcpSocket* socket);
/// The native socket, or what identifies a server; 0 for null and for a closed socket.
QX_API uint64_t QxNetTcpSocketGetId(QxNetTcpSocket* socket);
/// Shuts the input down, once. A socket that is not connected is no failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketShutdownInput(QxNetTcpSocket* socket);
/// Shuts the output down, as QxNetTcpSocketShutdownInput does the input.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketShutdownOutput(QxNetTcpSocket* socket);
/// Shuts both directions down, as far as that has not happened.
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketShutdownBoth(QxNetTcpSocket* socket);

/// Makes a socket, which QxNetTcpSocketStaticDestroy frees; null after a failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketStaticCreate(int family, int type, int protocol,
                                                         QxNetTcpClientSocket** out);
/// Binds the socket to a local address of @p length bytes.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketBind(QxNetTcpClientSocket* socket,
                                                 const qx_sockaddr_union* address, size_t length);
/// Connects to an address of @p length bytes; waits without limit.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketConnect(QxNetTcpClientSocket* socket,
                                                    const qx_sockaddr_union* address,
                                                    size_t length);
/// Makes a socket that is connected to a host, whose addresses are tried in turn within
/// @p milliseconds, QX_SOCKET_NO_LIMIT for no limit; null after a failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketStaticConnect(const char* host, uint16_t port,
                                                          uint32_t milliseconds,
                                                          QxNetTcpClientSocket** out);
/// Connects to an address of @p length bytes within @p milliseconds, as above.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketTimedConnect(QxNetTcpClientSocket* socket,
                                                         const qx_sockaddr_union* address,
                                                         size_t length, uint32_t milliseconds);
/// Stores the address that the socket is bound to. @p length is the capacity in bytes, then the
/// length.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketGetLocalAddress(QxNetTcpClientSocket* socket,
                                                            qx_sockaddr_union* address,
                                                            int* length);

/// The same for any connection, and for its peer.
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetLocalAddress(QxNetTcpWorkerSocket* socket,
                                                            qx_sockaddr_union* address,
                                                            int* length);
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetPeerAddress(QxNetTcpWorkerSocket* socket,
                                                           qx_sockaddr_union* address, int* length);
/// Stores how many bytes can be received at once without waiting.
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetAvailable(QxNetTcpWorkerSocket* socket,
                                                         uint32_t* count);

/// Reads an option. @p length is the capacity of @p value in bytes, then its length.
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, char* value, int* length);
/// QxNetTcpWorkerSocketGetsockopt under the name of the client socket.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketGetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, char* value, int* length);
/// Sets an option to the @p length bytes of @p value.
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketSetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, const char* value, int length);
/// QxNetTcpWorkerSocketSetsockopt under the name of the client socket.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketSetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, const char* value, int length);
/// Receives up to @p length bytes, of which the lower 32 bits count. @p count receives how many; 0
/// after the orderly close of the peer, -1 after a failure.
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketRecv(QxNetTcpWorkerSocket* socket, char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);
/// QxNetTcpWorkerSocketRecv under the name of the client socket.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketRecv(QxNetTcpWorkerSocket* socket, char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);
/// Sends @p length bytes; results as with QxNetTcpWorkerSocketRecv.
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketSend(QxNetTcpWorkerSocket* socket, const char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);
/// QxNetTcpWorkerSocketSend under the name of the client socket.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketSend(QxNetTcpWorkerSocket* socket, const char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);

/// Waits until sockets can be read or written without blocking or are exceptional, as
/// qx::net::TcpWorkerSocket2::select does. The arrays and the time limit may be null.
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketStaticSelect(
    QxNetTcpWorkerSocket** readSockets, uint32_t* readCount, QxNetTcpWorkerSocket** writeSockets,
    uint32_t* writeCount, QxNetTcpWorkerSocket** exceptionSockets, uint32_t* exceptionCount,
    const qx_timeval* timeout, int32_t* result);
/// QxNetTcpWorkerSocketStaticSelect under the name of the client socket.
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketStaticSelect(
    QxNetTcpWorkerSocket** readSockets, uint32_t* readCount, QxNetTcpWorkerSocket** writeSockets,
    uint32_t* writeCount, QxNetTcpWorkerSocket** exceptionSockets, uint32_t* exceptionCount,
    const qx_timeval* timeout, int32_t* result);

#ifdef __cplusplus
}
#endif
