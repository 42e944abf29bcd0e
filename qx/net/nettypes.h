#pragma once

/// @file
/// The sockets of qx::net for C.

#include <qx/net/socketerror.h>
#include <qx/platform/net.h>

#ifdef __cplusplus

namespace qx::net {
class TcpSocket2;
class TcpWorkerSocket2;
class TcpClientSocket2;
class TcpServerSocket2;
} // namespace qx::net

/// Any socket object.
typedef qx::net::TcpSocket2 QxNetTcpSocket;
/// A connection.
typedef qx::net::TcpWorkerSocket2 QxNetTcpWorkerSocket;
/// A socket that connects to a server.
typedef qx::net::TcpClientSocket2 QxNetTcpClientSocket;
/// A server that listens on several addresses.
typedef qx::net::TcpServerSocket2 QxNetTcpServerSocket;

#else

/* C sees one opaque type, so that a client can be passed where any socket is taken. */
typedef struct QxNetSocketObject QxNetTcpSocket;
typedef struct QxNetSocketObject QxNetTcpWorkerSocket;
typedef struct QxNetSocketObject QxNetTcpClientSocket;
typedef struct QxNetSocketObject QxNetTcpServerSocket;

#endif
