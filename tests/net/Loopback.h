#pragma once

#include <array>
#include <bit>
#include <memory>

#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/WithoutDescriptors.h"

/// Sockets over the loopback address. They are made and used by the functions of the C interface,
/// which call the members of the classes: one test holds for both.
namespace qxtest {

using qx::net::TcpClientSocket2, qx::net::TcpServerSocket2, qx::net::TcpWorkerSocket2;

constexpr uint16_t networkOrder(uint16_t port) {
    return std::bit_cast<uint16_t>(
        std::array{static_cast<uint8_t>(port >> 8), static_cast<uint8_t>(port & 0xFF)});
}

inline qx_sockaddr_union ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d, uint16_t port = 0) {
    qx_sockaddr_union address{};
    address.ipv4 = {QX_AF_INET, networkOrder(port), {a, b, c, d}, {}};
    return address;
}

inline qx_sockaddr_union ipv6(const std::array<uint8_t, 16>& bytes, uint16_t port = 0,
                              uint32_t scope = 0) {
    qx_sockaddr_union address{};
    address.family = QX_AF_INET6;
    address.ipv6.port = networkOrder(port);
    std::memcpy(address.ipv6.address, bytes.data(), bytes.size());
    address.ipv6.scopeId = scope;
    return address;
}

inline constexpr std::array<uint8_t, 16> Ipv6Loopback{0, 0, 0, 0, 0, 0, 0, 0,
                                                      0, 0, 0, 0, 0, 0, 0, 1};

inline std::unique_ptr<TcpServerSocket2> makeServer() {
    TcpServerSocket2* made = nullptr;
    EXPECT_EQ(QxNetTcpServerSocketStaticCreate(QX_AF_INET, QX_SOCK_STREAM, QX_IPPROTO_TCP, &made),
              0);
    return std::unique_ptr<TcpServerSocket2>(made);
}

/// A server on a port that the system picks, or on the one that is given. Without a given one each
/// family has a port of its own.
struct LoopbackServer {
    std::unique_ptr<TcpServerSocket2> server = makeServer();
    ENUM_QX_E_SOCKET bound;
    qx_sockaddr_union address = ipv4(127, 0, 0, 1); // where it is to be reached

    explicit LoopbackServer(uint16_t port = 0) {
        EXPECT_EQ(QxNetTcpServerSocketBindListAddAddrAny(server.get(), port), 0);
        bound = QxNetTcpServerSocketBind(server.get());
        if (bound != 0)
            return;
        EXPECT_EQ(QxNetTcpServerSocketListen(server.get(), 0), 0);
        EXPECT_EQ(QxNetTcpServerSocketSaveBoundAddresses(server.get()), 0);
        qx_sockaddr_union place{};
        auto* const bytes = reinterpret_cast<signed char*>(&place);
        size_t length = sizeof place;
        const uint32_t last = server->getBoundCount() - 1; // that of IPv4
        EXPECT_EQ(QxNetTcpServerSocketGetBoundAddress(server.get(), last, bytes, &length), 0);
        address.ipv4.port = place.ipv4.port;
    }
    /// One that serves both families on the same port.
    static LoopbackServer onOnePort() {
        for (;;) { // another program may be quicker
            const uint16_t port = LoopbackServer().port();
            LoopbackServer made(port);
            if (made.server->getBoundCount() == 2)
                return made;
        }
    }

    uint16_t port() const { return networkOrder(address.ipv4.port); }
    std::unique_ptr<TcpWorkerSocket2> accept() const {
        TcpWorkerSocket2* worker = nullptr;
        EXPECT_EQ(QxNetTcpServerSocketAccept(server.get(), &worker), 0);
        return std::unique_ptr<TcpWorkerSocket2>(worker);
    }
};

inline std::unique_ptr<TcpClientSocket2> makeClient(int family = QX_AF_INET) {
    TcpClientSocket2* client = nullptr;
    EXPECT_EQ(QxNetTcpClientSocketStaticCreate(family, QX_SOCK_STREAM, QX_IPPROTO_TCP, &client), 0);
    return std::unique_ptr<TcpClientSocket2>(client);
}

inline std::unique_ptr<TcpClientSocket2> connectTo(const qx_sockaddr_union& address) {
    auto client = makeClient(address.family);
    EXPECT_EQ(QxNetTcpClientSocketConnect(client.get(), &address, sizeof address), 0);
    return client;
}

/// A server and both ends of one connection to it.
struct Pair {
    LoopbackServer listener;
    std::unique_ptr<TcpClientSocket2> client = connectTo(listener.address);
    std::unique_ptr<TcpWorkerSocket2> worker = listener.accept();
};

/// False on a machine without IPv6.
inline bool hasIpv6Loopback() {
    TcpClientSocket2* client = nullptr;
    QxNetTcpClientSocketStaticCreate(QX_AF_INET6, QX_SOCK_STREAM, 0, &client);
    const std::unique_ptr<TcpClientSocket2> owner(client);
    const qx_sockaddr_union place = ipv6(Ipv6Loopback);
    return client != nullptr && QxNetTcpClientSocketBind(client, &place, sizeof place) == 0;
}

/// Sends all of a text.
inline void say(TcpWorkerSocket2& socket, std::string_view text) {
    int64_t count = 0;
    EXPECT_EQ(QxNetTcpClientSocketSend(&socket, text.data(), text.size(), 0, &count), 0);
    EXPECT_EQ(count, static_cast<int64_t>(text.size()));
}

inline void setOption(TcpWorkerSocket2& socket, int32_t name, int32_t value) {
    EXPECT_EQ(QxNetTcpWorkerSocketSetsockopt(&socket, QX_SOL_SOCKET, name,
                                             reinterpret_cast<const char*>(&value), sizeof value),
              0);
}

/// Closing will reset the connection.
inline void resetOnClose(TcpWorkerSocket2& socket) {
    setOption(socket, QX_SO_LINGER, 1); // on, no seconds
}

/// What comes until the peer shuts its output down; @p code receives how it ended.
inline std::string heard(TcpWorkerSocket2& socket, ENUM_QX_E_SOCKET* code = nullptr) {
    std::string text;
    char buffer[4096];
    int64_t count = 0;
    ENUM_QX_E_SOCKET result;
    while ((result = QxNetTcpWorkerSocketRecv(&socket, buffer, sizeof buffer, 0, &count)) == 0 &&
           count > 0)
        text.append(buffer, static_cast<size_t>(count));
    EXPECT_TRUE(count == 0 || code != nullptr) << result;
    if (code != nullptr)
        *code = count == 0 ? 0 : result;
    return text;
}

} // namespace qxtest
