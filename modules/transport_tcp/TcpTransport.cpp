#include "TcpTransport.h"

#include <bit>
#include <utility>

#include <qx/core/PlatformHandle.h>
#include <qx/core/Result.h>
#include <qx/platform/net.h>

#include "TcpChannel.h"

namespace qx::tcp {

namespace {

using Socket = std::unique_ptr<net::TcpClientSocket2>;

/// Lets @p module count @p object.
template <class T>
Reference<T> counted(T* object, pcom::ModuleCount* module) {
    object->SetComModule(module);
    return object;
}

/// Address number @p index of a host, with @p port, which may be 0.
ENUM_QX_E_SOCKET resolve(const Settings& settings, uint32_t index, qx_sockaddr_union& address) {
    qx_addrinfo hints{};
    hints.ai_socktype = QX_SOCK_STREAM;
    hints.ai_protocol = QX_IPPROTO_TCP;
    constexpr uint16_t AnyPort = 1; // the resolver takes no 0
    const uint16_t port = settings.port != 0 ? settings.port : AnyPort;
    const ENUM_QX_E_SOCKET code =
        net::TcpSocket2::getAddrInfo(settings.host.c_str(), port, &hints, index, &address);
    if (code == 0 && settings.port == 0)
        address.ipv4.port = 0; // where that of IPv6 is too
    return code;
}

ENUM_QX_E_SOCKET makeSocket(const qx_sockaddr_union& address, Socket& socket) {
    net::TcpClientSocket2* made = nullptr;
    const ENUM_QX_E_SOCKET code = net::TcpClientSocket2::createTcpClientSocket2(
        address.family, QX_SOCK_STREAM, QX_IPPROTO_TCP, &made);
    socket.reset(made);
    return code;
}

size_t lengthOf(const qx_sockaddr_union& address) {
    return address.family == QX_AF_INET6 ? sizeof address.ipv6 : sizeof address.ipv4;
}

/// Code of a platform call that gives 0 or QX_SOCKET_ERROR.
ENUM_QX_E_SOCKET codeOf(int32_t call) {
    return call == QX_SOCKET_ERROR ? QX_E_SOCKETFromNativeSocketError(QXLastNativeSocketError())
                                   : 0;
}

uint16_t hostOrder(uint16_t port) {
    return std::endian::native == std::endian::little ? static_cast<uint16_t>(port << 8 | port >> 8)
                                                      : port;
}

Reference<io::IChannel> channelOver(std::unique_ptr<net::TcpWorkerSocket2> socket,
                                    int32_t readTimeoutMs, pcom::ModuleCount* module) {
    const auto connection = makeReference<Connection>(std::move(socket), readTimeoutMs);
    return counted(new TcpChannel(connection), module);
}

} // namespace

Reference<net::IConnector> TcpTransport::createConnector(const util::PropertySet& properties) {
    return counted(new TcpConnector(Settings::ofConnector(properties)), GetComModule());
}

Reference<net::IAcceptor> TcpTransport::createAcceptor(const util::PropertySet& properties) {
    const Settings settings = Settings::ofAcceptor(properties);
    const auto acceptor = counted(new TcpAcceptor(settings), GetComModule());
    const int32_t stored = setBoundPort(properties, acceptor->getPort());
    if (settings.port == 0) // otherwise the caller knows it
        throwIfFailed(stored);
    return acceptor;
}

TcpConnector::TcpConnector(Settings settings) : m_settings(std::move(settings)) {}

Reference<io::IChannel> TcpConnector::connect() {
    ENUM_QX_E_SOCKET failure = 0;
    for (uint32_t index = 0;; ++index) {
        qx_sockaddr_union address{};
        if (const ENUM_QX_E_SOCKET code = resolve(m_settings, index, address))
            throwResult(failure != 0 ? failure : code);
        Socket socket;
        failure = makeSocket(address, socket);
        if (failure == 0)
            failure = socket->connect(&address, lengthOf(address));
        if (failure == 0)
            return channelOver(std::move(socket), m_settings.readTimeoutMs, GetComModule());
    }
}

TcpAcceptor::TcpAcceptor(const Settings& settings) : m_readTimeoutMs(settings.readTimeoutMs) {
    qx_sockaddr_union address{};
    throwIfFailed(resolve(settings, 0, address));
    throwIfFailed(makeSocket(address, m_socket));
    throwIfFailed(m_socket->bind(&address, lengthOf(address)));
    throwIfFailed(codeOf(QXSocketListen(m_socket->getId(), settings.backlog)));
    int length = sizeof address;
    throwIfFailed(m_socket->getLocalAddress(&address, &length));
    m_port = hostOrder(address.ipv4.port);
}

Reference<io::IChannel> TcpAcceptor::accept() {
    PlatformHandle<&QXSocketClose> accepted;
    throwIfFailed(codeOf(QXSocketAccept(m_socket->getId(), nullptr, nullptr, accepted.put())));
    auto socket = std::make_unique<net::TcpWorkerSocket2>(accepted.get(), nullptr);
    static_cast<void>(accepted.detach());
    return channelOver(std::move(socket), m_readTimeoutMs, GetComModule());
}

} // namespace qx::tcp
