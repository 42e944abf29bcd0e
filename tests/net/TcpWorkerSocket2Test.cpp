#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>

#include <qx/core/runtime/GlobalLock.h>
#include <qx/core/runtime/Startup.h>
#include <qx/platform/result.h>

#include "tests/net/DescriptorLimit.h"
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
        {"127.0.0.1", 8080, 0, 0},
        {"127.0.0.1", 65535, 0, 0},
        {"127.0.0.1", 8080, 1, QX_E_SOCKET_EADDRNOTAVAIL},
        {"127.0.0.1", 8080, 4'000'000'000u, QX_E_SOCKET_EADDRNOTAVAIL},
        {"127.0.0.1", 0, 0, QX_E_SOCKET_EINVAL},
        {"", 8080, 0, QX_E_SOCKET_EAI_NONAME},
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
    EXPECT_EQ(closed->connect(&place, sizeof place), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->connect(nullptr, 0), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->bind(&place, sizeof place), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->getLocalAddress(&out, &length), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->recv(&byte, 1, 0, &count), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->send(&byte, 1, 0, &count), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->getsockopt(QX_SOL_SOCKET, QX_SO_TYPE, &byte, &length), QX_E_SOCKET_ENOTSOCK);
    EXPECT_EQ(closed->setsockopt(QX_SOL_SOCKET, QX_SO_TYPE, &byte, 1), QX_E_SOCKET_ENOTSOCK);
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
    for (const auto& [set, get] :
         {std::pair(&QxNetTcpClientSocketSetsockopt, &QxNetTcpClientSocketGetsockopt),
          std::pair(&QxNetTcpWorkerSocketSetsockopt, &QxNetTcpWorkerSocketGetsockopt)}) {
        int32_t value = 1;
        int length = sizeof value;
        char* const data = reinterpret_cast<char*>(&value);
        EXPECT_EQ(set(pair.client.get(), QX_IPPROTO_TCP, QX_TCP_NODELAY, data, length), 0);
        value = 0;
        EXPECT_EQ(get(pair.client.get(), QX_IPPROTO_TCP, QX_TCP_NODELAY, data, &length), 0);
        EXPECT_EQ(std::exchange(value, 0), 1);
        EXPECT_EQ(set(pair.client.get(), QX_IPPROTO_TCP, QX_TCP_NODELAY, data, length), 0);
        value = 1;
        EXPECT_EQ(get(pair.client.get(), QX_SOL_SOCKET, QX_SO_ERROR, data, &length), 0);
        EXPECT_EQ(value, 0);
    }
}

TEST(TcpWorkerSocket2, AnOrderlyCloseLeavesTheLastErrorToTell) {
    Pair pair;
    pair.worker->close();
    std::thread([&] { // without an earlier error
        char byte;
        int64_t count = -1;
        EXPECT_EQ(pair.client->recv(&byte, 1, 0, &count), 0);
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

TEST(TcpWorkerSelect, WaitsNoShorterThanAsked) {
    Pair pair;
    const auto begin = std::chrono::steady_clock::now();
    const Selected selected(pair.client.get(), nullptr, pair.client.get(), 100);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
    EXPECT_EQ(selected.result, 0);
    EXPECT_EQ(selected.read, pair.client.get()) << "the arrays are as they were";
}

TEST(TcpWorkerSelect, TakesDurationsAsLimits) {
    using namespace std::chrono;
    const struct {
        qx_timeval limit;
        int32_t seconds;
        int32_t microseconds;
    } cases[] = {
        {TcpWorkerSocket2::timeLimit(milliseconds(1500)), 1, 500'000},
        {TcpWorkerSocket2::timeLimit(nanoseconds(1)), 0, 1},
        {TcpWorkerSocket2::timeLimit(seconds(-1)), 0, 0},
        {TcpWorkerSocket2::timeLimit(hours::max()), INT32_MAX, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.limit.seconds, c.seconds);
        EXPECT_EQ(c.limit.microseconds, c.microseconds);
    }
}

TEST(TcpWorkerSelect, KeepsTheReadyOnesInPlace) {
    Pair first;
    Pair second;
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

    uint32_t none = 0;
    EXPECT_EQ(
        TcpWorkerSocket2::select(nullptr, &none, nullptr, &none, nullptr, &none, nullptr, &result),
        QX_E_SOCKET_EINVAL)
        << "there is nothing to wait for";
    readCount = 3; // the first slot is null now
    EXPECT_EQ(TcpWorkerSocket2::select(read, &readCount, nullptr, &none, nullptr, &none, nullptr,
                                       &result),
              QX_E_SOCKET_ENOTSOCK);
    readCount = 64;
    EXPECT_EQ(TcpWorkerSocket2::select(read, &readCount, nullptr, &none, nullptr, &none, nullptr,
                                       &result),
              QX_E_SOCKET_EMFILE);
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

TEST(TcpWorkerSelect, ReachesDescriptorsBeyondTheSystemsSets) {
    const DescriptorLimit limit = DescriptorLimit::raised(2100);
    if (!limit.isSet())
        GTEST_SKIP() << "no such descriptors";
    Pair pair;
    const int high = ::fcntl(static_cast<int>(pair.client->getId()), F_DUPFD_CLOEXEC, 2000);
    ASSERT_GE(high, 2000);
    TcpWorkerSocket2 client(static_cast<uint64_t>(high), nullptr);
    EXPECT_EQ(Selected(&client, nullptr, &client, 0).result, 0);
    say(*pair.worker, "x");
    EXPECT_EQ(Selected(&client, &client, &client).result, 2);
    char byte = 0;
    int64_t count = 0;
    EXPECT_EQ(client.recv(&byte, 1, 0, &count), 0);
    EXPECT_EQ(byte, 'x');
}

} // namespace
