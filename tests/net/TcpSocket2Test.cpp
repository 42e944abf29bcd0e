#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>

#include "tests/net/Loopback.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/RefusedCall.h"
#include "tests/support/SignalStorm.h"

using namespace qx::net;
using namespace qxtest;
using namespace std::chrono_literals;

namespace {

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
        EXPECT_TRUE(code != 0 || result <= 0 ||
                    std::tuple(counts[0] == 1, counts[1] == 1, counts[2] == 1) ==
                        std::tuple(read != nullptr, write != nullptr, exception != nullptr));
    }
};

TEST(TcpSocket2, StartsOnceAndStartsAgain) {
    int32_t major = 0, minor = 0;
    expectEach(0, {QxNetTcpSocketStaticInit(), TcpSocket2::init(), QxNetTcpSocketStaticUninit(),
                   QxNetTcpSocketStaticGetVersion(&major, &minor), TcpSocket2::uninit(),
                   TcpSocket2::uninit()});
    EXPECT_EQ(std::pair(major, minor), std::pair(2, 2));
    EXPECT_EQ(QXSocketCleanUp(), QX_SOCKET_ERROR) << "counted once";
    EXPECT_NE(makeClient(), nullptr) << "what needs the socket system starts it";
    EXPECT_EQ(QXSocketCleanUp(), 0);
    // Somebody took our start, and it stays to be undone.
    expectEach(QX_E_SOCKET_NOTINITIALISED, {TcpSocket2::uninit(), TcpSocket2::uninit()});
    EXPECT_EQ(QXSocketStartUp(0x0001, nullptr), 0) << "an older version";
    EXPECT_EQ(QXSocketStartUp(0x0200, nullptr), QX_SOCKET_ERROR) << "0.2";
    std::thread([] { EXPECT_EQ(QXSocketLastError(), 0) << "each thread has its own"; }).join();
    EXPECT_EQ(QXSocketLastError(), 10092);
    EXPECT_EQ(TcpSocket2::uninit(), 0);
}

QX_TEST_IN_CHILD(TcpSocket2, IsCleanedUpWhenTheLibraryShutsDown) {
    // The program's own start-up counts on top of the one at loading.
    expectEach(0, {TcpSocket2::init(), QXCLLibUninit()});
    EXPECT_EQ(qx::g_pGlobalLock, nullptr);
    EXPECT_EQ(QXSocketCleanUp(), QX_SOCKET_ERROR) << "it was not cleaned up";
    expectEach(0, {QXCLLibInit(), TcpSocket2::init(), QXSocketCleanUp()});
    EXPECT_EQ(QXCLLibUninit(), QX_E_FAIL);
    EXPECT_NE(qx::g_pGlobalLock, nullptr) << "a failure to clean up leaves the lock";
}

TEST(TcpSocket2, ResolvesToOneAddress) {
    const qx_addrinfo hints{QX_AI_NUMERICHOST, 0, QX_SOCK_STREAM, 0, 0, {}, {}, {}};
    qx_sockaddr_union out{};
    const auto resolve = [&](const char* host, uint16_t port, uint32_t index) {
        return QxNetTcpSocketStaticGetaddrinfo(host, port, &hints, index, &out);
    };
    EXPECT_EQ(resolve("127.0.0.1", 65535, 0), 0);
    EXPECT_EQ(out.ipv4.port, 65535);
    EXPECT_EQ(resolve("127.0.0.1", 8080, 1), QX_E_SOCKET_EADDRNOTAVAIL);
    EXPECT_EQ(resolve("127.0.0.1", 0, 0), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(resolve("not a host", 8080, 0), QX_E_SOCKET_EAI_NONAME);
    EXPECT_EQ(TcpSocket2::getAddrInfo("fe80::1%1", 80, nullptr, 0, &out), 0);
    EXPECT_EQ(std::tuple(out.family, out.ipv6.port, out.ipv6.scopeId),
              std::tuple(QX_AF_INET6, networkOrder(80), 1u));
}

TEST(TcpClientSocket2, ReportsWhatItCannotMakeOrReach) {
    const std::tuple<int, int, int, ENUM_QX_E_SOCKET> kinds[] = {
        {QX_AF_INET6, QX_SOCK_STREAM, 0, 0},
        {10, QX_SOCK_STREAM, 0, 0}, // the system's own number of IPv6
        {QX_AF_UNSPEC, QX_SOCK_STREAM, 0, QX_E_SOCKET_EAFNOSUPPORT},
        {1, QX_SOCK_STREAM, 0, QX_E_SOCKET_EAFNOSUPPORT}, // the system has that one
        {QX_AF_INET, 0, 0, QX_E_SOCKET_ESOCKTNOSUPPORT},
        {QX_AF_INET, QX_SOCK_STREAM | O_NONBLOCK, 0, QX_E_SOCKET_ESOCKTNOSUPPORT},
        {QX_AF_INET, QX_SOCK_STREAM, QX_IPPROTO_UDP, QX_E_SOCKET_EPROTONOSUPPORT},
    };
    for (const auto& [family, type, protocol, code] : kinds) {
        SCOPED_TRACE(testing::Message() << family << ' ' << type << ' ' << protocol);
        TcpClientSocket2* made = nullptr;
        EXPECT_EQ(TcpClientSocket2::createTcpClientSocket2(family, type, protocol, &made), code);
        EXPECT_EQ(made == nullptr, code != 0);
        delete made;
    }
    const qx_sockaddr_union place = ipv4(127, 0, 0, 1, 80);
    const auto client = makeClient();
    int64_t count = 0;
    char byte = 0;
    int length = 15;
    qx_sockaddr_union out = place;
    out.family = 1;
    EXPECT_EQ(client->bind(&out, 16), QX_E_SOCKET_EAFNOSUPPORT);
    expectEach(QX_E_SOCKET_EFAULT,
               {client->bind(&place, 15), client->getLocalAddress(&out, &length),
                client->connect(&place, (size_t{1} << 32) + 1, 1s)}); // 32 bits count
    EXPECT_EQ(client->send(&byte, 1, 16, &count), QX_E_SOCKET_EOPNOTSUPP);
    expectEach(QX_E_SOCKET_EINVAL,
               {client->send(&byte, UINT32_MAX, 0, &count), client->connect(nullptr, 16),
                client->recv(&byte, UINT32_MAX, 0, &count), client->bind(nullptr, 16)});
    expectEach(QX_E_SOCKET_ENOTCONN,
               {client->send(&byte, 1, 0, &count), client->recv(&byte, 1, 0, &count)});

    expectEach(0, {client->close(), client->close()});
    EXPECT_TRUE(client->getId() == 0 && client->getClosed() == 1);
    length = 16;
    int64_t counts[4] = {}; // 0 would be an orderly end
    expectEach(QX_E_SOCKET_ENOTSOCK,
               {client->connect(&place, sizeof place), client->connect(nullptr, 0),
                QxNetTcpClientSocketTimedConnect(client.get(), &place, sizeof place, 1),
                client->bind(&place, sizeof place), client->getLocalAddress(&out, &length),
                client->recv(&byte, 1, 0, &counts[0]), client->send(&byte, 1, 0, &counts[1]),
                client->getsockopt(QX_SOL_SOCKET, QX_SO_TYPE, &byte, &length),
                client->setsockopt(QX_SOL_SOCKET, QX_SO_TYPE, &byte, 1),
                client->getPeerAddress(&out, &length),
                Selected(client.get(), nullptr, nullptr).code});
    EXPECT_EQ(client->shutdownBoth(), 0);
    expectEach(QX_E_SOCKET_EINVAL, {QxNetTcpWorkerSocketRecv(nullptr, &byte, 1, 0, &counts[2]),
                                    QxNetTcpWorkerSocketSend(nullptr, &byte, 1, 0, &counts[3])});
    for (const int64_t each : counts)
        EXPECT_EQ(each, -1);
}

TEST(TcpClientSocket2, BindsThePortOfItsLastConnectionAgain) {
    int64_t code = -1;
    for (int attempts = 5; code != 0 && attempts > 0; --attempts) { // another program may be faster
        Pair pair;
        qx_sockaddr_union place{};
        int length = sizeof place;
        EXPECT_EQ(pair.client->getLocalAddress(&place, &length), 0);
        pair.client.reset();
        pair.worker.reset();
        code = makeClient()->bind(&place, sizeof place);
    }
    EXPECT_EQ(code, 0);
}

QX_TEST_IN_CHILD(TcpWorkerSocket2, DescriptorsAreClosedOnExecAndNeverStandardStreams) {
    const Pair early; // whose descriptors need not be moved
    ::close(0);
    ::close(2);
    const uint64_t ofListener = makeClient()->getId();
    const Pair pair;
    QXHandle file = 0;
    EXPECT_EQ(QXFileOpen("/dev/null", QX_FILE_READ, 0, &file), 0);
    for (const uint64_t descriptor : {early.client->getId(), early.worker->getId(), ofListener,
                                      pair.client->getId(), pair.worker->getId(), file}) {
        EXPECT_GT(descriptor, 2u);
        EXPECT_EQ(::fcntl(static_cast<int>(descriptor), F_GETFD), FD_CLOEXEC);
    }
    QXFileClose(file);
    expectEach(-1, {::fcntl(0, F_GETFD), ::fcntl(2, F_GETFD)}); // what was in between is closed
}

TEST(TcpWorkerSocket2, SignalsInterruptNothing) {
    const SignalStorm storm;
    const Pair pair;
    // More than both buffers hold: the send has to wait, and is interrupted after a part.
    std::jthread sender([&] {
        say(*pair.client, std::string(8 << 20, 'x'));
        EXPECT_EQ(pair.client->shutdownOutput(), 0);
    });
    std::vector<char> bytes(8 << 20);
    int64_t count = 0;
    EXPECT_EQ(pair.worker->recv(bytes.data(), bytes.size(), QX_MSG_WAITALL, &count), 0);
    EXPECT_EQ(count, 8 << 20);
    EXPECT_EQ(Selected(pair.client.get(), nullptr, nullptr, 50).result, 0);
    setOption(*pair.client, QX_SO_RCVTIMEO, 50);
    ENUM_QX_E_SOCKET code = 0;
    heard(*pair.client, &code);
    EXPECT_EQ(code, QX_E_SOCKET_ETIMEDOUT) << "signals must not keep it waiting";
}

TEST(Socket, WaitsForNothingButOpenSocketsHoweverMany) {
    for (const QXSocket none : {QX_NO_SOCKET, QXSocket{makeClient()->getId()}}) { // closed again
        qx_socket_set set{1, {none}}, crowded{QX_SOCKET_SET_SIZE + 1, {}};
        qx_socket_poll many[9] = {{none, QX_POLL_READ, 0}};
        expectEach(QX_SOCKET_ERROR, {QXSocketPoll(many, 0, nullptr), QXSocketPoll(many, 9, nullptr),
                                     QXSocketSelect(&set, nullptr, nullptr, nullptr),
                                     QXSocketSelect(&crowded, nullptr, nullptr, nullptr)});
        EXPECT_EQ(QXSocketLastError(), 10038);
    }
}

TEST(Socket, NeitherSignalsNorATimeOutForReceivingEndTheAccepting) {
    QXSocket listener = 0, accepted = 0;
    qx_sockaddr_union place{};
    int32_t length = sizeof place;
    const int32_t soon = 1;
    expectEach(0, {QXSocketCreate(QX_AF_INET, QX_SOCK_STREAM, 0, &listener),
                   QXSocketSetOption(listener, QX_SOL_SOCKET, QX_SO_RCVTIMEO, &soon, 4),
                   QXSocketListen(listener, 1), QXSocketGetName(listener, &place, &length)});
    std::thread acceptor(
        [&] { EXPECT_EQ(QXSocketAccept(listener, nullptr, nullptr, &accepted), 0); });
    std::this_thread::sleep_for(30ms);
    const SignalStorm storm;
    std::this_thread::sleep_for(30ms);
    connectTo(place);
    acceptor.join();
    expectEach(0, {QXSocketClose(listener), QXSocketClose(accepted)});
}

TEST(TcpWorkerSocket2, TimeOutsAndNonBlockingSocketsDiffer) {
    const Pair pair;
    setOption(*pair.client, QX_SO_SNDTIMEO, 20);
    const std::vector<char> bytes(32 << 20);
    int64_t sent = 0;
    {
        const std::jthread reader([&](const std::stop_token& end) {
            std::vector<char> room(1 << 20);
            for (int64_t count; !end.stop_requested(); std::this_thread::sleep_for(8ms))
                EXPECT_EQ(pair.worker->recv(room.data(), room.size(), 0, &count), 0);
        });
        EXPECT_EQ(pair.client->send(bytes.data(), bytes.size(), 0, &sent), 0);
        EXPECT_LT(sent, std::ssize(bytes)) << "room that comes does not begin the time-out anew";
    }
    const auto sendAll = [&] { // until no growing buffer takes any more
        ENUM_QX_E_SOCKET code = 0;
        while ((code = pair.client->send(bytes.data(), bytes.size(), 0, &sent)) == 0)
            EXPECT_LT(sent, std::ssize(bytes));
        return code;
    };
    EXPECT_EQ(sendAll(), QX_E_SOCKET_ETIMEDOUT);
    ::fcntl(static_cast<int>(pair.client->getId()), F_SETFL, O_NONBLOCK);
    char byte;
    expectEach(QX_E_SOCKET_EWOULDBLOCK, {pair.client->recv(&byte, 1, 0, &sent), sendAll()});
    // A time-out for sending is none for connecting.
    const auto client = makeClient();
    setOption(*client, QX_SO_SNDTIMEO, 1);
    EXPECT_EQ(client->connect(&pair.listener.address, sizeof pair.listener.address), 0);
}

TEST(TcpWorkerSocket2, OptionsKeepTheirDescribedForm) {
    const Pair pair;
    const auto set = [&](int32_t level, int32_t name, int32_t value) {
        return QxNetTcpClientSocketSetsockopt(pair.client.get(), level, name,
                                              reinterpret_cast<const char*>(&value), 4);
    };
    int32_t value = 0;
    int length = 4;
    char* const data = reinterpret_cast<char*>(&value);
    const auto optionOf = [&](int32_t level, int32_t name) {
        return QxNetTcpClientSocketGetsockopt(pair.client.get(), level, name, data, &length);
    };
    TcpClientSocket2& client = *pair.client;
    const auto holds = [&](ENUM_QX_E_SOCKET code, int32_t level, int32_t name, int32_t expected) {
        expectEach(0, {code, optionOf(level, name)});
        EXPECT_EQ(std::pair(value, length), std::pair(expected, 4)) << name;
    };
    holds(set(QX_SOL_SOCKET, QX_SO_LINGER, 0x00070001), QX_SOL_SOCKET, QX_SO_LINGER, 0x00070001);
    holds(set(QX_SOL_SOCKET, QX_SO_SNDTIMEO, 40), QX_SOL_SOCKET, QX_SO_SNDTIMEO, 40);
    holds(set(QX_IPPROTO_IP, QX_IP_TTL, 33), QX_IPPROTO_IP, QX_IP_TTL, 33);
    holds(client.setSendTimeout(-1h), QX_SOL_SOCKET, QX_SO_SNDTIMEO, 0);
    holds(client.setReceiveTimeout(199500us), QX_SOL_SOCKET, QX_SO_RCVTIMEO, 200);
    for (const bool isOn : {true, false})
        holds(client.setNoDelay(isOn), QX_IPPROTO_TCP, QX_TCP_NODELAY, isOn);
    holds(client.setKeepAlive(90s, 1500ms, 5), QX_SOL_SOCKET, QX_SO_KEEPALIVE, 1);
    holds(0, QX_IPPROTO_TCP, QX_TCP_KEEPIDLE, 90);
    holds(0, QX_IPPROTO_TCP, QX_TCP_KEEPINTVL, 2);
    holds(0, QX_IPPROTO_TCP, QX_TCP_KEEPCNT, 5);
    holds(client.setSendBufferSize(30001), QX_SOL_SOCKET, QX_SO_SNDBUF, 30001);
    holds(client.setReceiveBufferSize(20001), QX_SOL_SOCKET, QX_SO_RCVBUF, 20001);
    EXPECT_EQ(client.setSendTimeout(1200h), QX_E_SOCKET_EINVAL) << "more than 32 bits";
    EXPECT_EQ(set(QX_SOL_SOCKET, 9999, 1), QX_E_SOCKET_ENOPROTOOPT);
    EXPECT_EQ(optionOf(1, QX_SO_TYPE), QX_E_SOCKET_EINVAL);
    length = 3;
    expectEach(QX_E_SOCKET_EFAULT, {optionOf(QX_SOL_SOCKET, QX_SO_TYPE),
                                    client.setsockopt(QX_SOL_SOCKET, QX_SO_KEEPALIVE, data, 1)});
}

TEST(TcpWorkerSocket2, EachDirectionEndsOnce) {
    Pair pair;
    TcpClientSocket2* client = pair.client.release();
    EXPECT_NE(QxNetTcpSocketGetId(client), 0u);
    EXPECT_EQ(QxNetTcpSocketShutdownInput(client), 0);
    EXPECT_TRUE(client->getShutdownIn() == 1 && client->getShutdownOut() == 0);
    say(*client, "the other lives");
    expectEach(0, {QxNetTcpSocketShutdownOutput(client), client->shutdownOutput(),
                   QxNetTcpSocketShutdownBoth(client),
                   QxNetTcpSocketShutdownBoth(makeClient().get())}); // not connected is no failure
    int64_t count = 0;
    EXPECT_EQ(client->send("x", 1, 0, &count), QX_E_SOCKET_ESHUTDOWN);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(heard(*pair.worker), "the other lives");
    TcpSocket2* socket = client;
    expectEach(0, {pair.worker->shutdownOutput(), pair.worker->shutdownInput(),
                   QxNetTcpSocketClose(client)});
    EXPECT_EQ(QxNetTcpSocketGetId(client), 0u);
    EXPECT_EQ(QxNetTcpSocketStaticDestroy(&socket), 0);
    EXPECT_EQ(socket, nullptr);
}

TEST(TcpWorkerSocket2, PassesBytesOnUntilAnOrderlyEnd) {
    Pair pair;
    int64_t count = 0;
    EXPECT_EQ(QxNetTcpWorkerSocketSend(pair.worker.get(), "answer", 6, 0, &count), 0);
    char bytes[6];
    EXPECT_EQ(QxNetTcpClientSocketRecv(pair.client.get(), bytes, 6, QX_MSG_WAITALL, &count), 0);
    EXPECT_EQ(std::string(bytes, 6), "answer");
    EXPECT_EQ(pair.worker->send("!", 1, QX_MSG_OOB, &count), 0);
    EXPECT_EQ(Selected(nullptr, nullptr, pair.client.get()).exception, pair.client.get());
    pair.worker->close();
    std::jthread([&] { // without an earlier error, which an orderly end would tell again
        EXPECT_EQ(pair.client->recv(bytes, 1, 0, &count), 0);
        EXPECT_EQ(count, 0);
    });
}

TEST(TcpWorkerSelect, AConnectionThatBrokeIsNotExceptionalButReadable) {
    Pair pair;
    resetOnClose(*pair.worker);
    pair.worker->close();
    const Selected selected(pair.client.get(), nullptr, pair.client.get());
    EXPECT_EQ(std::tuple(selected.code, selected.result, selected.exception),
              std::tuple(0, 1, nullptr));
}

TEST(TcpWorkerSelect, KeepsTheReadyOnesInPlace) {
    const Pair first, second;
    const Selected none(first.client.get(), nullptr, first.client.get(), 1);
    EXPECT_TRUE(none.result == 0 && none.read == first.client.get()) << "the arrays stay";
    EXPECT_EQ(Selected(first.client.get(), nullptr, nullptr, -1).code, QX_E_SOCKET_EINVAL);
    say(*second.worker, "x");
    TcpWorkerSocket2* read[] = {first.client.get(), second.client.get(), second.client.get()};
    TcpWorkerSocket2* write[] = {first.client.get()};
    uint32_t readCount = 3, writeCount = 1, exceptionCount = 5; // without an array no count matters
    int32_t result = 0;
    EXPECT_EQ(QxNetTcpClientSocketStaticSelect(read, &readCount, write, &writeCount, nullptr,
                                               &exceptionCount, nullptr, &result),
              0);
    EXPECT_EQ(result, 2) << "a socket given twice is one";
    EXPECT_EQ(std::tuple(readCount, writeCount, exceptionCount), std::tuple(2u, 1u, 0u));
    EXPECT_EQ(std::tuple(read[0], read[1], read[2]),
              std::tuple(nullptr, second.client.get(), second.client.get()));

    const auto codeOf = [&](TcpWorkerSocket2** sockets, uint32_t& count) {
        uint32_t again = count, noCount = 0; // the same array for two roles
        return TcpWorkerSocket2::select(sockets, &count, sockets, &again, nullptr, &noCount,
                                        nullptr, &result);
    };
    read[0] = first.client.get();
    EXPECT_EQ(codeOf(read, readCount = 3), 0);
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
    EXPECT_EQ(std::tuple(selected.code, selected.exception),
              std::tuple(QX_E_SOCKET_ECONNREFUSED, client.get()));
}

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
    using Text = const char*;
    const std::tuple<Text, Text, uint16_t, ENUM_QX_E_SOCKET, Text> cases[] = {
        // hosts, service, port; code, list
        {"127.0.0.1,  ::1", nullptr, 80, 0, "127.0.0.1:80; [::1]:80"},
        {"127.0.0.1", "http", 0, 0, "127.0.0.1:80"},
        {"127.0.0.1", "http", 81, 0, "127.0.0.1:81"}, // the port is given
        {"0.0.0.0", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, ""},
        {"0.0.0.0, 127.0.0.2", nullptr, 80, 0, "127.0.0.2:80"}, // the last one decides
        {"127.0.0.2, ::", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, "127.0.0.2:80"},
        {"127.0.0.2,", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, "127.0.0.2:80"},
        {"", nullptr, 80, QX_E_SOCKET_HOST_NOT_FOUND, ""},
        {"127.0.0.1", "no-such-service", 0, QX_E_SOCKET_NO_DATA, ""},
        {"127.0.0.1", "", 0, QX_E_SOCKET_EINVAL, ""},
        {"127.0.0.1", nullptr, 0, QX_E_SOCKET_EINVAL, ""},
        {nullptr, nullptr, 80, QX_E_SOCKET_EINVAL, ""},
    };
    for (const auto& [hosts, service, port, code, list] : cases) {
        SCOPED_TRACE(hosts ? hosts : "(null)");
        const auto server = makeServer();
        EXPECT_EQ(QxNetTcpServerSocketBindListAddAddrInfo(server.get(), hosts, service, port),
                  code);
        EXPECT_EQ(bindList(*server), list);
        EXPECT_EQ(QxNetTcpServerSocketBindListClear(server.get()), 0);
        EXPECT_EQ(server->bindListAddAddrAny(7), 0);
        EXPECT_EQ(bindList(*server), "[::]:7; 0.0.0.0:7");
    }
}

TEST(TcpServerSocket2, WaitsForAConnectionUpToALimit) {
    const auto limit = [](auto duration) {
        const qx_timeval made = TcpWorkerSocket2::timeLimit(duration);
        return std::pair(made.seconds, made.microseconds);
    };
    EXPECT_EQ(limit(1500ms), std::pair(1, 500'000));
    EXPECT_EQ(limit(1ns), std::pair(0, 1));
    EXPECT_EQ(limit(-1s), std::pair(0, 0));
    EXPECT_EQ(limit(std::chrono::hours::max()), std::pair(INT32_MAX, 0));
    const LoopbackServer listener;
    auto* worker = reinterpret_cast<TcpWorkerSocket2*>(listener.server.get());
    EXPECT_EQ(listener.server->accept(&worker, 1ms), QX_E_SOCKET_ETIMEDOUT);
    EXPECT_EQ(worker, nullptr);
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
    // There is nothing that could fail.
    expectEach(0, {unbound->listen(1), unbound->saveBoundAddresses()});

    const LoopbackServer listener;
    TcpServerSocket2& server = *listener.server;
    EXPECT_EQ(server.shutdownBoth(), 0);
    connectTo(listener.address); // it still listens
    expectEach(QX_E_SOCKET_EINVAL, {server.accept(static_cast<uint64_t*>(nullptr)),
                                    server.accept(static_cast<TcpWorkerSocket2**>(nullptr))});
    expectEach(0, {server.close(), server.close(), server.shutdownBoth()});
    uint64_t native = 0;
    // Binding would leave sockets behind.
    expectEach(QX_E_SOCKET_ENOTSOCK, {server.accept(&native), server.bind(), server.listen(1)});
    EXPECT_EQ(native, QX_NO_SOCKET);
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
    expectEach(0, {second->listen(0), second->saveBoundAddresses()}); // past it again
    EXPECT_EQ(second->getBoundCount(), 2u);
}

TEST(TcpServerSocket2, BindsWhatCanBeBoundToPortsThatTheSystemMayChoose) {
    const LoopbackServer first;
    const auto second = makeServer();
    // Taken, not of this machine, free.
    EXPECT_EQ(second->bindListAddAddrInfo("127.0.0.1, 192.0.2.1", nullptr, first.port()), 0);
    EXPECT_EQ(second->bind(), QX_E_SOCKET_EADDRNOTAVAIL) << "the last failure";
    const auto third = makeServer();
    EXPECT_EQ(third->bindListAddAddrInfo("192.0.2.1", nullptr, first.port()), 0);
    EXPECT_EQ(third->bindListAddHost(nullptr, 0), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(third->bindListAddHost("127.0.0.1,::1", 0), QX_E_SOCKET_HOST_NOT_FOUND) << "one";
    expectEach(0, {third->bindListAddHost("127.0.0.1", 0), third->bindListAddHost("127.0.0.2", 0)});
    EXPECT_EQ(third->getBindCount(), 3u);
    expectEach(0, {third->bind(), third->saveBoundAddresses()});
    EXPECT_EQ(third->getBoundCount(), 2u);
    EXPECT_EQ(boundList(*third).find("192.0.2.1"), std::string::npos);
    EXPECT_EQ(boundList(*third).find(":0"), std::string::npos) << boundList(*third);
}

TEST(TcpServerSocket2, KeepsOneAddressForTheNamedPipeReply) {
    const auto server = makeServer();
    expectEach(0, {server->bindListAddAddrAny(0), server->bind(),
                   QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(server.get())});
    EXPECT_EQ(bindList(*server), "") << "two: none is kept";
    expectEach(0, {server->bindListAddAddrInfo("10.1.2.3", nullptr, 99),
                   QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(server.get())});
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
    for (uint32_t i = 0; i < listener.server->getBoundCount(); ++i)
        EXPECT_EQ(QXSocketClose(lowestFree + i), 0);
}

QX_TEST_IN_CHILD(TcpServerSocket2, ServesIpv4WhereIpv6IsMissing) {
    if (!refuseCall(SYS_socket, EAFNOSUPPORT, AF_INET6))
        GTEST_SKIP() << "system calls cannot be filtered here";
    const auto server = makeServer(), onlyIpv6 = makeServer();
    expectEach(0, {server->bindListAddAddrAny(0), server->bind(), server->listen(0),
                   server->saveBoundAddresses()});
    EXPECT_EQ(server->getBoundCount(), 1u);
    EXPECT_TRUE(boundList(*server).starts_with("0.0.0.0:"));
    static_cast<void>(onlyIpv6->bindListAddAddrInfo("::1", nullptr, 80));
    EXPECT_EQ(onlyIpv6->bind(), QX_E_SOCKET_EAFNOSUPPORT);
}

} // namespace
