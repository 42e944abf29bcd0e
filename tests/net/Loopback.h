#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>

#include <qx/net/TcpClientSocket2.h>
#include <qx/net/TcpServerSocket2.h>

#include "tests/net/Addresses.h"

namespace qxtest {

inline std::unique_ptr<qx::net::TcpServerSocket2> makeServer() {
    qx::net::TcpServerSocket2* made = nullptr;
    EXPECT_EQ(qx::net::TcpServerSocket2::createTcpServerSocket2(QX_AF_INET, QX_SOCK_STREAM,
                                                                QX_IPPROTO_TCP, &made),
              0);
    return std::unique_ptr<qx::net::TcpServerSocket2>(made);
}

/// A server on a port that the system picks, or on the one that is given. Without a given one each
/// family has a port of its own.
struct LoopbackServer {
    std::unique_ptr<qx::net::TcpServerSocket2> server = makeServer();
    ENUM_QX_E_SOCKET bound;
    uint32_t addresses = 0;                         // how many are bound
    qx_sockaddr_union address = ipv4(127, 0, 0, 1); // where it is to be reached

    explicit LoopbackServer(uint16_t port = 0) {
        EXPECT_EQ(server->bindListAddAddrAny(port), 0);
        bound = server->bind();
        if (bound != 0)
            return;
        EXPECT_EQ(server->listen(0), 0);
        EXPECT_EQ(server->saveBoundAddresses(), 0);
        qx_sockaddr_union place{};
        size_t length = sizeof place;
        while (server->getBoundAddress(addresses, reinterpret_cast<signed char*>(&place),
                                       &length) == 0) {
            if (place.family == QX_AF_INET)
                address.ipv4.port = place.ipv4.port;
            ++addresses;
            length = sizeof place;
        }
    }
    /// One that serves both families on the same port.
    static LoopbackServer onOnePort() {
        for (;;) { // another program may be quicker
            const uint16_t port = LoopbackServer().port();
            LoopbackServer made(port);
            if (made.addresses == 2)
                return made;
        }
    }

    uint16_t port() const { return networkOrder(address.ipv4.port); }
    std::unique_ptr<qx::net::TcpWorkerSocket2> accept() const {
        qx::net::TcpWorkerSocket2* worker = nullptr;
        EXPECT_EQ(server->accept(&worker), 0);
        return std::unique_ptr<qx::net::TcpWorkerSocket2>(worker);
    }
};

inline std::unique_ptr<qx::net::TcpClientSocket2> makeClient(int family = QX_AF_INET) {
    qx::net::TcpClientSocket2* client = nullptr;
    EXPECT_EQ(qx::net::TcpClientSocket2::createTcpClientSocket2(family, QX_SOCK_STREAM,
                                                                QX_IPPROTO_TCP, &client),
              0);
    return std::unique_ptr<qx::net::TcpClientSocket2>(client);
}

inline std::unique_ptr<qx::net::TcpClientSocket2> connectTo(const qx_sockaddr_union& address) {
    auto client = makeClient(address.family);
    EXPECT_EQ(client->connect(&address, sizeof address), 0);
    return client;
}

/// A server and both ends of one connection to it.
struct Pair {
    LoopbackServer listener;
    std::unique_ptr<qx::net::TcpClientSocket2> client = connectTo(listener.address);
    std::unique_ptr<qx::net::TcpWorkerSocket2> worker = listener.accept();
};

inline constexpr std::array<uint8_t, 16> Ipv6Loopback{0, 0, 0, 0, 0, 0, 0, 0,
                                                      0, 0, 0, 0, 0, 0, 0, 1};

/// False on a machine without IPv6.
inline bool hasIpv6Loopback() {
    qx::net::TcpClientSocket2* client = nullptr;
    qx::net::TcpClientSocket2::createTcpClientSocket2(QX_AF_INET6, QX_SOCK_STREAM, 0, &client);
    const std::unique_ptr<qx::net::TcpClientSocket2> owner(client);
    const qx_sockaddr_union place = ipv6(Ipv6Loopback);
    return client != nullptr && client->bind(&place, sizeof place) == 0;
}

/// Sends all of a text.
inline void say(qx::net::TcpWorkerSocket2& socket, std::string_view text) {
    int64_t count = 0;
    EXPECT_EQ(socket.send(text.data(), text.size(), 0, &count), 0);
    EXPECT_EQ(count, static_cast<int64_t>(text.size()));
}

/// What comes until the peer shuts its output down; @p code receives how it ended.
inline std::string heard(qx::net::TcpWorkerSocket2& socket, ENUM_QX_E_SOCKET* code = nullptr) {
    std::string text;
    char buffer[4096];
    int64_t count = 0;
    ENUM_QX_E_SOCKET result;
    while ((result = socket.recv(buffer, sizeof buffer, 0, &count)) == 0 && count > 0)
        text.append(buffer, static_cast<size_t>(count));
    EXPECT_TRUE(count == 0 || code != nullptr) << result;
    if (code != nullptr)
        *code = count == 0 ? 0 : result;
    return text;
}

} // namespace qxtest
