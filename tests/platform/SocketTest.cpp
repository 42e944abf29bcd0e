#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <qx/platform/net.h>
#include <qx/platform/result.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/SignalStorm.h"

namespace {

/// A socket that closes itself.
class Socket {
public:
    explicit Socket(QXSocket socket) : m_socket(socket) {}
    explicit Socket(int32_t family = QX_AF_INET) {
        EXPECT_EQ(QXSocketCreate(family, QX_SOCK_STREAM, QX_IPPROTO_TCP, &m_socket), 0);
    }
    ~Socket() { close(); }
    Socket(Socket&& other) noexcept : m_socket(std::exchange(other.m_socket, QX_NO_SOCKET)) {}
    Socket& operator=(Socket&&) = delete;

    operator QXSocket() const { return m_socket; }
    int descriptor() const { return static_cast<int>(m_socket); }
    void close() {
        if (m_socket != QX_NO_SOCKET)
            QXSocketClose(std::exchange(m_socket, QX_NO_SOCKET));
    }
    void set(int32_t name, int32_t value) {
        EXPECT_EQ(QXSocketSetOption(m_socket, QX_SOL_SOCKET, name, &value, sizeof value), 0);
    }
    /// Closing will reset the connection.
    void reset() {
        const qx_linger abrupt{1, 0};
        QXSocketSetOption(m_socket, QX_SOL_SOCKET, QX_SO_LINGER, &abrupt, sizeof abrupt);
        close();
    }

private:
    QXSocket m_socket = QX_NO_SOCKET;
};

qx_sockaddr_union loopback(uint16_t portInNetworkOrder = 0) {
    qx_sockaddr_union address{};
    address.ipv4 = {QX_AF_INET, portInNetworkOrder, {127, 0, 0, 1}, {}};
    return address;
}

qx_sockaddr_union nameOf(const Socket& socket) {
    qx_sockaddr_union name{};
    int32_t length = sizeof name;
    EXPECT_EQ(QXSocketGetName(socket, &name, &length), 0);
    return name;
}

/// 0, or the number of the error with which the last call failed.
int32_t errorOf(int32_t result) { return result == QX_SOCKET_ERROR ? QXSocketLastError() : 0; }

int32_t bindTo(const Socket& socket, const qx_sockaddr_union& address) {
    return errorOf(QXSocketBind(socket, &address, sizeof address));
}

int32_t connectTo(const Socket& socket, const qx_sockaddr_union& address) {
    return errorOf(QXSocketConnect(socket, &address, sizeof address));
}

/// A listener on a free port of the loopback address, and a pair of connected sockets over it.
struct Connection {
    Socket listener;
    Socket client;
    Socket server{QX_NO_SOCKET};

    Connection() {
        EXPECT_EQ(bindTo(listener, loopback()), 0);
        EXPECT_EQ(QXSocketListen(listener, 5), 0);
        EXPECT_EQ(connectTo(client, nameOf(listener)), 0);
        QXSocket accepted;
        EXPECT_EQ(QXSocketAccept(listener, nullptr, nullptr, &accepted), 0);
        std::destroy_at(&server);
        std::construct_at(&server, accepted);
    }
    void acceptAndClose() const {
        QXSocket accepted = QX_NO_SOCKET;
        EXPECT_EQ(errorOf(QXSocketAccept(listener, nullptr, nullptr, &accepted)), 0);
        QXSocketClose(accepted);
    }
};

int32_t receive(QXSocket socket) {
    char byte;
    return QXSocketReceive(socket, &byte, 1, 0);
}

TEST(Socket, ArgumentsThatAreWrongHaveTheirNumbers) {
    QXSocket made;
    const struct {
        int32_t family, type, protocol, error;
    } cases[] = {
        {QX_AF_INET, QX_SOCK_STREAM, 0, 0},
        {QX_AF_INET6, QX_SOCK_STREAM, 0, 0},
        {10, QX_SOCK_STREAM, 0, 0}, // the system's own number of IPv6
        {QX_AF_UNSPEC, QX_SOCK_STREAM, 0, 10047},
        {1, QX_SOCK_STREAM, 0, 10047}, // the system has that one
        {QX_AF_INET, 0, 0, 10044},
        {QX_AF_INET, QX_SOCK_STREAM | O_NONBLOCK, 0, 10044}, // no flags of the system come in
        {QX_AF_INET, QX_SOCK_STREAM, QX_IPPROTO_UDP, 10043},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.family << " " << c.type << " " << c.protocol);
        EXPECT_EQ(errorOf(QXSocketCreate(c.family, c.type, c.protocol, &made)), c.error);
        EXPECT_EQ(made == QX_NO_SOCKET, c.error != 0);
        QXSocketClose(made);
    }

    const Socket socket;
    qx_sockaddr_union address = loopback();
    EXPECT_EQ(errorOf(QXSocketBind(socket, &address, 15)), 10014);
    EXPECT_EQ(errorOf(QXSocketBind(socket, nullptr, 16)), 10014);
    address.family = 1;
    EXPECT_EQ(bindTo(socket, address), 10047);
    int32_t length = 15;
    EXPECT_EQ(errorOf(QXSocketGetName(socket, &address, &length)), 10014);
    EXPECT_EQ(errorOf(QXSocketSend(socket, "", 1, 16)), 10045);
    EXPECT_EQ(errorOf(QXSocketSend(socket, "", -1, 0)), 10022);
    EXPECT_EQ(errorOf(QXSocketReceive(socket, &address, 1, 0)), 10057);
    EXPECT_EQ(errorOf(QXSocketSend(socket, "x", 1, 0)), 10057);
    EXPECT_EQ(errorOf(QXSocketListen(QX_NO_SOCKET, 1)), 10038);
    const int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(errorOf(QXSocketListen(static_cast<QXSocket>(file), 1)), 10038);
    ::close(file);
}

TEST(Socket, EveryThreadHasItsOwnLastError) {
    EXPECT_EQ(QXSocketStartUp(0x0001, nullptr), 0) << "an older version";
    EXPECT_EQ(QXSocketCleanUp(), 0);
    EXPECT_EQ(errorOf(QXSocketStartUp(0x0200, nullptr)), 10092) << "0.2";
    EXPECT_EQ(errorOf(QXSocketClose(QX_NO_SOCKET)), 10038);
    std::thread([] { EXPECT_EQ(QXSocketLastError(), 0); }).join();
    EXPECT_EQ(QXSocketLastError(), 10038);
}

TEST(Socket, AClientBindsThePortOfItsLastConnectionAgain) {
    Connection connection;
    Socket client;
    ASSERT_EQ(bindTo(client, loopback()), 0);
    const qx_sockaddr_union place = nameOf(client);
    ASSERT_EQ(connectTo(client, nameOf(connection.listener)), 0);
    client.close();
    connection.acceptAndClose();
    EXPECT_EQ(bindTo(Socket(), place), 0);
}

TEST(Socket, DescriptorsAreClosedOnExecAndNeverStandardStreams) {
    const int saved = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
    ::close(0);
    {
        Connection connection;
        for (const Socket* socket :
             {&connection.listener, &connection.client, &connection.server}) {
            EXPECT_GT(socket->descriptor(), 2);
            EXPECT_EQ(::fcntl(socket->descriptor(), F_GETFD), FD_CLOEXEC);
        }
    }
    if (saved >= 0) {
        ::dup2(saved, 0);
        ::close(saved);
    }
}

TEST(Socket, SignalsInterruptNothing) {
    const qxtest::SignalStorm storm;
    Connection connection;
    // More than both buffers hold: the send has to wait, and is interrupted after a part.
    std::vector<char> bytes(8 << 20, 'x');
    std::thread sender([&] {
        const auto length = static_cast<int32_t>(bytes.size());
        EXPECT_EQ(QXSocketSend(connection.client, bytes.data(), length, 0), length);
        EXPECT_EQ(QXSocketShutdown(connection.client, QX_SHUTDOWN_OUTPUT), 0);
    });
    size_t received = 0;
    std::vector<char> buffer(64 << 10);
    int32_t count;
    while ((count = QXSocketReceive(connection.server, buffer.data(), 64 << 10, 0)) > 0)
        received += static_cast<size_t>(count);
    EXPECT_EQ(errorOf(count), 0);
    EXPECT_EQ(received, bytes.size());
    sender.join();

    qx_socket_set set{1, {connection.client}};
    const qx_timeval limit{0, 50'000};
    EXPECT_EQ(QXSocketSelect(&set, nullptr, nullptr, &limit), 0);
    connection.client.set(QX_SO_RCVTIMEO, 50);
    EXPECT_EQ(errorOf(receive(connection.client)), 10060) << "signals must not keep it waiting";

    for (int i = 0; i < 200; ++i) {
        qxtest::BlockingThread acceptor([&] { connection.acceptAndClose(); });
        EXPECT_EQ(connectTo(Socket(), nameOf(connection.listener)), 0);
    }
}

TEST(Socket, WhatIsNotConnectedHasItsNumber) {
    Socket nobody;
    ASSERT_EQ(bindTo(nobody, loopback()), 0);
    const Socket refused;
    EXPECT_EQ(connectTo(refused, nameOf(nobody)), 10061);
    EXPECT_EQ(errorOf(QXSocketSend(refused, "x", 1, 0)), 10057);
    EXPECT_EQ(errorOf(QXSocketShutdown(nobody, QX_SHUTDOWN_BOTH)), 10057);
    ASSERT_EQ(QXSocketListen(nobody, 1), 0);
    EXPECT_EQ(errorOf(QXSocketShutdown(nobody, QX_SHUTDOWN_BOTH)), 10057);
    const Socket client;
    EXPECT_EQ(connectTo(client, nameOf(nobody)), 0) << "it still listens";
    int32_t reuse = 1, length = sizeof reuse;
    EXPECT_EQ(QXSocketGetOption(client, QX_SOL_SOCKET, QX_SO_REUSEADDR, &reuse, &length), 0);
    EXPECT_EQ(reuse, 0) << "nobody has set it";
}

TEST(Socket, TimeOutsAndNonBlockingSocketsDiffer) {
    Connection connection;
    connection.client.set(QX_SO_SNDTIMEO, 20);
    std::vector<char> bytes(16 << 20);
    const int32_t sent = QXSocketSend(connection.client, bytes.data(), 16 << 20, 0);
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, 16 << 20);
    int32_t more = sent;
    while (more > 0) // until no growing buffer takes any more
        more = QXSocketSend(connection.client, bytes.data(), 16 << 20, 0);
    EXPECT_EQ(errorOf(more), 10060);
    ::fcntl(connection.client.descriptor(), F_SETFL, O_NONBLOCK);
    EXPECT_EQ(errorOf(receive(connection.client)), 10035);
    do // the system may have found room meanwhile
        more = QXSocketSend(connection.client, bytes.data(), 16 << 20, 0);
    while (more > 0);
    EXPECT_EQ(errorOf(more), 10035);
    // A time-out for receiving is none for accepting, one for sending none for connecting.
    connection.listener.set(QX_SO_RCVTIMEO, 1);
    qxtest::BlockingThread acceptor([&] { connection.acceptAndClose(); });
    acceptor.awaitBlocked();
    Socket client;
    client.set(QX_SO_SNDTIMEO, 1);
    EXPECT_EQ(connectTo(client, nameOf(connection.listener)), 0);
    acceptor.join();
}

TEST(Socket, OptionsKeepTheirDescribedForm) {
    const Socket socket;
    const struct {
        int32_t level, name, value;
    } cases[] = {
        {QX_SOL_SOCKET, QX_SO_KEEPALIVE, 1},
        {QX_SOL_SOCKET, QX_SO_RCVTIMEO, 1500},
        {QX_SOL_SOCKET, QX_SO_SNDTIMEO, 40},
        {QX_SOL_SOCKET, QX_SO_LINGER, 0x00070001}, // on, seven seconds
        {QX_SOL_SOCKET, QX_SO_SNDBUF, 30000},
        {QX_SOL_SOCKET, QX_SO_RCVBUF, 20000},
        {QX_IPPROTO_TCP, QX_TCP_NODELAY, 1},
        {QX_IPPROTO_TCP, QX_TCP_KEEPIDLE, 77},
        {QX_IPPROTO_IP, QX_IP_TTL, 33},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.level << " " << c.name);
        EXPECT_EQ(errorOf(QXSocketSetOption(socket, c.level, c.name, &c.value, 4)), 0);
        int32_t value = 0;
        int32_t length = 4;
        EXPECT_EQ(errorOf(QXSocketGetOption(socket, c.level, c.name, &value, &length)), 0);
        EXPECT_EQ(value, c.value);
        EXPECT_EQ(length, 4);
    }
    int32_t value = 0;
    int32_t length = 4;
    EXPECT_EQ(errorOf(QXSocketGetOption(socket, QX_SOL_SOCKET, 9999, &value, &length)), 10042);
    EXPECT_EQ(errorOf(QXSocketGetOption(socket, 1, QX_SO_TYPE, &value, &length)), 10022);
    length = 3;
    EXPECT_EQ(errorOf(QXSocketGetOption(socket, QX_SOL_SOCKET, QX_SO_TYPE, &value, &length)),
              10014);
    EXPECT_EQ(errorOf(QXSocketSetOption(socket, QX_SOL_SOCKET, QX_SO_KEEPALIVE, &value, 1)), 10014);
}

TEST(SocketSelect, TellsWhatIsReady) {
    Connection connection;
    Connection other;
    const qx_timeval now{0, 0};
    qx_socket_set read{1, {connection.server}};
    EXPECT_EQ(QXSocketSelect(&read, nullptr, nullptr, &now), 0);
    EXPECT_EQ(read.count, 0u);
    qx_socket_set write{2, {connection.server, connection.listener}};
    EXPECT_EQ(QXSocketSelect(nullptr, &write, nullptr, nullptr), 1);
    EXPECT_EQ(write.count, 1u);
    EXPECT_EQ(write.sockets[0], connection.server);

    // Out-of-band data is exceptional; a reset connection is not, it can be read.
    QXSocketSend(connection.client, "!", 1, QX_MSG_OOB);
    qx_socket_set exception{2, {other.client, connection.server}};
    EXPECT_EQ(QXSocketSelect(nullptr, nullptr, &exception, nullptr), 1);
    EXPECT_EQ(exception.sockets[0], connection.server);
    other.client.reset();
    const qx_timeval shortly{0, 20'000};
    exception = {1, {other.server}};
    EXPECT_EQ(QXSocketSelect(nullptr, nullptr, &exception, &shortly), 0);
    read = {1, {other.server}};
    EXPECT_EQ(QXSocketSelect(&read, nullptr, nullptr, &shortly), 1);

    EXPECT_EQ(errorOf(QXSocketSelect(nullptr, &read, nullptr, nullptr)), 0);
    read.count = 0;
    EXPECT_EQ(errorOf(QXSocketSelect(&read, nullptr, nullptr, &now)), 10022) << "no socket";
    read = {1, {QX_NO_SOCKET}};
    EXPECT_EQ(errorOf(QXSocketSelect(&read, nullptr, nullptr, &now)), 10038);
    read = {1, {900'000}};
    EXPECT_EQ(errorOf(QXSocketSelect(&read, nullptr, nullptr, &now)), 10038);
    read = {1, {connection.server}};
    const qx_timeval negative{0, -1};
    EXPECT_EQ(errorOf(QXSocketSelect(&read, nullptr, nullptr, &negative)), 10022);
}

/// The texts of all addresses with their ports, or the number of the failure.
std::string resolved(const char* host, const char* service, int32_t flags, int32_t family) {
    const qx_addrinfo hints{flags, family, QX_SOCK_STREAM, QX_IPPROTO_TCP, 0, {}, {}, {}};
    qx_addrinfo* result = nullptr;
    const int32_t error = QXgetaddrinfo(host, service, &hints, &result);
    if (error != 0)
        return result == nullptr ? std::to_string(error) : "a failure with a result";
    std::string text;
    for (const qx_addrinfo* i = result; i != nullptr; i = i->ai_next) {
        char name[1025];
        char port[32];
        EXPECT_EQ(QXSocketGetNameInfo(i->ai_addr, static_cast<int32_t>(i->ai_addrlen), name,
                                      sizeof name, port, sizeof port,
                                      QX_NI_NUMERICHOST | QX_NI_NUMERICSERV),
                  0);
        EXPECT_EQ(i->ai_family, i->ai_addr->family);
        text += (text.empty() ? "" : " ") + std::string(name) + "/" + port;
    }
    QXfreeaddrinfo(result);
    return text;
}

TEST(Resolver, Table) {
    const struct {
        const char* host;
        const char* service;
        int32_t flags;
        int32_t family;
        const char* result;
    } cases[] = {
        {"127.0.0.1", "80", 0, 0, "127.0.0.1/80"},
        {"::1", "80", 0, 0, "::1/80"},
        {"::1", "80", 0, 10, "::1/80"}, // the system's own number of IPv6
        {"fe80::1%1", "80", 0, 0, "fe80::1%1/80"},
        {"fe80::1%lo", "80", 0, QX_AF_INET6, "fe80::1%1/80"},
        {"fe80::1", "80", 0, 0, "fe80::1/80"},
        {nullptr, "80", QX_AI_PASSIVE, QX_AF_INET, "0.0.0.0/80"},
        {nullptr, "80", 0, QX_AF_INET6, "::1/80"},
        {"127.0.0.1", "http", 0, QX_AF_INET, "127.0.0.1/80"},
        {"127.0.0.1", nullptr, 0, 0, "127.0.0.1/0"},
        {"127.0.0.1", "65535", 0, 0, "127.0.0.1/65535"},
        {"127.0.0.1", "65536", 0, 0, "12109"}, // not port 0
        {"127.0.0.1", "no-such-service", 0, 0, "12109"},
        {"127.0.0.1", "http", QX_AI_NUMERICSERV, 0, "13001"},
        {"localhost", "80", QX_AI_NUMERICHOST, 0, "13001"},
        {"", "80", 0, 0, "13001"},
        {nullptr, nullptr, 0, 0, "13001"},
        {"1.2.3.4.5", "80", QX_AI_NUMERICHOST, 0, "13001"},
        {"::1", "80", 0, QX_AF_INET, "14001"},
        {"127.0.0.1", "80", 0x10, 0, "12022"}, // a flag of the system's own
        {"127.0.0.1", "80", 0, 1, "12047"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.host ? c.host : "(null)") << " "
                                        << (c.service ? c.service : "(null)") << " " << c.flags);
        EXPECT_EQ(resolved(c.host, c.service, c.flags, c.family), c.result);
    }
    // The system has it twice where its table of hosts has ::1 for that name too.
    EXPECT_TRUE(resolved("localhost", "80", 0, QX_AF_INET).starts_with("127.0.0.1/80"));
    // Without a network the resolver may also be unreachable.
    const std::string unknown = resolved("no-such-host.invalid", "80", 0, 0);
    EXPECT_TRUE(unknown == "13001" || unknown == "13002" || unknown == "14001") << unknown;
    // A type without that protocol.
    const qx_addrinfo hints{0, 0, QX_SOCK_STREAM, QX_IPPROTO_UDP, 0, {}, {}, {}};
    qx_addrinfo* result = nullptr;
    EXPECT_EQ(QXgetaddrinfo("127.0.0.1", "80", &hints, &result), 12044);
}

TEST(Resolver, TextsThatDoNotFitAreAnError) {
    qx_sockaddr_union address = loopback(0x5000);
    char host[10];
    EXPECT_EQ(QXSocketGetNameInfo(&address, 16, host, 10, nullptr, 0, QX_NI_NUMERICHOST), 0);
    EXPECT_STREQ(host, "127.0.0.1");
    EXPECT_EQ(QXSocketGetNameInfo(&address, 16, host, 9, nullptr, 0, QX_NI_NUMERICHOST), 10014);
    EXPECT_EQ(QXSocketGetNameInfo(&address, 15, host, 10, nullptr, 0, QX_NI_NUMERICHOST), 10014);
    EXPECT_EQ(QXSocketGetNameInfo(&address, 16, host, 10, nullptr, 0, 32), 12022);
    address.family = 1;
    EXPECT_EQ(QXSocketGetNameInfo(&address, 16, host, 10, nullptr, 0, QX_NI_NUMERICHOST), 12047);
}

TEST(Resolver, TheNameOfTheMachine) {
    char name[260];
    ASSERT_EQ(QXGetHostName(name, sizeof name), QX_OK);
    char expected[260];
    ::gethostname(expected, sizeof expected);
    EXPECT_STREQ(name, expected);
    const auto length = static_cast<int32_t>(std::strlen(name));
    EXPECT_EQ(QXGetHostName(name, length), QX_E_BUFFER_TOO_SMALL);
    EXPECT_STREQ(name, "");
    EXPECT_EQ(QXGetHostName(name, length + 1), QX_OK);
}

} // namespace
