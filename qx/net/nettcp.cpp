#include "qx/net/nettcp.h"

#include <chrono>

#include <qx/net/TcpClientSocket2.h>
#include <qx/net/detail/Forward.h>

using namespace qx::net;

ENUM_QX_E_SOCKET QxNetTcpSocketStaticInit() { return TcpSocket2::init(); }

ENUM_QX_E_SOCKET QxNetTcpSocketStaticUninit() { return 0; }

ENUM_QX_E_SOCKET QxNetTcpSocketStaticGetVersion(int32_t* major, int32_t* minor) {
    return TcpSocket2::getVersion(major, minor);
}

ENUM_QX_E_SOCKET QxNetTcpSocketStaticGetaddrinfo(const char* host, uint16_t port,
                                                 const qx_addrinfo* hints, uint32_t index,
                                                 qx_sockaddr_union* out) {
    return TcpSocket2::getAddrInfo(host, port, hints, index, out);
}

ENUM_QX_E_SOCKET QxNetTcpSocketStaticDestroy(TcpSocket2** socket) {
    return TcpSocket2::destroyTcpSocket2(socket);
}

ENUM_QX_E_SOCKET QxNetTcpSocketClose(TcpSocket2* socket) {
    return forward(socket, &TcpSocket2::close);
}

uint64_t QxNetTcpSocketGetId(TcpSocket2* socket) { return socket != nullptr ? socket->getId() : 0; }

ENUM_QX_E_SOCKET QxNetTcpSocketShutdownInput(TcpSocket2* socket) {
    return forward(socket, &TcpSocket2::shutdownInput);
}

ENUM_QX_E_SOCKET QxNetTcpSocketShutdownOutput(TcpSocket2* socket) {
    return forward(socket, &TcpSocket2::shutdownOutput);
}

ENUM_QX_E_SOCKET QxNetTcpSocketShutdownBoth(TcpSocket2* socket) {
    return forward(socket, &TcpSocket2::shutdownBoth);
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketStaticCreate(int family, int type, int protocol,
                                                  TcpClientSocket2** out) {
    return TcpClientSocket2::createTcpClientSocket2(family, type, protocol, out);
}

// The members say ENOTSOCK of a closed socket before they look at the address.
ENUM_QX_E_SOCKET QxNetTcpClientSocketBind(TcpClientSocket2* socket,
                                          const qx_sockaddr_union* address, size_t length) {
    return address != nullptr ? forward(socket, &TcpClientSocket2::bind, address, length)
                              : QX_E_SOCKET_EINVAL;
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketConnect(TcpClientSocket2* socket,
                                             const qx_sockaddr_union* address, size_t length) {
    return socket != nullptr && address != nullptr ? socket->connect(address, length)
                                                   : QX_E_SOCKET_EINVAL;
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketStaticConnect(const char* host, uint16_t port,
                                                   uint32_t milliseconds, TcpClientSocket2** out) {
    return milliseconds == QX_SOCKET_NO_LIMIT
               ? TcpClientSocket2::connectTcpClientSocket2(host, port, out)
               : TcpClientSocket2::connectTcpClientSocket2(
                     host, port, std::chrono::milliseconds(milliseconds), out);
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketTimedConnect(TcpClientSocket2* socket,
                                                  const qx_sockaddr_union* address, size_t length,
                                                  uint32_t milliseconds) {
    if (milliseconds == QX_SOCKET_NO_LIMIT || socket == nullptr || address == nullptr)
        return QxNetTcpClientSocketConnect(socket, address, length);
    return socket->connect(address, length, std::chrono::milliseconds(milliseconds));
}

ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetLocalAddress(TcpWorkerSocket2* socket,
                                                     qx_sockaddr_union* address, int* length) {
    return forward(socket, &TcpWorkerSocket2::getLocalAddress, address, length);
}

ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetPeerAddress(TcpWorkerSocket2* socket,
                                                    qx_sockaddr_union* address, int* length) {
    return socket != nullptr ? socket->getPeerAddress(address, length) : QX_E_SOCKET_EINVAL;
}

ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetAvailable(TcpWorkerSocket2* socket, uint32_t* count) {
    if (count != nullptr)
        *count = 0;
    return forward(socket, &TcpWorkerSocket2::getAvailable, count);
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketGetLocalAddress(TcpClientSocket2* socket,
                                                     qx_sockaddr_union* address, int* length) {
    return forward(socket, &TcpClientSocket2::getLocalAddress, address, length);
}

ENUM_QX_E_SOCKET QxNetTcpWorkerSocketGetsockopt(TcpWorkerSocket2* socket, int32_t level,
                                                int32_t name, char* value, int* length) {
    return forward(socket, &TcpWorkerSocket2::getsockopt, level, name, value, length);
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketGetsockopt(TcpWorkerSocket2* socket, int32_t level,
                                                int32_t name, char* value, int* length) {
    return QxNetTcpWorkerSocketGetsockopt(socket, level, name, value, length);
}

ENUM_QX_E_SOCKET QxNetTcpWorkerSocketSetsockopt(TcpWorkerSocket2* socket, int32_t level,
                                                int32_t name, const char* value, int length) {
    return forward(socket, &TcpWorkerSocket2::setsockopt, level, name, value, length);
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketSetsockopt(TcpWorkerSocket2* socket, int32_t level,
                                                int32_t name, const char* value, int length) {
    return QxNetTcpWorkerSocketSetsockopt(socket, level, name, value, length);
}

ENUM_QX_E_SOCKET QxNetTcpWorkerSocketRecv(TcpWorkerSocket2* socket, char* buffer, size_t length,
                                          int32_t flags, int64_t* count) {
    if (count != nullptr)
        *count = -1;
    return forward(socket, &TcpWorkerSocket2::recv, buffer, length, flags, count);
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketRecv(TcpWorkerSocket2* socket, char* buffer, size_t length,
                                          int32_t flags, int64_t* count) {
    return QxNetTcpWorkerSocketRecv(socket, buffer, length, flags, count);
}

ENUM_QX_E_SOCKET QxNetTcpWorkerSocketSend(TcpWorkerSocket2* socket, const char* buffer,
                                          size_t length, int32_t flags, int64_t* count) {
    if (count != nullptr)
        *count = -1;
    return forward(socket, &TcpWorkerSocket2::send, buffer, length, flags, count);
}

ENUM_QX_E_SOCKET QxNetTcpClientSocketSend(TcpWorkerSocket2* socket, const char* buffer,
                                          size_t length, int32_t flags, int64_t* count) {
    return QxNetTcpWorkerSocketSend(socket, buffer, length, flags, count);
}

ENUM_QX_E_SOCKET
QxNetTcpWorkerSocketStaticSelect(TcpWorkerSocket2** readSockets, uint32_t* readCount,
                                 TcpWorkerSocket2** writeSockets, uint32_t* writeCount,
                                 TcpWorkerSocket2** exceptionSockets, uint32_t* exceptionCount,
                                 const qx_timeval* timeout, int32_t* result) {
    return TcpWorkerSocket2::select(readSockets, readCount, writeSockets, writeCount,
                                    exceptionSockets, exceptionCount, timeout, result);
}

ENUM_QX_E_SOCKET
QxNetTcpClientSocketStaticSelect(TcpWorkerSocket2** readSockets, uint32_t* readCount,
                                 TcpWorkerSocket2** writeSockets, uint32_t* writeCount,
                                 TcpWorkerSocket2** exceptionSockets, uint32_t* exceptionCount,
                                 const qx_timeval* timeout, int32_t* result) {
    return TcpWorkerSocket2::select(readSockets, readCount, writeSockets, writeCount,
                                    exceptionSockets, exceptionCount, timeout, result);
}
