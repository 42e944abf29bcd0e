#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <list>

#include "tests/net/Loopback.h"
#include "tests/net/SomeHost.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/Sanitized.h"
#include "tests/support/SignalStorm.h"

using namespace qx;
using namespace qx::net;
using namespace qxtest;
using namespace std::chrono_literals;
using io::IoException;

namespace {

Reference<TcpSocket> connectTo(uint16_t port, const char16_t* host = u"127.0.0.1") {
    return makeReference<TcpSocket>(String(host), port);
}

/// A server of this library with a client connected to it.
struct Connection {
    Reference<TcpServerSocket> listener = makeReference<TcpServerSocket>(uint16_t{0}, 5);
    uint16_t port = listener->getPort();
    Reference<TcpSocket> client = connectTo(port);
    Reference<TcpSocket> server = listener->accept(1min);
};

std::string textOf(ENUM_QX_E_SOCKET code) {
    return String(QXGetDescriptionFromQX_E_SOCKET(code)).toUtf8();
}

const ChildEntry s_heir("socket-heir", [](const std::vector<std::string>& arguments) {
    const std::string id = arguments[0], prefix = "qx.net.tcp.socket=";
    if (!id.starts_with(prefix))
        return 1;
    TcpSocketOutputStream out(
        makeReference<TcpSocketHandle>(std::stoull(id.substr(prefix.size()))));
    out.write("from the child");
    return 0;
});

} // namespace

TEST(TcpSocket, TalksBothWaysUntilThePeerHasSentItsEnd) {
    const bool hasIpv6 = hasIpv6Loopback();
    const auto listener = hasIpv6 ? LoopbackServer::onOnePort() : LoopbackServer();
    for (const char16_t* const host : {u"127.0.0.1", u"::1"}) {
        if (host[0] == u':' && !hasIpv6)
            continue;
        const auto socket = connectTo(listener.port(), host);
        const auto peer = listener.accept();
        say(*peer, "last words");
        EXPECT_EQ(peer->shutdownOutput(), 0);
        const auto in = socket->getInputStream();
        EXPECT_EQ(in->read(), 'l'); // which waits, so that the others are there
        EXPECT_EQ(in->available(), 9);
        EXPECT_EQ(readAll(*in), "ast words");
        EXPECT_EQ(std::pair(in->read(), in->available()), std::pair(-1, 0));
        char byte;
        EXPECT_EQ(in->read(&byte, 0), 0);
        socket->getOutputStream()->write("answer");
        EXPECT_EQ(std::pair(socket->getLocalAddress(), socket->getPeerAddress()),
                  std::pair(String(host), String(host)));
        EXPECT_EQ(socket->getPeerPort(), listener.port());
        socket->shutdownOutput();
        expectEach<IoException>(
            {[&] { socket->getOutputStream()->write("more"); },
             [&] { socket->setKeepAlive(1s, 1s, 0); },
             [] { TcpSocketInputStream(makeReference<TcpSocketHandle>(1u << 20)).available(); }});
        EXPECT_EQ(heard(*peer), "answer");
        EXPECT_EQ(in->read(), -1); // also when the connection is no more
    }
}

TEST(TcpSocket, APeerThatResetsIsReportedWithoutASignal) {
    const LoopbackServer listener;
    const auto socket = connectTo(listener.port());
    const auto peer = listener.accept();
    resetOnClose(*peer);
    peer->close();
    for (int i = 0; i < 2; ++i) // of which the system reports the first
        EXPECT_EQ(descriptionOf<IoException>([&] { socket->getInputStream()->read(); }),
                  "TcpSocketInputStream::read " + textOf(QX_E_SOCKET_ECONNRESET));
    EXPECT_EQ(descriptionOf<IoException>([&] { socket->getOutputStream()->write("x"); }),
              "TcpSocketOutputStream::write " + textOf(QX_E_SOCKET_ECONNRESET));
    Connection cut; // in the middle of a write, which waits for room then
    std::jthread reader([&] {
        std::vector<char> room(1 << 20);
        for (int32_t count = 0; count < 1 << 20;)
            count += cut.server->getInputStream()->read(room.data(), 1 << 20);
        cut.server.reset();
    });
    EXPECT_THROW(cut.client->getOutputStream()->write(std::string(32 << 20, 'x')), IoException);
}

TEST(TcpSocket, ATimeOutEndsReadsAndSparesTheConnection) {
    Connection connection;
    connection.client->setSoTimeout(100);
    const auto in = connection.client->getInputStream();
    char byte;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(descriptionOf<io::TimeoutException>([&] { in->read(&byte, 1); }), "socket timeout");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
    connection.server->getOutputStream()->write("x", 1);
    EXPECT_EQ(in->skip(2), 1) << "what came in time counts";
    connection.client->setSoTimeout(1us);
    EXPECT_THROW(in->read(&byte, 1), io::TimeoutException); // rounded up: not without limit
    EXPECT_THROW(connection.client->setSoTimeout(600h), RangeErrorException);
    // Longer than the microseconds of 32 bits; 0 and less waits without limit again.
    for (const int milliseconds : {INT_MAX, 0, -1}) {
        connection.client->setSoTimeout(std::chrono::milliseconds(milliseconds));
        BlockingThread reader([&] { in->read(&byte, 1); });
        reader.awaitBlocked();
        EXPECT_FALSE(reader.isFinished());
        connection.server->getOutputStream()->write("x", 1);
    }
}

TEST(TcpSocket, StreamsKeepTheConnectionAndTheLastOneEndsIt) {
    Connection connection;
    Reference<io::InputStream> streams[4]; // threads that ask at once get one
    inThreads(4, [&](int thread) { streams[thread] = connection.client->getInputStream(); });
    auto in = connection.client->getInputStream();
    auto out = connection.client->getOutputStream();
    for (auto& stream : streams) {
        EXPECT_EQ(in, stream);
        stream.reset();
    }
    EXPECT_EQ(out, connection.client->getOutputStream());
    connection.client.reset();
    out->write("ping");
    char bytes[5]; // it does not wait until this is full
    EXPECT_EQ(connection.server->getInputStream()->read(bytes, 5), 4);
    out.reset();
    connection.server->setSoTimeout(1);
    const auto serverIn = connection.server->getInputStream();
    EXPECT_THROW(serverIn->read(bytes, 1), io::TimeoutException);
    in.reset();
    connection.server->setSoTimeout(0);
    EXPECT_EQ(serverIn->read(bytes, 1), -1);
}

TEST(TcpSocket, AChildGoesOnWithTheConnection) {
    Connection connection;
    ChildProcess child("socket-heir", {connection.client->getInheritanceId().toUtf8()});
    connection.client.reset();
    EXPECT_EQ(readAll(*connection.server->getInputStream()), "from the child");
    EXPECT_EQ(child.join(), 0);
}

TEST(TcpSocket, FailuresToBindAndConnectSayWhatFailed) {
    const uint16_t port = LoopbackServer().port(); // nobody listens on it any more
    EXPECT_EQ(descriptionOf([&] { connectTo(port); }),
              "TcpSocket::TcpSocket Unable to connect to 127.0.0.1 " +
                  textOf(QX_E_SOCKET_ECONNREFUSED));
    const TcpServerSocket first(port, 5);
    EXPECT_EQ(descriptionOf([&] { TcpServerSocket(port, 5); }),
              std::string("TcpServerSocket: ") + std::strerror(EADDRINUSE));
}

TEST(TcpSocket, StartAndEndAreForTheWholeProcess) {
    TcpSocket::init();
    EXPECT_TRUE(TcpSocket::getInitialized());
    TcpSocket::uninit();
    TcpSocket::uninit();
    EXPECT_FALSE(TcpSocket::getInitialized());
    Connection connection;
    EXPECT_TRUE(TcpSocket::getInitialized());
    // Accepting starts it as well.
    const auto peer = connectTo(ipv4(127, 0, 0, 1, connection.port));
    TcpSocket::uninit();
    EXPECT_NE(connection.listener->accept(), nullptr);
    EXPECT_EQ(QXSocketCleanUp(), 0); // somebody takes the start
    expectEach("TcpSocket::uninit " + textOf(QX_E_SOCKET_NOTINITIALISED), {&TcpSocket::uninit});
    EXPECT_EQ(QXSocketStartUp(0x0202, nullptr), 0);
    EXPECT_TRUE(TcpSocket::getInitialized());
    EXPECT_EQ(String(connection.client->getClass()->getName()), u"qx::net::TcpSocket");
    EXPECT_EQ(String(connection.listener->getClass()->getName()), u"qx::net::TcpServerSocket");
}

TEST(TcpSocket, TriesAllAddressesWithinOneLimit) {
    const SignalStorm storm;
    const auto full = makeServer(), other = makeServer();
    qx_sockaddr_union place{};
    size_t length = sizeof place;
    expectEach(0, {full->bindListAddHost("127.0.0.2", 0), full->bind(), full->listen(1),
                   full->saveBoundAddresses(),
                   full->getBoundAddress(0, reinterpret_cast<signed char*>(&place), &length)});
    const uint16_t port = networkOrder(place.ipv4.port);
    expectEach(0, {other->bindListAddHost("127.0.0.1", port), other->bind(), other->listen(0)});
    std::vector<Reference<TcpSocket>> filling; // until nobody answers any more
    while (failureOf([&] { filling.push_back(TcpSocket::connect("127.0.0.2", port, 50ms)); }) ==
           0) {
    }
    const struct {
        std::vector<const char*> addresses;
        ENUM_QX_E_SOCKET code;
        std::chrono::milliseconds least = 0ms, limit = 1min;
    } cases[] = {
        {{"127.0.0.1"}, 0},
        {{"127.0.0.3", "127.0.0.1"}, 0}, // where nobody listens
        {{"127.0.0.2", "127.0.0.1"}, 0, 100ms, 200ms},
        {{"127.0.0.3", "127.0.0.2"}, QX_E_SOCKET_ETIMEDOUT, 50ms, 50ms},
        {{"127.0.0.2", "127.0.0.3"}, QX_E_SOCKET_ETIMEDOUT, 25ms, 50ms},
        {{"127.0.0.3", "127.0.0.4"}, QX_E_SOCKET_ECONNREFUSED},
        {{}, QX_E_SOCKET_EAI_NONAME},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        someAddresses = c.addresses;
        const auto begin = std::chrono::steady_clock::now();
        TcpClientSocket2* made = nullptr;
        EXPECT_EQ(TcpClientSocket2::connectTcpClientSocket2(SomeHost, port, c.limit, &made),
                  c.code);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, c.least);
        const std::unique_ptr<TcpClientSocket2> client(made);
        String peer, samePeer;
        if (client) {
            client->getPeerAddress()->getAddressStr(peer);
            EXPECT_EQ(::fcntl(static_cast<int>(client->getId()), F_GETFL) & O_NONBLOCK, 0);
        }
        const std::string failure = descriptionOf(
            [&] { samePeer = TcpSocket::connect(SomeHost, port, c.limit)->getPeerAddress(); });
        EXPECT_EQ(failure, c.code == 0 ? "nothing thrown"
                           : c.addresses.empty()
                               ? "Unknown host: some.test"
                               : "Unable to connect to some.test " + textOf(c.code));
        for (const String& each : {peer, samePeer})
            EXPECT_EQ(each, c.code == 0 ? u"127.0.0.1" : u"");
    }
    someAddresses = {"127.0.0.2"};
    EXPECT_THROW(TcpSocket::connect(SomeHost, port, 1ms), io::TimeoutException);
}

TEST(TcpServerSocket, AcceptsWithALimitPastFailuresAndUntilItIsStoppedFromAnotherThread) {
    TcpServerSocket server(0, 5);
    EXPECT_EQ(server.accept(1ms), nullptr);
    const auto early = connectTo(server.getPort());
    std::string failure;
    if (!Sanitized) { // which needs descriptors to look at the exception
        withoutDescriptors([&] { failure = descriptionOf([&] { server.accept(); }); });
        EXPECT_EQ(failure, "TcpServerSocket::accept WSERROR 10024");
    }
    EXPECT_NE(server.accept(), nullptr);
    const auto served = [&] { return connectTo(server.getPort())->getInputStream()->read(); };
    {
        std::list<BlockingThread> waiting;
        for (int i = 0; i < 4; ++i) {
            waiting.emplace_back([&] {
                while (const auto connection = server.accept())
                    connection->getOutputStream()->write("x", 1);
            });
        }
        for (const auto& each : waiting)
            each.awaitBlocked();
        for (int i = 0; i < 20; ++i) // one of them is quicker, and the others wait on
            EXPECT_EQ(served(), 'x');
        EXPECT_TRUE(holdsInFork([&] { return server.stop(), server.accept() == nullptr; }));
        EXPECT_EQ(served(), 'x');
        EXPECT_FALSE(server.isStopped());
        server.stop();
    }
    EXPECT_TRUE(server.isStopped());
    const auto late = connectTo(server.getPort());
    EXPECT_EQ(server.accept(1h), nullptr);
}
