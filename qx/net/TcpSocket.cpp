#include "qx/net/TcpSocket.h"

#include <algorithm>

#include <qx/core/Exception.h>
#include <qx/core/PlatformHandle.h>
#include <qx/io/IoException.h>
#include <qx/net/TcpSocket2.h>
#include <qx/net/TcpSocketInputStream.h>
#include <qx/net/TcpSocketOutputStream.h>
#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Codes.h>
#include <qx/net/detail/Descriptions.h>
#include <qx/net/detail/HostConnection.h>
#include <qx/platform/net.h>
#include <qx/util/SystemName.h>

namespace qx::net {

namespace {

constinit std::atomic<bool> s_isInitialized{false};

/// The addresses of a host that is to be connected to.
HostAddresses resolve(const String& host, unsigned short port) {
    HostAddresses addresses(nullptr, &QXfreeaddrinfo);
    int32_t number = 0;
    // Not a host that is cut off at a 0 unit.
    if (!host.contains(u'\0'))
        addresses = resolveHost(util::toSystemName(host).c_str(), number);
    if (!addresses) {
        String detail = (host.isEmpty() ? u"no name, "_qs : String()) + portText(port);
        if (number != 0)
            detail += u", " + String(QXGetDescriptionFromQX_E_SOCKET(
                                  QX_E_SOCKETFromNativeEaiSocketError(number)));
        throw withDetail(Exception(u"Unknown host: " + host), detail);
    }
    return addresses;
}

constexpr char16_t Failure[] = u"TcpSocket: ";

void check(int32_t result) {
    if (result != 0)
        throwIo(Failure, lastCode());
}

} // namespace

/// The address of an end of a connection.
struct TcpSocket::End {
    qx_sockaddr_union address{};

    static End local(const TcpSocket& socket) {
        End end;
        int32_t length = sizeof end.address;
        check(QXSocketGetName(socket.m_handle->getSocket(), &end.address, &length));
        return end;
    }
    static End peer(const TcpSocket& socket) {
        End end{socket.m_peer}; // the system knows it as long as the connection lasts
        int32_t length = sizeof end.address;
        if (end.address.family == QX_AF_UNSPEC)
            check(QXSocketGetPeerName(socket.m_handle->getSocket(), &end.address, &length));
        return end;
    }

    String host() const {
        char text[64];
        const int32_t number = QXSocketGetNameInfo(&address, sizeof address, text, sizeof text,
                                                   nullptr, 0, QX_NI_NUMERICHOST);
        if (number != 0)
            throwIo(Failure, QX_E_SOCKETFromNativeEaiSocketError(number));
        return String(text);
    }
    unsigned short port() const { return swapPortOrder(address.ipv4.port); } // as in ipv6
};

TcpSocket::TcpSocket(const String& host, unsigned short port) {
    init();
    const HostAddresses addresses = resolve(host, port);
    qx_sockaddr_union address = *addresses->ai_addr;

    PlatformHandle<&QXSocketClose> made;
    if (QXSocketCreate(address.family, QX_SOCK_STREAM, 0, made.put()) != 0)
        throwIo(u"TcpSocket::TcpSocket ", lastCode());
    const QXSocket socket = made.get();
    m_handle = makeReference<TcpSocketHandle>(socket);
    static_cast<void>(made.detach());

    address.ipv4.port = swapPortOrder(port); // where that of IPv6 is too
    if (QXSocketConnect(socket, &address, static_cast<int32_t>(addresses->ai_addrlen)) != 0) {
        const ENUM_QX_E_SOCKET code = lastCode();
        throw withDetail(
            described(u"TcpSocket::TcpSocket Unable to connect to " + host + u' ', code),
            portText(port));
    }
    m_peer = address;
}

TcpSocket::TcpSocket(uint64_t socket) : TcpSocket(socket, qx_sockaddr_union{}) {}

TcpSocket::TcpSocket(uint64_t socket, const qx_sockaddr_union& peer) : m_peer(peer) {
    init();
    m_handle = makeReference<TcpSocketHandle>(socket);
}

TcpSocket::~TcpSocket() {
    Reference<TcpSocketInputStream>::attach(m_inputStream).reset();
    Reference<TcpSocketOutputStream>::attach(m_outputStream).reset();
}

unsigned short TcpSocket::checkedPort(int64_t port) {
    if (port < 0 || port > UINT16_MAX)
        throw RangeErrorException(u"no port: " + String::valueOf(port));
    return static_cast<unsigned short>(port);
}

Reference<TcpSocket> TcpSocket::connectIn(const AnyText& host, unsigned short port,
                                          uint64_t milliseconds) {
    init();
    const sync::TimeBudget budget(milliseconds);
    const String name = host.toString();
    const HostAddresses addresses = resolve(name, port);
    HostConnection connection;
    const ENUM_QX_E_SOCKET code = connection.open(
        *addresses, port, milliseconds == NoLimit ? NoLimit : budget.milliseconds());
    if (code != 0) {
        const String text =
            u"Unable to connect to " + name + u' ' + String(QXGetDescriptionFromQX_E_SOCKET(code));
        if (code == QX_E_SOCKET_ETIMEDOUT && milliseconds != NoLimit)
            throw withDetail(io::TimeoutException(text), portText(port));
        throw withDetail(Exception(text), portText(port));
    }
    Reference<TcpSocket> socket(new TcpSocket(connection.socket.get(), connection.peer));
    static_cast<void>(connection.socket.detach());
    return socket;
}

void TcpSocket::init() {
    if (const ENUM_QX_E_SOCKET code = TcpSocket2::init())
        throwDescribed(u"TcpSocket::init ", code);
    s_isInitialized = true;
}

void TcpSocket::uninit() {
    if (!s_isInitialized.exchange(false))
        return;
    if (const ENUM_QX_E_SOCKET code = TcpSocket2::uninit()) {
        s_isInitialized = true;
        throwDescribed(u"TcpSocket::uninit ", code);
    }
}

bool TcpSocket::getInitialized() { return s_isInitialized; }

Reference<io::InputStream> TcpSocket::getInputStream() { return streamOf(m_inputStream); }

Reference<io::OutputStream> TcpSocket::getOutputStream() { return streamOf(m_outputStream); }

void TcpSocket::setSoTimeout(int milliseconds) {
    streamOf(m_inputStream)->setSoTimeout(milliseconds);
}

void TcpSocket::shutdownOutput() { shutdown(QX_SHUTDOWN_OUTPUT); }

void TcpSocket::shutdownInput() { shutdown(QX_SHUTDOWN_INPUT); }

void TcpSocket::shutdown(int32_t direction) {
    check(QXSocketShutdown(m_handle->getSocket(), direction));
}

String TcpSocket::getLocalAddress() const { return End::local(*this).host(); }

unsigned short TcpSocket::getLocalPort() const { return End::local(*this).port(); }

String TcpSocket::getPeerAddress() const { return End::peer(*this).host(); }

unsigned short TcpSocket::getPeerPort() const { return End::peer(*this).port(); }

void TcpSocket::setNoDelay(bool isOn) { setOption(QX_IPPROTO_TCP, QX_TCP_NODELAY, isOn ? 1 : 0); }

void TcpSocket::setKeepAlive(bool isOn) { setOption(QX_SOL_SOCKET, QX_SO_KEEPALIVE, isOn ? 1 : 0); }

void TcpSocket::setKeepAliveTimes(uint64_t idleSeconds, uint64_t intervalSeconds, int probes) {
    setOption(QX_IPPROTO_TCP, QX_TCP_KEEPIDLE, idleSeconds);
    setOption(QX_IPPROTO_TCP, QX_TCP_KEEPINTVL, intervalSeconds);
    setOption(QX_IPPROTO_TCP, QX_TCP_KEEPCNT, static_cast<uint64_t>(std::max(probes, 0)));
    setKeepAlive(true);
}

/// Of a value beyond 31 bits the greatest number, which the system may refuse.
void TcpSocket::setOption(int32_t level, int32_t name, uint64_t value) {
    const auto number = static_cast<int32_t>(std::min<uint64_t>(value, INT32_MAX));
    check(QXSocketSetOption(m_handle->getSocket(), level, name, &number, sizeof number));
}

String TcpSocket::getInheritanceId() const {
    const QXSocket socket = m_handle->getSocket();
    QXSocketSetInherited(socket, 1);
    return u"qx.net.tcp.socket="_qs + String::valueOf(socket);
}

void TcpSocket::close(uint64_t socket) { QXSocketClose(socket); }

/// The stream of this socket, which holds the reference. Of two threads that make one at the same
/// time the slower drops its own: a lock might be found held by a child of a fork.
template <class Stream>
Stream* TcpSocket::streamOf(std::atomic<Stream*>& stream) {
    if (Stream* const existing = stream.load(std::memory_order_acquire))
        return existing;
    Reference<Stream> made = makeReference<Stream>(m_handle);
    Stream* first = nullptr;
    if (stream.compare_exchange_strong(first, made, std::memory_order_acq_rel))
        return made.detach();
    return first;
}

} // namespace qx::net
