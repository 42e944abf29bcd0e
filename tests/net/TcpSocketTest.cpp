#include <cerrno>
#include <climits>

#include <qx/core/runtime/Class.h>
#include <qx/io/IoException.h>
#include <qx/net/TcpServerSocket.h>
#include <qx/net/TcpSocket.h>
#include <qx/net/TcpSocketInputStream.h>
#include <qx/net/TcpSocketOutputStream.h>
#include <qx/net/socketerror.h>

#include "tests/exec/ExecTesting.h"
#include "tests/net/Loopback.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qx::net;
using namespace qxtest;
using io::IoException;

namespace {

Reference<TcpSocket> connectTo(uint16_t port, const char16_t* host = u"127.0.0.1") {
    return makeReference<TcpSocket>(String(host), port);
}

/// A port that nobody listens on for the moment.
uint16_t freePort() { return LoopbackServer().port(); }

/// A server of this library with a client connected to it.
struct Connection {
    uint16_t port = freePort();
    Reference<TcpServerSocket> listener = makeReference<TcpServerSocket>(port, 5);
    Reference<TcpSocket> client = connectTo(port);
    Reference<TcpSocket> server = listener->accept();
};

void send(io::OutputStream& out, const std::string& text) {
    out.write(text.data(), static_cast<int32_t>(text.size()));
}

std::string textOf(ENUM_QX_E_SOCKET code) {
    return String(QXGetDescriptionFromQX_E_SOCKET(code)).toUtf8();
}

const ChildEntry s_heir("socket-heir", [](const std::vector<std::string>& arguments) {
    const std::string id = arguments[0], prefix = "qx.net.tcp.socket=";
    if (!id.starts_with(prefix))
        return 1;
    TcpSocketOutputStream out(
        makeReference<TcpSocketHandle>(std::stoull(id.substr(prefix.size()))));
    send(out, "from the child");
    return 0;
});

} // namespace

TEST(TcpSocket, TalksBothWaysUntilThePeerHasSentItsEnd) {
    const bool hasIpv6 = hasIpv6Loopback();
    const auto listener = hasIpv6 ? LoopbackServer::onOnePort() : LoopbackServer();
    for (const char16_t* const host : {u"127.0.0.1", u"::1"}) {
        if (host[0] == u':' && !hasIpv6)
            continue;
        auto socket = connectTo(listener.port(), host);
        const auto peer = listener.accept();
        say(*peer, "last words");
        EXPECT_EQ(peer->shutdownOutput(), 0);
        EXPECT_EQ(readAll(*socket->getInputStream()), "last words");
        EXPECT_EQ(socket->getInputStream()->read(), -1);
        char byte;
        EXPECT_EQ(socket->getInputStream()->read(&byte, 0), 0);
        send(*socket->getOutputStream(), "answer");
        socket.reset();
        EXPECT_EQ(heard(*peer), "answer");
    }
}

TEST(TcpSocket, APeerThatResetsIsReportedWithoutASignal) {
    const LoopbackServer listener;
    const auto socket = connectTo(listener.port());
    const auto peer = listener.accept();
    resetOnClose(*peer);
    peer->close();
    EXPECT_EQ(descriptionOf<IoException>([&] { socket->getInputStream()->read(); }),
              "TcpSocketInputStream::read " + textOf(QX_E_SOCKET_ECONNRESET));
    EXPECT_TRUE(descriptionOf<IoException>([&] {
                    send(*socket->getOutputStream(), "x");
                }).starts_with("TcpSocketOutputStream::write "));
}

TEST(TcpSocket, ATimeOutEndsReadsAndSparesTheConnection) {
    Connection connection;
    connection.client->setSoTimeout(100);
    const auto in = connection.client->getInputStream();
    char byte;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(descriptionOf<io::TimeoutException>([&] { in->read(&byte, 1); }), "socket timeout");
    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_GE(time, std::chrono::milliseconds(100));
    EXPECT_LT(time, std::chrono::seconds(50)) << "a machine may be late, but not that late";
    connection.server->getOutputStream()->write("x", 1);
    EXPECT_EQ(in->read(&byte, 1), 1);
    connection.client->setSoTimeout(std::chrono::microseconds(1));
    EXPECT_THROW(in->read(&byte, 1), io::TimeoutException); // rounded up: not without limit
    EXPECT_THROW(connection.client->setSoTimeout(std::chrono::hours(600)), RangeErrorException);
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
    Reference<io::InputStream> streams[4];
    {
        std::vector<std::jthread> threads; // which ask at once get one stream
        for (auto& stream : streams)
            threads.emplace_back([&] { stream = connection.client->getInputStream(); });
    }
    auto in = connection.client->getInputStream();
    auto out = connection.client->getOutputStream();
    for (auto& stream : streams) {
        EXPECT_EQ(in, stream);
        stream.reset();
    }
    EXPECT_EQ(out, connection.client->getOutputStream());
    connection.client.reset();
    send(*out, "ping");
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
    const uint16_t port = freePort();
    EXPECT_EQ(descriptionOf([&] { connectTo(port); }),
              "TcpSocket::TcpSocket Unable to connect to 127.0.0.1 " +
                  textOf(QX_E_SOCKET_ECONNREFUSED));
    EXPECT_EQ(descriptionOf([&] { connectTo(port, u""); }), "Unknown host: ");
    const String cut(u"127.0.0.1\0x", 11);
    EXPECT_EQ(descriptionOf([&] { TcpSocket(cut, port); }),
              std::string("Unknown host: 127.0.0.1\0x", 25));
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
    EXPECT_TRUE(TcpSocket::getInitialized());
    EXPECT_EQ(String(connection.client->getClass()->getName()), u"qx::net::TcpSocket");
    EXPECT_EQ(String(connection.listener->getClass()->getName()), u"qx::net::TcpServerSocket");
}

TEST(TcpServerSocket, OutlivesAShortageOfDescriptors) {
    if (Sanitized)
        GTEST_SKIP() << "a sanitizer needs descriptors to look at the exception";
    Connection connection;
    const auto waiting = connectTo(connection.port);
    std::string failure;
    {
        const NoDescriptors none;
        failure = descriptionOf([&] { connection.listener->accept(); });
    }
    EXPECT_EQ(failure, "TcpServerSocket::accept WSERROR 10024");
    send(*waiting->getOutputStream(), "x");
    EXPECT_EQ(connection.listener->accept()->getInputStream()->read(), 'x');
}
