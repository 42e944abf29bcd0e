#pragma once

/// @file
/// Sockets and name resolution.
///
/// Families, options, flags and error numbers are those named here, whatever the system's own are.
/// The functions whose contract says nothing else return QX_SOCKET_ERROR when they fail, and
/// QXSocketLastError then has the number of the error. Interrupted calls are continued, nothing
/// raises SIGPIPE, and descriptors are closed on exec. All functions may be called from any thread;
/// closing a socket does not wake a thread that waits for it, which QXSocketSignal is for.

#include <stddef.h>
#include <stdint.h>

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A socket is a file descriptor above the three standard ones. All ones means none.
typedef uint64_t QXSocket;

#define QX_NO_SOCKET UINT64_MAX
#define QX_SOCKET_ERROR (-1)

/// Families. Where one comes in, the system's own number for IPv6 is taken as well.
#define QX_AF_UNSPEC 0
#define QX_AF_INET 2
#define QX_AF_INET6 23

/// The number above of a family that may also be the system's; 0 when it is neither's.
QX_API uint16_t QXSocketFamily(int32_t family);

#define QX_SOCK_STREAM 1
#define QX_SOCK_DGRAM 2

#define QX_IPPROTO_IP 0
#define QX_IPPROTO_TCP 6
#define QX_IPPROTO_UDP 17
#define QX_IPPROTO_IPV6 41

/// An IPv4 address.
typedef struct qx_sockaddr_in {
    uint16_t family;
    uint16_t port; ///< network order
    uint8_t address[4];
    uint8_t padding[8];
} qx_sockaddr_in;

/// An IPv6 address.
typedef struct qx_sockaddr_in6 {
    uint16_t family;
    uint16_t port; ///< network order
    uint32_t flowInfo;
    uint8_t address[16];
    uint32_t scopeId; ///< number of the interface of a link-local address, else 0
} qx_sockaddr_in6;

/// Any socket address: 16 bytes of ipv4, 28 of ipv6, room for 128. The family comes first and the
/// port second in both.
typedef union qx_sockaddr_union {
    uint16_t family;
    qx_sockaddr_in ipv4;
    qx_sockaddr_in6 ipv6;
    uint64_t storage[16];
} qx_sockaddr_union;

/// Counts the users of the socket system. @p version: the wanted one, minor number in the high
/// byte, major in the low; 0x0202 is the highest, which goes to @p highest (may be null). 10092 for
/// a major number of 0.
QX_API int32_t QXSocketStartUp(uint16_t version, uint16_t* highest);
/// To be called once for every start-up; 10093 without one.
QX_API int32_t QXSocketCleanUp(void);

/// Number of the calling thread's last socket error; 0 when there was none. Success leaves it.
QX_API int32_t QXSocketLastError(void);
/// The number of a system error such as ECONNRESET; 10107 for an error without one.
QX_API int32_t QXSocketErrorFromErrno(int32_t error);
/// The system error that such a number stands for, the first of several; 0 for none.
QX_API int32_t QXErrnoFromSocketError(int32_t number);

/// Creates a socket. An IPv6 socket serves IPv6 only. @p socket is all ones after a failure.
QX_API int32_t QXSocketCreate(int32_t family, int32_t type, int32_t protocol, QXSocket* socket);
/// Closes a socket. The descriptor is gone even after a failure. A port to which the program has
/// bound the socket can be bound again while the connection lingers, unless that had ended before.
QX_API int32_t QXSocketClose(QXSocket socket);

/// Binds a socket to an address. A port is refused (10048) while another socket is bound to it, not
/// while mere connections of earlier sockets linger. @p length is that of the address; more than
/// the family's is fine.
QX_API int32_t QXSocketBind(QXSocket socket, const qx_sockaddr_union* address, int32_t length);
/// Lets a socket listen. @p backlog: connections that may wait; the system caps it. The listening
/// socket and those that it accepts have QX_SO_REUSEADDR, without which the system would not let
/// the port be bound again while their connections linger. No other call sets it.
QX_API int32_t QXSocketListen(QXSocket socket, int32_t backlog);
/// Ends the listening of a socket that is about to be closed and that nobody outside this process
/// was given, unless the process has forked since @p forkEpoch was had (QXProcessGetForkEpoch),
/// which was before the socket was made. Closing alone does not end it while a thread is starting a
/// program, which has a copy of the socket until it is executed. A failure is for the closing to
/// tell.
QX_API void QXSocketEndListening(QXSocket socket, uint32_t forkEpoch);
/// Connects a socket, and waits without limit. 10035 when the socket is non-blocking and the
/// connection is under way.
QX_API int32_t QXSocketConnect(QXSocket socket, const qx_sockaddr_union* address, int32_t length);
/// The time limit that stands for none.
#define QX_SOCKET_NO_LIMIT 0xFFFFFFFFu

/// Connects a socket in a limited time: 10060 when that is over first, after which the socket is
/// good for nothing but closing. Waits on a non-blocking socket too.
QX_API int32_t QXSocketTimedConnect(QXSocket socket, const qx_sockaddr_union* address,
                                    int32_t length, uint32_t milliseconds);
/// Accepts a connection. @p peer and @p length may both be null; else @p length is the capacity,
/// then the length of the address, of which as much is stored as fits. @p accepted is all ones
/// after a failure.
QX_API int32_t QXSocketAccept(QXSocket socket, qx_sockaddr_union* peer, int32_t* length,
                              QXSocket* accepted);
/// Address that the socket is bound to. @p length is the capacity (10014 when it is too small),
/// then the length of the address.
QX_API int32_t QXSocketGetName(QXSocket socket, qx_sockaddr_union* address, int32_t* length);

/// The same for the peer of a connection; 10057 when there is none, or none any more.
QX_API int32_t QXSocketGetPeerName(QXSocket socket, qx_sockaddr_union* address, int32_t* length);

#define QX_MSG_OOB 1
#define QX_MSG_PEEK 2
#define QX_MSG_DONTROUTE 4
#define QX_MSG_WAITALL 8

/// Bytes sent. On a blocking socket that is all of them, unless an error or the send time-out came
/// in between; the next call then says why. A connection that the peer has closed or reset gives
/// 10054 or 10053, one whose output is shut down 10058, a time-out 10060.
QX_API int32_t QXSocketSend(QXSocket socket, const void* buffer, int32_t length, int32_t flags);
/// Bytes received: at least one, 0 after the peer's orderly close. A connection that has ended
/// without that gives 10054, whichever call met its failure first. A time-out gives 10060. With
/// QX_MSG_WAITALL a stream that blocks gives all of them, unless its end, an error or the time-out
/// came in between.
QX_API int32_t QXSocketReceive(QXSocket socket, void* buffer, int32_t length, int32_t flags);

/// Stores how many bytes can be received at once without waiting.
QX_API int32_t QXSocketGetAvailable(QXSocket socket, uint32_t* count);

/// Says whether calls that would have to wait give 10035 instead; QXSocketSend then sends what
/// there is room for. What a listening socket accepts waits in any case.
QX_API int32_t QXSocketSetNonBlocking(QXSocket socket, int32_t nonBlocking);
/// Stores whether that is so, as 1 or 0.
QX_API int32_t QXSocketGetNonBlocking(QXSocket socket, int32_t* nonBlocking);

/// Says whether children that the program starts inherit the socket; those of QXProcessCreate never
/// do.
QX_API int32_t QXSocketSetInherited(QXSocket socket, int32_t inherited);

#define QX_SHUTDOWN_INPUT 0
#define QX_SHUTDOWN_OUTPUT 1
#define QX_SHUTDOWN_BOTH 2
/// Shuts a connection down in one or both directions. 10057 for a socket that is not connected, a
/// listening one among them: that goes on listening.
QX_API int32_t QXSocketShutdown(QXSocket socket, int32_t direction);

/// Options of QX_SOL_SOCKET; those without a note are a 32-bit truth value or number.
#define QX_SOL_SOCKET 0xFFFF
#define QX_SO_DEBUG 1
#define QX_SO_ACCEPTCONN 2
#define QX_SO_REUSEADDR 4
#define QX_SO_KEEPALIVE 8
#define QX_SO_DONTROUTE 16
#define QX_SO_BROADCAST 32
#define QX_SO_LINGER 128 ///< a qx_linger
#define QX_SO_OOBINLINE 256
#define QX_SO_SNDBUF 4097 ///< bytes of data, as they were set
#define QX_SO_RCVBUF 4098
#define QX_SO_SNDLOWAT 4099
#define QX_SO_RCVLOWAT 4100
#define QX_SO_SNDTIMEO 4101 ///< milliseconds that a call waits in all; 0 for no limit
#define QX_SO_RCVTIMEO 4102
#define QX_SO_ERROR 4103 ///< pending error of the socket; reading takes it away
#define QX_SO_TYPE 4104

/// Options of QX_IPPROTO_TCP; times in seconds.
#define QX_TCP_NODELAY 1
#define QX_TCP_KEEPIDLE 3
#define QX_TCP_MAXSEG 4
#define QX_TCP_KEEPCNT 16
#define QX_TCP_KEEPINTVL 17

/// Options of QX_IPPROTO_IP and QX_IPPROTO_IPV6.
#define QX_IP_TOS 3
#define QX_IP_TTL 4
#define QX_IPV6_UNICAST_HOPS 4
#define QX_IPV6_V6ONLY 27

/// Value of QX_SO_LINGER: whether closing waits for data to go out, and for how long.
typedef struct qx_linger {
    uint16_t onOff;
    uint16_t seconds;
} qx_linger;

/// Reads an option. 10042 for an option, 10022 for a level that is not named above. @p length is
/// the capacity, then the length of the value; 10014 when it is too small.
QX_API int32_t QXSocketGetOption(QXSocket socket, int32_t level, int32_t name, void* value,
                                 int32_t* length);
/// Sets an option; failures as above.
QX_API int32_t QXSocketSetOption(QXSocket socket, int32_t level, int32_t name, const void* value,
                                 int32_t length);

#define QX_SOCKET_SET_SIZE 64

/// Sockets that QXSocketSelect looks at.
typedef struct qx_socket_set {
    uint32_t count;
    QXSocket sockets[QX_SOCKET_SET_SIZE];
} qx_socket_set;

/// A time limit.
typedef struct qx_timeval {
    int32_t seconds;
    int32_t microseconds;
} qx_timeval;

/// Waits until a socket can be read or written without blocking, or is exceptional: it has
/// out-of-band data, or an attempt to connect that has failed. Each set may be null; afterwards it
/// holds, in the same order, those that are ready. Returns how many they are in all sets together,
/// 0 after the time limit (null: none). 10022 without any socket or for a negative limit, 10038 for
/// what is no open descriptor; the sets are then unchanged.
QX_API int32_t QXSocketSelect(qx_socket_set* read, qx_socket_set* write, qx_socket_set* exception,
                              const qx_timeval* limit);

#define QX_POLL_READ 1
#define QX_POLL_WRITE 2

/// A socket that QXSocketPoll looks at: QX_POLL_... bits of what is to be possible without
/// blocking, and afterwards of what is. A connection that has ended or failed is ready for all that
/// is wanted.
typedef struct qx_socket_poll {
    QXSocket socket;
    uint32_t wanted;
    uint32_t ready;
} qx_socket_poll;

/// Waits until one of any number of sockets is ready. Returns how many are, 0 after the time limit
/// (null: none). 10022 without any socket or for a negative limit, 10038 for what is no open
/// descriptor.
QX_API int32_t QXSocketPoll(qx_socket_poll* sockets, uint32_t count, const qx_timeval* limit);

/// Creates what ends waits of other threads: as one more socket in a read set of QXSocketSelect it
/// is ready from the first QXSocketSignal on. Any number of threads may wait for it. QXSocketClose
/// closes it. A child of fork shares it with its parent.
QX_API int32_t QXSocketCreateSignal(QXSocket* signal);
QX_API int32_t QXSocketSignal(QXSocket signal);

#define QX_AI_PASSIVE 1   ///< without a host: the any address
#define QX_AI_CANONNAME 2 ///< the first result carries the canonical name
#define QX_AI_NUMERICHOST 4
#define QX_AI_NUMERICSERV 8
#define QX_AI_ALL 0x100
#define QX_AI_ADDRCONFIG 0x400
#define QX_AI_V4MAPPED 0x800

/// One address that QXgetaddrinfo found, or what it is to look for.
typedef struct qx_addrinfo {
    int32_t ai_flags;
    int32_t ai_family;
    int32_t ai_socktype;
    int32_t ai_protocol;
    size_t ai_addrlen; ///< 16 or 28
    char* ai_canonname;
    qx_sockaddr_union* ai_addr;
    struct qx_addrinfo* ai_next;
} qx_addrinfo;

/// Addresses of a host and port, IPv4 and IPv6 in the resolver's order. @p host: a name or a
/// numeric address, IPv6 with "%" and an interface where needed; null for this machine, an empty
/// one is unknown. @p service: a name or a port number, may be null. @p hints may be null.
///
/// 0, or the number of the failure: 2008 memory, 12022 flags, 12044 type, 12047 family, 12109
/// service, 13001 host or service unknown, 13002 try again, 13003 for good, 14001 no address of
/// that family; a socket error number when the system failed. @p result is then null. The caller
/// frees it with QXfreeaddrinfo.
QX_API int32_t QXgetaddrinfo(const char* host, const char* service, const qx_addrinfo* hints,
                             qx_addrinfo** result);
/// Frees what QXgetaddrinfo returned; null is fine.
QX_API void QXfreeaddrinfo(qx_addrinfo* result);

#define QX_NI_NOFQDN 1
#define QX_NI_NUMERICHOST 2
#define QX_NI_NAMEREQD 4
#define QX_NI_NUMERICSERV 8
#define QX_NI_DGRAM 16

/// Texts of a socket address. Either buffer may be null; capacities count the terminating nul. A
/// numeric IPv6 host ends with "%" and the scope id in decimal unless that is 0. 0, or a number as
/// QXgetaddrinfo returns; 10014 when a text does not fit.
QX_API int32_t QXSocketGetNameInfo(const qx_sockaddr_union* address, int32_t length, char* host,
                                   uint32_t hostCapacity, char* service, uint32_t serviceCapacity,
                                   int32_t flags);

/// Port in host order of a service for a protocol ("tcp"); 11004 when it is unknown.
QX_API int32_t QXSocketServicePort(const char* service, const char* protocol, uint16_t* port);

/// Name of this machine. A result code, negative on failure: 0x80004009 when the name and its
/// terminating nul exceed @p capacity.
QX_API int32_t QXGetHostName(char* buffer, int32_t capacity);

#ifdef __cplusplus
}
#endif
