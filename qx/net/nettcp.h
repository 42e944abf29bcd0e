#pragma once

/*
 * TCP sockets for C: the classes of qx/net/TcpSocket2.h, TcpWorkerSocket2.h and TcpClientSocket2.h,
 * whose comments say what each function does and returns. A null object and a null pointer give
 * QX_E_SOCKET_EINVAL, unless said otherwise. An object is used by one thread at a time.
 */

#include <qx/net/nettypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Starts the socket system; every function here that needs it does that as well. */
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticInit(void);
/* Does nothing: the socket system is cleaned up when the library is unloaded. */
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticUninit(void);
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticGetVersion(int32_t* major, int32_t* minor);

/* The address at @p index of what a host resolves to, with @p port, not 0. @p hints may be null. */
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticGetaddrinfo(const char* host, uint16_t port,
                                                        const qx_addrinfo* hints, uint32_t index,
                                                        qx_sockaddr_union* out);

/* Closes and frees any socket object, and makes the pointer to it null. */
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketStaticDestroy(QxNetTcpSocket** socket);
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketClose(QxNetTcpSocket* socket);
/* The native socket, or the number of a server object; 0 for null and for a closed socket. */
QX_API uint64_t QxNetTcpSocketGetId(QxNetTcpSocket* socket);
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketShutdownInput(QxNetTcpSocket* socket);
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketShutdownOutput(QxNetTcpSocket* socket);
QX_API ENUM_QX_E_SOCKET QxNetTcpSocketShutdownBoth(QxNetTcpSocket* socket);

QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketStaticCreate(int family, int type, int protocol,
                                                         QxNetTcpClientSocket** out);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketBind(QxNetTcpClientSocket* socket,
                                                 const qx_sockaddr_union* address, size_t length);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketConnect(QxNetTcpClientSocket* socket,
                                                    const qx_sockaddr_union* address,
                                                    size_t length);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketGetLocalAddress(QxNetTcpClientSocket* socket,
                                                            qx_sockaddr_union* address,
                                                            int* length);

/* Client sockets are worker sockets; these pairs are the same. */
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, char* value, int* length);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketGetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, char* value, int* length);
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketSetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, const char* value, int length);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketSetsockopt(QxNetTcpWorkerSocket* socket, int32_t level,
                                                       int32_t name, const char* value, int length);
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketRecv(QxNetTcpWorkerSocket* socket, char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketRecv(QxNetTcpWorkerSocket* socket, char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketSend(QxNetTcpWorkerSocket* socket, const char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketSend(QxNetTcpWorkerSocket* socket, const char* buffer,
                                                 size_t length, int32_t flags, int64_t* count);

/* The arrays and the time limit may be null. */
QX_API ENUM_QX_E_SOCKET QxNetTcpWorkerSocketStaticSelect(
    QxNetTcpWorkerSocket** readSockets, uint32_t* readCount, QxNetTcpWorkerSocket** writeSockets,
    uint32_t* writeCount, QxNetTcpWorkerSocket** exceptionSockets, uint32_t* exceptionCount,
    const qx_timeval* timeout, int32_t* result);
QX_API ENUM_QX_E_SOCKET QxNetTcpClientSocketStaticSelect(
    QxNetTcpWorkerSocket** readSockets, uint32_t* readCount, QxNetTcpWorkerSocket** writeSockets,
    uint32_t* writeCount, QxNetTcpWorkerSocket** exceptionSockets, uint32_t* exceptionCount,
    const qx_timeval* timeout, int32_t* result);

#ifdef __cplusplus
}
#endif
