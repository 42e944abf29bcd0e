#include <chrono>
#include <sys/socket.h>
#include <sys/syscall.h>

#include "tests/net/Loopback.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RefusedCall.h"

namespace {

using namespace qx::net;
using namespace qxtest;

std::string bindList(TcpServerSocket2& server,
                     decltype(QxNetTcpServerSocketBindListAddressesDiagnosticStrA)* list =
                         QxNetTcpServerSocketBindListAddressesDiagnosticStrA) {
    char buffer[1000];
    uint32_t length = sizeof buffer;
    EXPECT_EQ(list(&server, buffer, &length), 0);
    EXPECT_EQ(length, std::strlen(buffer) + 1);
    return buffer;
}

std::string boundList(TcpServerSocket2& server) {
    return bindList(server, QxNetTcpServerSocketBoundListAddressesDiagnosticStrA);
}

TEST(TcpServerSocket2, FillsTheBindList) {
    const struct {
        const char* hosts;
        const char* service;
        uint16_t port;
        ENUM_QX_E_SOCKET code;
        const char* list;
    } cases[] = {
        {"127.0.0.1", nullptr, 80, 0, "127.0.0.1:80"},
        {"127.0.0.1,  ::1", nullptr, 80, 0, "127.0.0.1:80; [::1]:80"},
        {"127.0.0.1", "http", 0, 0, "127.0.0.1:80"},
        {"127.0.0.1", "http", 81, 0, "127.0.0.1:81"}, // the port is given
        {"0.0.0.0", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, ""},
        {"255.255.255.255", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, ""},
        {"0.0.0.0, 127.0.0.2", nullptr, 80, 0, "127.0.0.2:80"}, // the last one decides
        {"127.0.0.2, ::", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, "127.0.0.2:80"},
        {"127.0.0.2,", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, "127.0.0.2:80"},
        {"", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, ""},
        {"127.0.0.1", "no-such-service", 0, QX_E_SOCKET_NO_DATA, ""},
        {"127.0.0.1", "", 0, QX_E_SOCKET_EINVAL, ""},
        {"127.0.0.1", nullptr, 0, QX_E_SOCKET_EINVAL, ""},
        {nullptr, nullptr, 80, QX_E_SOCKET_EINVAL, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hosts ? c.hosts : "(null)");
        const auto server = makeServer();
        EXPECT_EQ(QxNetTcpServerSocketBindListAddAddrInfo(server.get(), c.hosts, c.service, c.port),
                  c.code);
        EXPECT_EQ(bindList(*server), c.list);
        EXPECT_EQ(QxNetTcpServerSocketBindListClear(server.get()), 0);
        EXPECT_EQ(server->bindListAddAddrAny(7), 0);
        EXPECT_EQ(bindList(*server), "[::]:7; 0.0.0.0:7");
    }
}

TEST(TcpServerSocket2, LetsTheSystemChooseThePortOfAHost) {
    const auto server = makeServer();
    EXPECT_EQ(server->bindListAddHost(nullptr, 0), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(server->bindListAddHost("127.0.0.1,::1", 0), QX_E_SOCKET_HOST_NOT_FOUND) << "one";
    EXPECT_EQ(server->bindListAddHost("127.0.0.1", 0), 0);
    EXPECT_EQ(server->bindListAddHost("127.0.0.2", 0), 0);
    EXPECT_EQ(server->getBindCount(), 2u);
    EXPECT_EQ(server->bind(), 0);
    EXPECT_EQ(server->saveBoundAddresses(), 0);
    EXPECT_EQ(server->getBoundCount(), 2u);
    EXPECT_EQ(boundList(*server).find(":0"), std::string::npos) << boundList(*server);
}

TEST(TcpServerSocket2, WaitsForAConnectionUpToALimit) {
    const LoopbackServer listener;
    auto* worker = reinterpret_cast<TcpWorkerSocket2*>(listener.server.get());
    EXPECT_EQ(listener.server->accept(&worker, std::chrono::milliseconds(1)),
              QX_E_SOCKET_ETIMEDOUT);
    EXPECT_EQ(worker, nullptr);
    const auto client = connectTo(listener.address);
    {
        const NoDescriptors none;
        EXPECT_EQ(listener.server->accept(&worker), QX_E_SOCKET_EMFILE);
    }
    EXPECT_EQ(listener.server->accept(&worker, std::chrono::minutes(1)), 0) << "it has waited";
    delete worker;
}

TEST(TcpServerSocket2, ListsHoldTwentyAddresses) {
    const auto server = makeServer();
    std::string hosts = "127.0.0.1";
    for (int i = 2; i <= 19; ++i)
        hosts += ", 127.0.0." + std::to_string(i);
    EXPECT_EQ(server->bindListAddAddrInfo(hosts.c_str(), nullptr, 80), 0);
    EXPECT_EQ(server->bindListAddAddrAny(80), QX_E_SOCKET_EFAULT) << "room for one of the two";
    EXPECT_TRUE(bindList(*server).ends_with("127.0.0.19:80; [::]:80"));
    EXPECT_EQ(server->bindListAddAddrInfo("127.0.0.20", nullptr, 80), QX_E_SOCKET_HOST_NOT_FOUND);
}

TEST(TcpServerSocket2, BindsBothFamiliesOnOnePortAndAcceptsOnBoth) {
    if (!hasIpv6Loopback())
        GTEST_SKIP() << "no IPv6";
    const LoopbackServer listener = LoopbackServer::onOnePort();
    const std::string port = std::to_string(listener.port());
    EXPECT_EQ(boundList(*listener.server), "[::]:" + port + "; 0.0.0.0:" + port);
    for (const auto& place : {listener.address, ipv6(Ipv6Loopback, listener.port())}) {
        const auto client = connectTo(place);
        const auto worker = listener.accept();
        qx_sockaddr_union local{};
        int length = sizeof local;
        EXPECT_EQ(QxNetTcpClientSocketGetLocalAddress(client.get(), &local, &length), 0);
        EXPECT_EQ(length, place.family == QX_AF_INET ? 16 : 28);
        ENUM_QX_E_SOCKET error = 0;
        ASSERT_NE(worker->getPeerAddress(), nullptr);
        EXPECT_EQ(*worker->getPeerAddress(), InetSocketAddress(&local, &error));

        const auto second = connectTo(place);
        uint64_t native = 0;
        ASSERT_EQ(QxNetTcpServerSocketAcceptSocket(listener.server.get(), &native), 0);
        TcpWorkerSocket2 bare(native, &(error = 1));
        EXPECT_EQ(error, 0);
        EXPECT_EQ(bare.getId(), native);
        say(bare, "from a bare socket");
        bare.close();
        EXPECT_EQ(heard(*second), "from a bare socket");
    }
}

TEST(TcpServerSocket2, AcceptNeedsSocketsAndOneOutput) {
    const auto unbound = makeServer();
    TcpWorkerSocket2* worker = reinterpret_cast<TcpWorkerSocket2*>(unbound.get());
    EXPECT_EQ(unbound->accept(&worker), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(worker, nullptr);
    EXPECT_EQ(unbound->listen(1), 0) << "there is nothing that could fail";
    EXPECT_EQ(unbound->saveBoundAddresses(), 0);

    const LoopbackServer listener;
    EXPECT_EQ(listener.server->accept(static_cast<uint64_t*>(nullptr)), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(listener.server->accept(static_cast<TcpWorkerSocket2**>(nullptr)),
              QX_E_SOCKET_EINVAL);
    EXPECT_EQ(listener.server->close(), 0);
    EXPECT_EQ(listener.server->close(), 0);
    uint64_t native = 0;
    EXPECT_EQ(listener.server->accept(&native), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(native, QX_NO_SOCKET);
    EXPECT_EQ(listener.server->bind(), QX_E_SOCKET_ENOTSOCK) << "it would leave sockets behind";
    EXPECT_EQ(listener.server->listen(1), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(listener.server->shutdownBoth(), 0);
}

TEST(TcpServerSocket2, RestartsAtOnceOnItsPortAndAlone) {
    if (!hasIpv6Loopback())
        GTEST_SKIP() << "no IPv6";
    uint16_t port = 0;
    {
        const LoopbackServer first = LoopbackServer::onOnePort();
        port = first.port();
        const auto client = connectTo(first.address);
        first.accept().reset(); // the server's side lingers
        EXPECT_EQ(heard(*client), "");
        EXPECT_EQ(LoopbackServer(port).bound, QX_E_SOCKET_EADDRINUSE) << "the first is alive";
    }
    const auto second = makeServer();
    EXPECT_EQ(second->bindListAddAddrAny(port), 0);
    EXPECT_EQ(second->bind(), 0) << "past the lingering connection";
    EXPECT_EQ(LoopbackServer(port).bound, QX_E_SOCKET_EADDRINUSE) << "the second does not listen";
    EXPECT_EQ(second->listen(0), 0) << "past it again";
    EXPECT_EQ(second->saveBoundAddresses(), 0);
    EXPECT_EQ(second->getBoundCount(), 2u);
}

TEST(TcpServerSocket2, BindsWhatCanBeBound) {
    const LoopbackServer first;
    const auto second = makeServer();
    // Taken, not of this machine, free.
    EXPECT_EQ(second->bindListAddAddrInfo("127.0.0.1, 192.0.2.1", nullptr, first.port()), 0);
    EXPECT_EQ(second->bind(), QX_E_SOCKET_EADDRNOTAVAIL) << "the last failure";
    const auto third = makeServer();
    EXPECT_EQ(third->bindListAddAddrInfo("192.0.2.1", nullptr, first.port()), 0);
    EXPECT_EQ(third->bindListAddAddrAny(0), 0);
    EXPECT_EQ(third->bind(), 0);
    EXPECT_EQ(third->saveBoundAddresses(), 0);
    EXPECT_EQ(boundList(*third).find("192.0.2.1"), std::string::npos);
}

TEST(TcpServerSocket2, KeepsOneAddressForTheNamedPipeReply) {
    const auto server = makeServer();
    EXPECT_EQ(server->bindListAddAddrAny(0), 0);
    EXPECT_EQ(server->bind(), 0);
    EXPECT_EQ(QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(server.get()), 0)
        << "two: none is kept";
    EXPECT_EQ(bindList(*server), "");
    EXPECT_EQ(server->bindListAddAddrInfo("10.1.2.3", nullptr, 99), 0);
    EXPECT_EQ(QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(server.get()), 0);
    EXPECT_EQ(bindList(*server), "");
    EXPECT_EQ(server->saveBoundAddresses(), 0);
    EXPECT_EQ(boundList(*server), "10.1.2.3:99") << "in spite of the listening sockets";
    using Answer = std::pair<ENUM_QX_E_SOCKET, size_t>;
    const auto bound = [&](uint32_t index, size_t room) {
        signed char place[128];
        const auto code = QxNetTcpServerSocketGetBoundAddress(server.get(), index, place, &room);
        return Answer(code, room);
    };
    EXPECT_EQ(bound(0, 16), Answer(0, 16));
    EXPECT_EQ(bound(1, 128), Answer(QX_E_SOCKET_EADDRNOTAVAIL, 0));
    EXPECT_EQ(bound(0, 15), Answer(QX_E_SOCKET_EMSGSIZE, 0));
    // The kept one is used up.
    server->boundListClear();
    EXPECT_EQ(server->saveBoundAddresses(), 0);
    EXPECT_NE(boundList(*server).find("0.0.0.0:"), std::string::npos);
}

TEST(TcpServerSocket2, ForgetsItsSocketsWithoutClosingThem) {
    const QXSocket lowestFree = makeClient()->getId(); // the number that the first of them gets
    LoopbackServer listener;
    listener.server->socketListClear();
    uint64_t native = 0;
    EXPECT_EQ(listener.server->accept(&native), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(listener.server->close(), 0);
    for (uint32_t i = 0; i < listener.addresses; ++i)
        EXPECT_EQ(QXSocketClose(lowestFree + i), 0);
}

constexpr int CannotLoseIpv6 = 77;

const ChildEntry withoutIpv6("serveWithoutIpv6", [](const auto&) {
    if (!refuseCall(SYS_socket, EAFNOSUPPORT, AF_INET6))
        return CannotLoseIpv6;
    const auto server = makeServer();
    if (server->bindListAddAddrAny(0) != 0 || server->bind() != 0 || server->listen(0) != 0 ||
        server->saveBoundAddresses() != 0)
        return 1;
    const std::string list = boundList(*server);
    if (!list.starts_with("0.0.0.0:") || list.find(';') != std::string::npos)
        return 2;
    const auto onlyIpv6 = makeServer();
    onlyIpv6->bindListAddAddrInfo("::1", nullptr, 80);
    if (onlyIpv6->bind() != QX_E_SOCKET_EAFNOSUPPORT)
        return 3;
    return 0;
});

TEST(TcpServerSocket2, ServesIpv4WhereIpv6IsMissing) {
    const int status = ChildProcess("serveWithoutIpv6").join();
    if (status == CannotLoseIpv6)
        GTEST_SKIP() << "system calls cannot be filtered here";
    EXPECT_EQ(status, 0);
}

} // namespace
