#include <chrono>
#include <fcntl.h>
#include <thread>
#include <utility>

#include <qx/core/runtime/GlobalLock.h>
#include <qx/core/runtime/Startup.h>
#include <qx/platform/result.h>

#include "tests/net/Loopback.h"
#include "tests/support/ChildProcess.h"

namespace {

using namespace qx::net;
using namespace qxtest;

/// Runs select over up to one socket in each array; null takes none. @p code is what it returns.
struct Selected {
    TcpWorkerSocket2 *read, *write, *exception;
    int32_t result = -7;
    ENUM_QX_E_SOCKET code;

    Selected(TcpWorkerSocket2* r, TcpWorkerSocket2* w, TcpWorkerSocket2* e,
             int32_t milliseconds = 5000)
        : read(r), write(w), exception(e) {
        const qx_timeval limit{milliseconds / 1000, milliseconds % 1000 * 1000};
        uint32_t counts[] = {r != nullptr, w != nullptr, e != nullptr};
        code = QxNetTcpWorkerSocketStaticSelect(
            r ? &read : nullptr, &counts[0], w ? &write : nullptr, &counts[1],
            e ? &exception : nullptr, &counts[2], &limit, &result);
        if (code == 0 && result > 0) {
            EXPECT_EQ(counts[0], read != nullptr);
            EXPECT_EQ(counts[1], write != nullptr);
            EXPECT_EQ(counts[2], exception != nullptr);
        }
    }
};

TEST(TcpSocket2, StartsOnceAndStartsAgain) {
    int32_t major = 0, minor = 0;
    EXPECT_EQ(QxNetTcpSocketStaticInit(), 0);
    EXPECT_EQ(TcpSocket2::init(), 0);
    EXPECT_EQ(QxNetTcpSocketStaticUninit(), 0);
    EXPECT_EQ(QxNetTcpSocketStaticGetVersion(&major, &minor), 0);
    EXPECT_EQ(major, 2);
    EXPECT_EQ(minor, 2);
    EXPECT_EQ(TcpSocket2::uninit(), 0);
    EXPECT_EQ(TcpSocket2::uninit(), 0);
    EXPECT_EQ(QXSocketCleanUp(), QX_SOCKET_ERROR) << "counted once";
    EXPECT_NE(makeClient(), nullptr) << "what needs the socket system starts it";
    EXPECT_EQ(QXSocketCleanUp(), 0);
    EXPECT_EQ(TcpSocket2::uninit(), QX_E_SOCKET_NOTINITIALISED) << "somebody took our start";
    EXPECT_EQ(TcpSocket2::uninit(), QX_E_SOCKET_NOTINITIALISED) << "it stays to be undone";
    EXPECT_EQ(QXSocketStartUp(0x0202, nullptr), 0);
    EXPECT_EQ(TcpSocket2::uninit(), 0);
}

const ChildEntry shutDownEntry("shutDownTheLibrary", [](const auto&) {
    // The program's own start-up counts on top of the one at loading.
    if (TcpSocket2::init() != 0 || QXCLLibUninit() != 0 || qx::g_pGlobalLock != nullptr)
        return 1;
    if (QXSocketCleanUp() != QX_SOCKET_ERROR)
        return 2; // it was not cleaned up
    if (QXCLLibInit() != 0 || TcpSocket2::init() != 0 || QXSocketCleanUp() != 0)
        return 3;
    if (QXCLLibUninit() != QX_E_FAIL || qx::g_pGlobalLock == nullptr)
        return 4; // a failure to clean up leaves the lock
    return 0;
});

TEST(TcpSocket2, IsCleanedUpWhenTheLibraryShutsDown) {
    EXPECT_EQ(ChildProcess("shutDownTheLibrary").join(), 0);
}

TEST(TcpSocket2, ResolvesToOneAddress) {
    const struct {
        const char* host;
        uint16_t port;
        uint32_t index;
        ENUM_QX_E_SOCKET code;
    } cases[] = {
        {"127.0.0.1", 65535, 0, 0},
        {"127.0.0.1", 8080, 1, QX_E_SOCKET_EADDRNOTAVAIL},
        {"127.0.0.1", 0, 0, QX_E_SOCKET_EINVAL},
        {"not a host", 8080, 0, QX_E_SOCKET_EAI_NONAME},
    };
    const qx_addrinfo hints{QX_AI_NUMERICHOST, 0, QX_SOCK_STREAM, 0, 0, {}, {}, {}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.host << " " << c.port << " " << c.index);
        qx_sockaddr_union out{};
        EXPECT_EQ(QxNetTcpSocketStaticGetaddrinfo(c.host, c.port, &hints, c.index, &out), c.code);
        EXPECT_EQ(out.ipv4.port, c.code == 0 ? networkOrder(c.port) : 0);
    }
    qx_sockaddr_union out{};
    EXPECT_EQ(TcpSocket2::getAddrInfo("fe80::1%1", 80, nullptr, 0, &out), 0);
    EXPECT_EQ(out.family, QX_AF_INET6);
    EXPECT_EQ(out.ipv6.scopeId, 1u);
}

TEST(TcpClientSocket2, ReportsWhatItCannotMakeOrReach) {
    TcpClientSocket2* client = nullptr;
    EXPECT_EQ(TcpClientSocket2::createTcpClientSocket2(1, QX_SOCK_STREAM, 0, &client),
              QX_E_SOCKET_EAFNOSUPPORT);
    EXPECT_EQ(client, nullptr);
    const uint16_t nobody = LoopbackServer().port();
    const qx_sockaddr_union place = ipv4(127, 0, 0, 1, nobody);
    EXPECT_EQ(makeClient()->connect(&place, sizeof place), QX_E_SOCKET_ECONNREFUSED);
    EXPECT_EQ(makeClient()->connect(&place, (size_t{1} << 32) + 15), QX_E_SOCKET_EFAULT)
        << "32 bits count";

    const auto closed = makeClient();
    EXPECT_EQ(closed->close(), 0);
    EXPECT_EQ(closed->close(), 0);
    EXPECT_EQ(closed->getId(), 0u);
    EXPECT_EQ(closed->getClosed(), 1);
    int64_t count = 0;
    char byte = 0;
    int length = 1;
    qx_sockaddr_union out{};
    for (const ENUM_QX_E_SOCKET code :
         {closed->connect(&place, sizeof place), closed->connect(nullptr, 0),
          closed->bind(&place, sizeof place), closed->getLocalAddress(&out, &length),
          closed->recv(&byte, 1, 0, &count), closed->send(&byte, 1, 0, &count),
          closed->getsockopt(QX_SOL_SOCKET, QX_SO_TYPE, &byte, &length),
          closed->setsockopt(QX_SOL_SOCKET, QX_SO_TYPE, &byte, 1)})
        EXPECT_EQ(code, QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->shutdownBoth(), 0);
    EXPECT_EQ(Selected(closed.get(), nullptr, nullptr).code, QX_E_SOCKET_ENOTSOCK);
}

TEST(TcpWorkerSocket2, EachDirectionEndsOnce) {
    Pair pair;
    TcpClientSocket2* client = pair.client.release();
    EXPECT_NE(QxNetTcpSocketGetId(client), 0u);
    EXPECT_EQ(QxNetTcpSocketShutdownInput(client), 0);
    EXPECT_EQ(client->getShutdownIn(), 1);
    EXPECT_EQ(client->getShutdownOut(), 0);
    say(*client, "the other lives");
    EXPECT_EQ(QxNetTcpSocketShutdownOutput(client), 0);
    EXPECT_EQ(client->shutdownOutput(), 0);
    EXPECT_EQ(QxNetTcpSocketShutdownBoth(client), 0);
    int64_t count = 0;
    EXPECT_EQ(client->send("x", 1, 0, &count), QX_E_SOCKET_ESHUTDOWN);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(heard(*pair.worker), "the other lives");
    EXPECT_EQ(pair.worker->shutdownOutput(), 0);
    EXPECT_EQ(pair.worker->shutdownInput(), 0);
    EXPECT_EQ(QxNetTcpSocketClose(client), 0);
    EXPECT_EQ(QxNetTcpSocketGetId(client), 0u);
    TcpSocket2* socket = client;
    EXPECT_EQ(QxNetTcpSocketStaticDestroy(&socket), 0);
    EXPECT_EQ(socket, nullptr);
    EXPECT_EQ(QxNetTcpSocketShutdownBoth(makeClient().get()), 0) << "not connected is no failure";
}

TEST(TcpWorkerSocket2, PassesBytesAndOptionsOn) {
    Pair pair;
    int64_t count = 0;
    EXPECT_EQ(QxNetTcpWorkerSocketSend(pair.worker.get(), "answer", 6, 0, &count), 0);
    char bytes[6];
    EXPECT_EQ(QxNetTcpClientSocketRecv(pair.client.get(), bytes, 6, QX_MSG_WAITALL, &count), 0);
    EXPECT_EQ(std::string(bytes, 6), "answer");
    int32_t value = 0;
    int length = sizeof value;
    char* const data = reinterpret_cast<char*>(&value);
    for (const int32_t wanted : {1, 0}) {
        value = wanted;
        EXPECT_EQ((wanted ? QxNetTcpClientSocketSetsockopt : QxNetTcpWorkerSocketSetsockopt)(
                      pair.client.get(), QX_IPPROTO_TCP, QX_TCP_NODELAY, data, length),
                  0);
        value = 7;
        EXPECT_EQ((wanted ? QxNetTcpClientSocketGetsockopt : QxNetTcpWorkerSocketGetsockopt)(
                      pair.client.get(), QX_IPPROTO_TCP, QX_TCP_NODELAY, data, &length),
                  0);
        EXPECT_EQ(value, wanted);
    }
    pair.worker->close();
    std::thread([&] { // without an earlier error, which an orderly end would tell again
        EXPECT_EQ(pair.client->recv(bytes, 1, 0, &count), 0);
        EXPECT_EQ(count, 0);
    })
        .join();
}

TEST(TcpWorkerSocket2, AnAbruptResetHasItsCode) {
    Pair pair;
    resetOnClose(*pair.worker);
    pair.worker->close();
    // A connection that broke is not exceptional: reading tells.
    const Selected selected(pair.client.get(), nullptr, pair.client.get());
    EXPECT_EQ(selected.code, 0);
    EXPECT_EQ(selected.result, 1);
    EXPECT_EQ(selected.exception, nullptr);
    ENUM_QX_E_SOCKET code = 0;
    EXPECT_EQ(heard(*pair.client, &code), "");
    EXPECT_EQ(code, QX_E_SOCKET_ECONNRESET);
    int64_t count = 0;
    EXPECT_EQ(pair.client->send("x", 1, 0, &count), QX_E_SOCKET_ECONNRESET) << "and no signal";
    EXPECT_EQ(pair.client->shutdownOutput(), 0) << "not being connected is no failure";
}

TEST(TcpWorkerSelect, TakesDurationsAsLimits) {
    using namespace std::chrono;
    const auto limit = [](auto duration) {
        const qx_timeval made = TcpWorkerSocket2::timeLimit(duration);
        return std::pair(made.seconds, made.microseconds);
    };
    EXPECT_EQ(limit(milliseconds(1500)), std::pair(1, 500'000));
    EXPECT_EQ(limit(nanoseconds(1)), std::pair(0, 1));
    EXPECT_EQ(limit(seconds(-1)), std::pair(0, 0));
    EXPECT_EQ(limit(hours::max()), std::pair(INT32_MAX, 0));
}

TEST(TcpWorkerSelect, KeepsTheReadyOnesInPlace) {
    Pair first;
    Pair second;
    const Selected none(first.client.get(), nullptr, first.client.get(), 1);
    EXPECT_EQ(none.result, 0);
    EXPECT_EQ(none.read, first.client.get()) << "the arrays are as they were";
    say(*second.worker, "x");
    TcpWorkerSocket2* read[] = {first.client.get(), second.client.get(), second.client.get()};
    TcpWorkerSocket2* write[] = {first.client.get()};
    uint32_t readCount = 3, writeCount = 1, exceptionCount = 5; // without an array no count matters
    int32_t result = 0;
    EXPECT_EQ(QxNetTcpClientSocketStaticSelect(read, &readCount, write, &writeCount, nullptr,
                                               &exceptionCount, nullptr, &result),
              0);
    EXPECT_EQ(result, 2) << "a socket given twice is one";
    EXPECT_EQ(readCount, 2u);
    EXPECT_EQ(writeCount, 1u);
    EXPECT_EQ(exceptionCount, 0u);
    EXPECT_EQ(read[0], nullptr);
    EXPECT_EQ(read[1], second.client.get());
    EXPECT_EQ(read[2], second.client.get());

    const auto codeOf = [&](TcpWorkerSocket2** sockets, uint32_t& count) {
        uint32_t noCount = 0;
        return TcpWorkerSocket2::select(sockets, &count, nullptr, &noCount, nullptr, &noCount,
                                        nullptr, &result);
    };
    EXPECT_EQ(codeOf(nullptr, readCount), QX_E_SOCKET_EINVAL) << "there is nothing to wait for";
    EXPECT_EQ(codeOf(read, readCount = 3), QX_E_SOCKET_ENOTSOCK) << "the first slot is null now";
    EXPECT_EQ(codeOf(read, readCount = 64), QX_E_SOCKET_EMFILE);
    EXPECT_EQ(readCount, 0u);
}

TEST(TcpWorkerSelect, TellsWhyAConnectionCouldNotBeMade) {
    const uint16_t nobody = LoopbackServer().port();
    const auto client = makeClient();
    ::fcntl(static_cast<int>(client->getId()), F_SETFL, O_NONBLOCK);
    const qx_sockaddr_union place = ipv4(127, 0, 0, 1, nobody);
    EXPECT_EQ(client->connect(&place, sizeof place), QX_E_SOCKET_EWOULDBLOCK);
    const Selected selected(nullptr, nullptr, client.get());
    EXPECT_EQ(selected.code, QX_E_SOCKET_ECONNREFUSED);
    EXPECT_EQ(selected.exception, client.get());
}

} // namespace
