#include "Listener.h"

#include <iostream>
#include <stdexcept>
#include <utility>

#include <qx/core/String.h>
#include <qx/exec/Thread.h>

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
    for (const std::string& address : addresses) {
        if (const ENUM_QX_E_SOCKET code = m_server->bindListAddHost(address.c_str(), port))
            throw UsageFailure(qx::String::fromUtf8("address " + address + ": " + describe(code)));
    }
    require(m_server->bind(), "bind");
    require(m_server->saveBoundAddresses(), "bound addresses");
    // To serve some of them would look like all is well.
    if (m_server->getBoundCount() != m_server->getBindCount())
        throw std::runtime_error("of the addresses, only these can be had: " + this->addresses());
    require(m_server->listen(0), "listen");
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
