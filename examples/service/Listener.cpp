#include "Listener.h"

#include <climits>
#include <iostream>
#include <set>
#include <stdexcept>
#include <utility>

#include <qx/core/PlatformHandle.h>
#include <qx/core/String.h>
#include <qx/exec/Thread.h>
#include <qx/platform/net.h>

#include "Settings.h"

namespace collector {

using qx::net::TcpServerSocket2;
using qx::net::TcpWorkerSocket2;

namespace {

std::string describe(ENUM_QX_E_SOCKET code) {
    return qx::String(QXGetDescriptionFromQX_E_SOCKET(code)).toUtf8();
}

void require(ENUM_QX_E_SOCKET code, const char* what) {
    if (code != 0)
        throw std::runtime_error(std::string(what) + ": " + describe(code));
}

using Socket = qx::PlatformHandle<&QXSocketClose>;
using Addresses = std::unique_ptr<qx_addrinfo, decltype(&QXfreeaddrinfo)>;

ENUM_QX_E_SOCKET lastCode() { return QX_E_SOCKETFromNativeSocketError(QXSocketLastError()); }

/// One address at least.
Addresses resolve(const std::string& host, uint16_t port) {
    qx_addrinfo hints{};
    hints.ai_socktype = QX_SOCK_STREAM;
    qx_addrinfo* found = nullptr;
    if (const int32_t number =
            QXgetaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found))
        throw UsageFailure(qx::String::fromUtf8(
            "address " + host + ": " + describe(QX_E_SOCKETFromNativeEaiSocketError(number))));
    return {found, &QXfreeaddrinfo};
}

std::string textOf(const qx_addrinfo& address) {
    char text[64]; // with the name of an interface
    if (QXSocketGetNameInfo(address.ai_addr, static_cast<int32_t>(address.ai_addrlen), text,
                            sizeof text, nullptr, 0, QX_NI_NUMERICHOST) != 0)
        throw std::runtime_error("an address without a text");
    return text;
}

/// Binds a new socket to the address.
ENUM_QX_E_SOCKET bind(const qx_addrinfo& address, Socket& socket) {
    const auto length = static_cast<int32_t>(address.ai_addrlen);
    const bool isBound = QXSocketCreate(address.ai_family, QX_SOCK_STREAM, 0, socket.put()) == 0 &&
                         QXSocketBind(socket.get(), address.ai_addr, length) == 0;
    return isBound ? 0 : lastCode();
}

/// Whether the machine has addresses of that family. Where one is switched off, its loopback
/// address, which the file of hosts goes on to name, is missing too.
bool hasFamily(int32_t family) {
    const Addresses loopback = resolve(family == QX_AF_INET6 ? "::1" : "127.0.0.1", 0);
    Socket probe;
    return bind(*loopback, probe) == 0;
}

} // namespace

Listener::Listener() {
    TcpServerSocket2* made = nullptr;
    require(TcpServerSocket2::createTcpServerSocket2(QX_AF_UNSPEC, QX_SOCK_STREAM, 0, &made),
            "socket");
    m_server.reset(made);
}

Listener::Listener(const std::vector<Manager::Handed>& sockets) : Listener() {
    for (const auto& [socket, name] : sockets) {
        if (const ENUM_QX_E_SOCKET code = m_server->addListening(socket))
            throw UsageFailure(qx::String::fromUtf8(
                "socket " + std::to_string(socket) + " of the service manager, \"" + name +
                "\", cannot be listened on: " + describe(code)));
    }
    require(m_server->saveBoundAddresses(), "bound addresses");
}

Listener::Listener(const std::vector<std::string>& addresses, uint16_t port) : Listener() {
    std::set<std::string> known;
    std::vector<Socket> sockets;
    for (const std::string& host : addresses) {
        const Addresses found = resolve(host, port);
        for (const qx_addrinfo* each = found.get(); each != nullptr; each = each->ai_next) {
            const std::string text = textOf(*each);
            if (!known.insert(text).second)
                continue;
            Socket socket;
            const ENUM_QX_E_SOCKET code = bind(*each, socket);
            if (code == 0)
                sockets.push_back(std::move(socket));
            else if (found->ai_next == nullptr || hasFamily(each->ai_family))
                throw std::runtime_error("address " + text + ": " + describe(code));
            else // one of several, as where localhost has one that the machine does not
                std::cerr << "Service: " << host << " without " << text << ": " << describe(code)
                          << std::endl;
        }
    }
    if (sockets.empty())
        throw std::runtime_error("none of the addresses can be had");
    if (sockets.size() > TcpServerSocket2::MaxAddresses)
        throw UsageFailure(u"more than " + qx::String::valueOf(TcpServerSocket2::MaxAddresses) +
                           u" addresses: " + qx::String::valueOf(sockets.size()));
    for (Socket& socket : sockets) {
        if (QXSocketListen(socket.get(), INT_MAX) != 0)
            require(lastCode(), "listen");
        require(m_server->addListening(socket.get()), "listen");
        static_cast<void>(socket.detach()); // which is the server's now
    }
    require(m_server->saveBoundAddresses(), "bound addresses");
}

std::string Listener::addresses() const {
    char text[2048];
    uint32_t length = sizeof text;
    require(m_server->boundListAddressesDiagnosticStrA(text, &length), "bound addresses");
    return text;
}

std::unique_ptr<TcpWorkerSocket2> Listener::accept(std::chrono::milliseconds longest) {
    TcpWorkerSocket2* accepted = nullptr;
    const ENUM_QX_E_SOCKET code = m_server->accept(&accepted, longest);
    std::unique_ptr<TcpWorkerSocket2> connection(accepted);
    if (code == QX_E_SOCKET_ETIMEDOUT)
        return nullptr;
    const ENUM_QX_E_SOCKET codeBefore = std::exchange(m_failure, code);
    if (code == 0)
        return connection;
    // Short of descriptors, say. Clients that wait are served when others have gone.
    if (code != codeBefore)
        std::cerr << "Service: accept: " << describe(code) << std::endl;
    qx::exec::Thread::sleepFor(longest);
    return nullptr;
}

} // namespace collector
