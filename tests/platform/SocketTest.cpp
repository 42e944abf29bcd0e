#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/net.h>
#include <qx/platform/result.h>

#include "tests/net/Loopback.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/SignalStorm.h"

namespace {

using Socket = qx::PlatformHandle<&QXSocketClose>;

Socket make() {
    Socket made;
    EXPECT_EQ(QXSocketCreate(QX_AF_INET, QX_SOCK_STREAM, QX_IPPROTO_TCP, made.put()), 0);
    return made;
}

/// 0, or the number of the error with which the last call failed.
int32_t errorOf(int32_t result) { return result == QX_SOCKET_ERROR ? QXSocketLastError() : 0; }

/// Binds a socket to a free port of the loopback address, for the address.
qx_sockaddr_union bindAnywhere(const Socket& socket) {
    qx_sockaddr_union place = qxtest::ipv4(127, 0, 0, 1);
    int32_t length = sizeof place;
    EXPECT_EQ(QXSocketBind(socket.get(), &place, sizeof place), 0);
    EXPECT_EQ(QXSocketGetName(socket.get(), &place, &length), 0);
    return place;
}

/// A listener on a free port, and a pair of connected sockets over it.
struct Connection {
    Socket listener = make(), client = make(), server;
    qx_sockaddr_union place = bindAnywhere(listener);

    Connection() {
        EXPECT_EQ(QXSocketListen(listener.get(), 5), 0);
        EXPECT_EQ(connect(client), 0);
        EXPECT_EQ(accept(server), 0);
    }
    int32_t connect(const Socket& socket) const {
        return errorOf(QXSocketConnect(socket.get(), &place, sizeof place));
    }
    int32_t accept(Socket& accepted) const {
        return errorOf(QXSocketAccept(listener.get(), nullptr, nullptr, accepted.put()));
    }
};

void set(const Socket& socket, int32_t name, int32_t value) {
    EXPECT_EQ(QXSocketSetOption(socket.get(), QX_SOL_SOCKET, name, &value, sizeof value), 0);
}

int32_t send(const Socket& socket, const std::vector<char>& bytes) {
    return QXSocketSend(socket.get(), bytes.data(), static_cast<int32_t>(bytes.size()), 0);
}

int32_t receive(const Socket& socket) {
    char byte;
    return errorOf(QXSocketReceive(socket.get(), &byte, 1, 0));
}

TEST(Socket, WhatIsWrongHasItsNumber) {
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
        SCOPED_TRACE(&c - cases);
        Socket made;
        EXPECT_EQ(errorOf(QXSocketCreate(c.family, c.type, c.protocol, made.put())), c.error);
        EXPECT_EQ(!made, c.error != 0);
    }

    const Socket owner = make();
    const QXSocket socket = owner.get();
    qx_sockaddr_union address = bindAnywhere(owner);
    EXPECT_EQ(errorOf(QXSocketBind(socket, &address, 15)), 10014);
    EXPECT_EQ(errorOf(QXSocketBind(socket, nullptr, 16)), 10014);
    address.family = 1;
    EXPECT_EQ(errorOf(QXSocketBind(socket, &address, sizeof address)), 10047);
    int32_t length = 15;
    EXPECT_EQ(errorOf(QXSocketGetName(socket, &address, &length)), 10014);
    EXPECT_EQ(errorOf(QXSocketSend(socket, "", 1, 16)), 10045);
    EXPECT_EQ(errorOf(QXSocketSend(socket, "", -1, 0)), 10022);
    EXPECT_EQ(receive(owner), 10057);
    EXPECT_EQ(errorOf(send(owner, {'x'})), 10057);
    EXPECT_EQ(errorOf(QXSocketShutdown(socket, QX_SHUTDOWN_BOTH)), 10057);
    const int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(errorOf(QXSocketListen(static_cast<QXSocket>(file), 1)), 10038);
    ::close(file);

    const Connection connection;
    EXPECT_EQ(errorOf(QXSocketShutdown(connection.listener.get(), QX_SHUTDOWN_BOTH)), 10057);
    EXPECT_EQ(connection.connect(make()), 0) << "it still listens";
    EXPECT_EQ(QXSocketStartUp(0x0001, nullptr), 0) << "an older version";
    EXPECT_EQ(QXSocketCleanUp(), 0);
    EXPECT_EQ(errorOf(QXSocketStartUp(0x0200, nullptr)), 10092) << "0.2";
    std::thread([] { EXPECT_EQ(QXSocketLastError(), 0) << "each thread has its own"; }).join();
    EXPECT_EQ(QXSocketLastError(), 10092);
}

TEST(Socket, AClientBindsThePortOfItsLastConnectionAgain) {
    const Connection connection;
    Socket client = make(), accepted;
    const qx_sockaddr_union place = bindAnywhere(client);
    ASSERT_EQ(connection.connect(client), 0);
    client.reset();
    EXPECT_EQ(connection.accept(accepted), 0);
    accepted.reset();
    EXPECT_EQ(errorOf(QXSocketBind(make().get(), &place, sizeof place)), 0);
}

TEST(Socket, DescriptorsAreClosedOnExecAndNeverStandardStreams) {
    const int saved = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
    ::close(0);
    const Connection connection;
    for (const Socket* each : {&connection.listener, &connection.client, &connection.server}) {
        const int descriptor = static_cast<int>(each->get());
        EXPECT_GT(descriptor, 2);
        EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    }
    ::dup2(saved, 0);
    ::close(saved);
}

TEST(Socket, SignalsInterruptNothing) {
    const qxtest::SignalStorm storm;
    const Connection connection;
    // More than both buffers hold: the send has to wait, and is interrupted after a part.
    const std::vector<char> bytes(8 << 20, 'x');
    std::thread sender([&] {
        EXPECT_EQ(send(connection.client, bytes), std::ssize(bytes));
        EXPECT_EQ(QXSocketShutdown(connection.client.get(), QX_SHUTDOWN_OUTPUT), 0);
    });
    ssize_t received = 0;
    std::vector<char> buffer(64 << 10);
    int32_t count;
    while ((count = QXSocketReceive(connection.server.get(), buffer.data(), 64 << 10, 0)) > 0)
        received += count;
    EXPECT_EQ(errorOf(count), 0);
    EXPECT_EQ(received, std::ssize(bytes));
    sender.join();

    qx_socket_set waiting{1, {connection.client.get()}};
    const qx_timeval limit{0, 50'000};
    EXPECT_EQ(QXSocketSelect(&waiting, nullptr, nullptr, &limit), 0);
    set(connection.client, QX_SO_RCVTIMEO, 50);
    EXPECT_EQ(receive(connection.client), 10060) << "signals must not keep it waiting";

    for (int i = 0; i < 200; ++i) {
        Socket accepted;
        qxtest::BlockingThread acceptor([&] { EXPECT_EQ(connection.accept(accepted), 0); });
        EXPECT_EQ(connection.connect(make()), 0);
        acceptor.join();
    }
}

TEST(Socket, TimeOutsAndNonBlockingSocketsDiffer) {
    const Connection connection;
    set(connection.client, QX_SO_SNDTIMEO, 20);
    const std::vector<char> bytes(16 << 20);
    const auto sendAll = [&] { // until no growing buffer takes any more
        int32_t sent = send(connection.client, bytes);
        EXPECT_LT(sent, std::ssize(bytes));
        while (sent > 0)
            sent = send(connection.client, bytes);
        return errorOf(sent);
    };
    EXPECT_GT(send(connection.client, bytes), 0);
    EXPECT_EQ(sendAll(), 10060);
    ::fcntl(static_cast<int>(connection.client.get()), F_SETFL, O_NONBLOCK);
    EXPECT_EQ(receive(connection.client), 10035);
    EXPECT_EQ(sendAll(), 10035);
    // A time-out for receiving is none for accepting, one for sending none for connecting.
    set(connection.listener, QX_SO_RCVTIMEO, 1);
    Socket accepted, client = make();
    qxtest::BlockingThread acceptor([&] { EXPECT_EQ(connection.accept(accepted), 0); });
    acceptor.awaitBlocked();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    set(client, QX_SO_SNDTIMEO, 1);
    EXPECT_EQ(connection.connect(client), 0);
    acceptor.join();
}

TEST(Socket, OptionsKeepTheirDescribedForm) {
    const Socket owner = make();
    const QXSocket socket = owner.get();
    const struct {
        int32_t level, name, value;
    } cases[] = {
        {QX_SOL_SOCKET, QX_SO_RCVTIMEO, 1500},     {QX_SOL_SOCKET, QX_SO_SNDTIMEO, 40},
        {QX_SOL_SOCKET, QX_SO_LINGER, 0x00070001}, // on, seven seconds
        {QX_SOL_SOCKET, QX_SO_SNDBUF, 30000},      {QX_SOL_SOCKET, QX_SO_RCVBUF, 20000},
        {QX_IPPROTO_TCP, QX_TCP_KEEPIDLE, 77},     {QX_IPPROTO_IP, QX_IP_TTL, 33},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
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

// The class over it is asked for more in its own tests.
TEST(SocketSelect, TellsWhatIsReady) {
    const Connection connection;
    const QXSocket client = connection.client.get(), server = connection.server.get();
    const qx_timeval now{0, 0}, negative{0, -1};
    qx_socket_set write{2, {server, connection.listener.get()}};
    EXPECT_EQ(QXSocketSelect(nullptr, &write, nullptr, nullptr), 1);
    EXPECT_EQ(write.count, 1u);
    EXPECT_EQ(write.sockets[0], server);
    QXSocketSend(client, "!", 1, QX_MSG_OOB);
    qx_socket_set exception{2, {client, server}};
    EXPECT_EQ(QXSocketSelect(nullptr, nullptr, &exception, nullptr), 1);
    EXPECT_EQ(exception.sockets[0], server);
    const struct {
        qx_socket_set read;
        const qx_timeval* limit;
        int32_t error;
    } cases[] = {
        {{1, {client}}, &now, 0},
        {{0, {}}, &now, 10022},
        {{1, {900'000}}, &now, 10038},
        {{1, {server}}, &negative, 10022},
    };
    for (auto c : cases) {
        EXPECT_EQ(errorOf(QXSocketSelect(&c.read, nullptr, nullptr, c.limit)), c.error);
        EXPECT_TRUE(c.error != 0 || c.read.count == 0) << "nothing is ready";
    }
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
        {"fe80::1%lo", "80", 0, QX_AF_INET6, "fe80::1%1/80"},
        {"fe80::1", "80", 0, 0, "fe80::1/80"},
        {nullptr, "80", QX_AI_PASSIVE, QX_AF_INET, "0.0.0.0/80"},
        {nullptr, "80", 0, QX_AF_INET6, "::1/80"},
        {"127.0.0.1", "http", 0, QX_AF_INET, "127.0.0.1/80"},
        {"127.0.0.1", nullptr, 0, 0, "127.0.0.1/0"},
        {"127.0.0.1", "65536", 0, 0, "12109"}, // not port 0
        {"127.0.0.1", "no-such-service", 0, 0, "12109"},
        {"127.0.0.1", "http", QX_AI_NUMERICSERV, 0, "13001"},
        {"localhost", "80", QX_AI_NUMERICHOST, 0, "13001"},
        {nullptr, nullptr, 0, 0, "13001"},
        {"1.2.3.4.5", "80", QX_AI_NUMERICHOST, 0, "13001"},
        {"::1", "80", 0, QX_AF_INET, "14001"},
        {"127.0.0.1", "80", 0x10, 0, "12022"}, // a flag of the system's own
        {"127.0.0.1", "80", 0, 1, "12047"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(resolved(c.host, c.service, c.flags, c.family), c.result);
    }
    // The system has it twice where its table of hosts has ::1 for that name too.
    EXPECT_TRUE(resolved("localhost", "80", 0, QX_AF_INET).starts_with("127.0.0.1/80"));
    // A type without that protocol.
    const qx_addrinfo hints{0, 0, QX_SOCK_STREAM, QX_IPPROTO_UDP, 0, {}, {}, {}};
    qx_addrinfo* result = nullptr;
    EXPECT_EQ(QXgetaddrinfo("127.0.0.1", "80", &hints, &result), 12044);
}

TEST(Resolver, TextsThatDoNotFitAreAnError) {
    qx_sockaddr_union address = qxtest::ipv4(127, 0, 0, 1);
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
    char name[260], expected[260];
    ::gethostname(expected, sizeof expected);
    const auto length = static_cast<int32_t>(std::strlen(expected));
    EXPECT_EQ(QXGetHostName(name, length), QX_E_BUFFER_TOO_SMALL);
    EXPECT_STREQ(name, "");
    EXPECT_EQ(QXGetHostName(name, length + 1), QX_OK);
    EXPECT_STREQ(name, expected);
}

} // namespace
