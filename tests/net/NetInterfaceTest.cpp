#include <cstring>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <qx/net/netaddress.h>
#include <qx/net/nettcp.h>
#include <qx/net/nettcpserver.h>

#include "tests/net/Loopback.h"

/* A server and its client (tests/net/interface.c): 0, or the number of the line that failed. */
extern "C" int talkFromC(void);

namespace {

using namespace qx::net;
using namespace qxtest;

TEST(NetInterface, IsUsedFromC) { EXPECT_EQ(talkFromC(), 0) << "line of interface.c"; }

/// Calls @p function with each pointer among the arguments null in turn, for those whose bit in
/// @p optional (from the first argument on) is clear.
template <class... Parameters>
void expectNullsRefused(const char* name, ENUM_QX_E_SOCKET (*function)(Parameters...),
                        unsigned optional, const std::tuple<Parameters...>& arguments) {
    [&]<size_t... I>(std::index_sequence<I...>) {
        const auto refuse = [&]<size_t Null>() {
            using Parameter = std::tuple_element_t<Null, std::tuple<Parameters...>>;
            if constexpr (std::is_pointer_v<Parameter>) {
                if (optional >> Null & 1)
                    return;
                auto call = arguments;
                std::get<Null>(call) = nullptr;
                EXPECT_EQ(std::apply(function, call), QX_E_SOCKET_EINVAL)
                    << name << ", argument " << Null;
            }
        };
        (refuse.template operator()<I>(), ...);
    }
    (std::index_sequence_for<Parameters...>());
}

#define EXPECT_NULLS_REFUSED(function, optional, ...)                                              \
    expectNullsRefused(#function, &function, optional, {__VA_ARGS__})

TEST(NetInterface, RefusesEveryNullPointer) {
    qx_sockaddr_union place = ipv4(127, 0, 0, 1, 80);
    char buffer[100];
    signed char bytes[128];
    uint32_t length = sizeof buffer;
    size_t size = sizeof bytes;
    int16_t truth;
    uint16_t port;
    int32_t major, minor;
    int optionLength = 4;
    int64_t count;
    uint64_t native;
    uint32_t counts[3] = {};
    qx_timeval now{0, 0};
    const auto client = makeClient();
    const auto server = makeServer();
    TcpClientSocket2* madeClient;
    TcpServerSocket2* madeServer;
    TcpWorkerSocket2* worker;
    TcpSocket2* nothing = nullptr;

    EXPECT_NULLS_REFUSED(QxNetInetAddressGetAddressStr, 0, &place, buffer, &length);
    EXPECT_NULLS_REFUSED(QxNetInetAddressIsAddressAny, 0, &place, &truth);
    EXPECT_NULLS_REFUSED(QxNetInetAddressIsAddressLoopback, 0, &place, &truth);
    EXPECT_NULLS_REFUSED(QxNetInetAddressIsAddressNone, 0, &place, &truth);
    EXPECT_NULLS_REFUSED(QxNetInetSocketAddressGetDiagnosticStr, 0, &place, buffer, &length);
    EXPECT_NULLS_REFUSED(QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName, 0, "http",
                         &port);
    EXPECT_NULLS_REFUSED(QxNetTcpSocketStaticGetVersion, 0, &major, &minor);
    EXPECT_NULLS_REFUSED(QxNetTcpSocketStaticGetaddrinfo, 1u << 2, "127.0.0.1", 80, nullptr, 0,
                         &place);
    EXPECT_NULLS_REFUSED(QxNetTcpSocketStaticDestroy, 0, &nothing);
    EXPECT_NULLS_REFUSED(QxNetTcpSocketClose, 0, client.get());
    EXPECT_NULLS_REFUSED(QxNetTcpSocketShutdownInput, 0, client.get());
    EXPECT_NULLS_REFUSED(QxNetTcpSocketShutdownOutput, 0, client.get());
    EXPECT_NULLS_REFUSED(QxNetTcpSocketShutdownBoth, 0, client.get());
    EXPECT_NULLS_REFUSED(QxNetTcpClientSocketStaticCreate, 0, 2, 1, 6, &madeClient);
    EXPECT_NULLS_REFUSED(QxNetTcpClientSocketBind, 0, client.get(), &place, sizeof place);
    EXPECT_NULLS_REFUSED(QxNetTcpClientSocketConnect, 0, client.get(), &place, sizeof place);
    EXPECT_NULLS_REFUSED(QxNetTcpClientSocketGetLocalAddress, 0, client.get(), &place,
                         &optionLength);
    for (const auto get : {&QxNetTcpClientSocketGetsockopt, &QxNetTcpWorkerSocketGetsockopt})
        expectNullsRefused("getsockopt", get, 0,
                           {client.get(), QX_SOL_SOCKET, QX_SO_TYPE, buffer, &optionLength});
    for (const auto set : {&QxNetTcpClientSocketSetsockopt, &QxNetTcpWorkerSocketSetsockopt})
        expectNullsRefused("setsockopt", set, 0,
                           {client.get(), QX_SOL_SOCKET, QX_SO_KEEPALIVE, buffer, 4});
    for (const auto receive : {&QxNetTcpClientSocketRecv, &QxNetTcpWorkerSocketRecv})
        expectNullsRefused("recv", receive, 0, {client.get(), buffer, 1, 0, &count});
    for (const auto send : {&QxNetTcpClientSocketSend, &QxNetTcpWorkerSocketSend})
        expectNullsRefused("send", send, 0, {client.get(), buffer, 1, 0, &count});
    for (const auto select : {&QxNetTcpClientSocketStaticSelect, &QxNetTcpWorkerSocketStaticSelect})
        expectNullsRefused(
            "select", select, 0b1010101,
            {nullptr, &counts[0], nullptr, &counts[1], nullptr, &counts[2], &now, &major});
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketStaticCreate, 0, 2, 1, 6, &madeServer);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketBindListAddAddrAny, 0, server.get(), 80);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketBindListAddAddrInfo, 1u << 2, server.get(),
                         "127.0.0.1", nullptr, 80);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketBindListClear, 0, server.get());
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketBindListSaveOneForNamedPipeReply, 0, server.get());
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketBind, 0, server.get());
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketListen, 0, server.get(), 1);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketSaveBoundAddresses, 0, server.get());
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketAccept, 0, server.get(), &worker);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketAcceptSocket, 0, server.get(), &native);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketGetBoundAddress, 0, server.get(), 0, bytes, &size);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketBindListAddressesDiagnosticStrA, 0, server.get(),
                         buffer, &length);
    EXPECT_NULLS_REFUSED(QxNetTcpServerSocketBoundListAddressesDiagnosticStrA, 0, server.get(),
                         buffer, &length);
    EXPECT_EQ(QxNetTcpSocketGetId(nullptr), 0u);
    EXPECT_EQ(QxNetTcpSocketStaticDestroy(&nothing), 0) << "what is null already is destroyed";
    // Null checks come before the look at a closed socket.
    client->close();
    EXPECT_EQ(QxNetTcpClientSocketConnect(client.get(), nullptr, 16), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(QxNetTcpSocketGetId(client.get()), 0u);
}

TEST(NetInterface, TextsHaveAnInAndOutLength) {
    const qx_sockaddr_union place = ipv6(Ipv6Loopback, 8080);
    qx_sockaddr_union other = place;
    other.family = 1;
    const auto server = makeServer();
    EXPECT_EQ(server->bindListAddAddrInfo("127.0.0.1", nullptr, 80), 0);
    using Get = std::function<ENUM_QX_E_SOCKET(const qx_sockaddr_union*, char*, uint32_t*)>;
    const std::pair<const char*, Get> cases[] = {
        {"::1", QxNetInetAddressGetAddressStr},
        {"[::1]:8080", QxNetInetSocketAddressGetDiagnosticStr},
        {"127.0.0.1:80",
         [&](const auto*, char* buffer, uint32_t* length) {
             return server->bindListAddressesDiagnosticStrA(buffer, length);
         }},
    };
    for (const auto& [text, get] : cases) {
        SCOPED_TRACE(text);
        const auto needed = static_cast<uint32_t>(std::strlen(text)) + 1;
        char buffer[50] = "unchanged";
        uint32_t length = 0;
        EXPECT_EQ(get(&place, buffer, &length), QX_E_SOCKET_EFAULT);
        EXPECT_EQ(buffer[0], 'u') << "there is no room even for the empty text";
        length = needed - 1;
        EXPECT_EQ(get(&place, buffer, &length), QX_E_SOCKET_EFAULT);
        EXPECT_EQ(length, 0u);
        EXPECT_STREQ(buffer, "");
        length = needed;
        EXPECT_EQ(get(&place, buffer, &length), 0);
        EXPECT_EQ(length, needed);
        EXPECT_STREQ(buffer, text);
        if (text[0] == '1')
            continue; // no address is asked
        EXPECT_EQ(get(&other, buffer, &length), QX_E_SOCKET_EINVAL);
        EXPECT_EQ(length, 0u);
        EXPECT_STREQ(buffer, "");
    }
    int16_t truth = 7;
    EXPECT_EQ(QxNetInetAddressIsAddressAny(&other, &truth), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(truth, 0);
}

} // namespace
