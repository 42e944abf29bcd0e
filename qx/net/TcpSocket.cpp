#include "qx/net/TcpSocket.h"

#include <memory>

#include <qx/core/Exception.h>
#include <qx/core/PlatformHandle.h>
#include <qx/io/IoException.h>
#include <qx/net/TcpSocket2.h>
#include <qx/net/TcpSocketInputStream.h>
#include <qx/net/TcpSocketOutputStream.h>
#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Codes.h>
#include <qx/net/detail/Descriptions.h>
#include <qx/platform/net.h>
#include <qx/util/SystemName.h>

namespace qx::net {

namespace {

constinit std::atomic<bool> s_isInitialized{false};

using Addresses = std::unique_ptr<qx_addrinfo, decltype(&QXfreeaddrinfo)>;

/// The addresses of a host; null when it has none.
Addresses resolve(const String& host) {
    qx_addrinfo hints{};
    hints.ai_socktype = QX_SOCK_STREAM;
    hints.ai_protocol = QX_IPPROTO_TCP;
    qx_addrinfo* result = nullptr;
    // Not a host that is cut off at a 0 unit.
    if (!host.contains(u'\0'))
        QXgetaddrinfo(util::toSystemName(host).c_str(), nullptr, &hints, &result);
    return Addresses(result, &QXfreeaddrinfo);
}

} // namespace

TcpSocket::TcpSocket(const String& host, unsigned short port) {
    init();
    const Addresses addresses = resolve(host);
    if (!addresses)
        throw withDetail(Exception(u"Unknown host: " + host), portText(port));
    qx_sockaddr_union address = *addresses->ai_addr;

    PlatformHandle<&QXSocketClose> made;
    if (QXSocketCreate(address.family, QX_SOCK_STREAM, 0, made.put()) != 0)
        throwIo(u"TcpSocket::TcpSocket ", lastCode());
    const QXSocket socket = made.get();
    m_handle = makeReference<TcpSocketHandle>(socket);
    static_cast<void>(made.detach());

    address.ipv4.port = swapPortOrder(port); // where that of IPv6 is too
    const bool isIpv6 = address.family == QX_AF_INET6;
    const int32_t length = isIpv6 ? sizeof address.ipv6 : sizeof address.ipv4;
    if (QXSocketConnect(socket, &address, length) != 0) {
        const ENUM_QX_E_SOCKET code = lastCode();
        throw withDetail(
            described(u"TcpSocket::TcpSocket Unable to connect to " + host + u' ', code),
            portText(port));
    }
}

TcpSocket::TcpSocket(uint64_t socket) {
    init();
    m_handle = makeReference<TcpSocketHandle>(socket);
}

TcpSocket::~TcpSocket() {
    Reference<TcpSocketInputStream>::attach(m_inputStream).reset();
    Reference<TcpSocketOutputStream>::attach(m_outputStream).reset();
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
