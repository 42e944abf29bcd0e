#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

#include <qx/net/netaddress.h>
#include <qx/net/socketerror.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/net/Loopback.h"

namespace {

using namespace qx::net;
using namespace qxtest;

/// Holds that the tests leave no descriptor open.
class DescriptorCount : public testing::Environment {
    void SetUp() override { m_before = countOwn("fd"); }
    void TearDown() override {
        EXPECT_EQ(countOwn("fd"), m_before) << "descriptors were left open";
    }

    int64_t m_before = 0;
};

const testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(new DescriptorCount);

/// Arguments that every function takes.
struct Arguments {
    const std::unique_ptr<TcpClientSocket2> client = makeClient();
    const std::unique_ptr<TcpServerSocket2> server = makeServer();
    qx_sockaddr_union place = ipv4(127, 0, 0, 1, 80);
    uint64_t zeros[100] = {};

    template <class Parameter>
    Parameter get() {
        if constexpr (!std::is_pointer_v<Parameter>)
            return static_cast<Parameter>(QX_SOL_SOCKET); // a level, a port, a length
        else if constexpr (std::is_same_v<Parameter, const char*>)
            return "127.0.0.1";
        else if constexpr (std::is_same_v<Parameter, const qx_sockaddr_union*>)
            return &place;
        else if constexpr (std::is_same_v<Parameter, TcpServerSocket2*>)
            return server.get();
        else if constexpr (std::is_convertible_v<TcpClientSocket2*, Parameter>)
            return client.get();
        else
            return reinterpret_cast<Parameter>(zeros);
    }
};

/// Calls a function with each of its pointers null in turn, but for those whose bit (from the first
/// argument on) is set in @p Optional.
template <unsigned Optional = 0, class... Parameters>
void expectNullsRefused(ENUM_QX_E_SOCKET (*function)(Parameters...), Arguments& arguments) {
    size_t next = 0, null = 0;
    const auto argument = [&]<class Parameter>() {
        if constexpr (std::is_pointer_v<Parameter>)
            return next++ == null ? Parameter{} : arguments.get<Parameter>();
        else
            return ++next, arguments.get<Parameter>();
    };
    const bool isPointer[] = {std::is_pointer_v<Parameters>...};
    for (; null < sizeof...(Parameters); ++null) {
        next = 0;
        const std::tuple<Parameters...> call{argument.template operator()<Parameters>()...};
        if (isPointer[null] && !(Optional >> null & 1)) {
            EXPECT_EQ(std::apply(function, call), QX_E_SOCKET_EINVAL) << "argument " << null;
        }
    }
}

TEST(NetInterface, RefusesEveryNullPointer) {
    Arguments arguments;
    int number = 0;
    const auto expectRefused = [&](auto... functions) {
        const auto of = [&](auto function) {
            SCOPED_TRACE(testing::Message() << "function " << number++);
            expectNullsRefused(function, arguments);
        };
        (of(functions), ...);
    };
    // The functions of clients are those of all workers.
    expectRefused(
        QxNetInetAddressGetAddressStr, QxNetInetAddressIsAddressAny,
        QxNetInetAddressIsAddressLoopback, QxNetInetAddressIsAddressNone,
        QxNetInetSocketAddressGetDiagnosticStr,
        QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName,
        QxNetTcpSocketStaticGetVersion, QxNetTcpSocketStaticDestroy, QxNetTcpSocketClose,
        QxNetTcpSocketShutdownInput, QxNetTcpSocketShutdownOutput, QxNetTcpSocketShutdownBoth,
        QxNetTcpClientSocketStaticCreate, QxNetTcpClientSocketBind, QxNetTcpClientSocketConnect,
        QxNetTcpClientSocketGetLocalAddress, QxNetTcpClientSocketGetsockopt,
        QxNetTcpClientSocketSetsockopt, QxNetTcpClientSocketRecv, QxNetTcpClientSocketSend,
        QxNetTcpServerSocketStaticCreate, QxNetTcpServerSocketBindListAddAddrAny,
        QxNetTcpServerSocketBindListClear, QxNetTcpServerSocketBindListSaveOneForNamedPipeReply,
        QxNetTcpServerSocketBind, QxNetTcpServerSocketListen,
        QxNetTcpServerSocketSaveBoundAddresses, QxNetTcpServerSocketAccept,
        QxNetTcpServerSocketAcceptSocket, QxNetTcpServerSocketGetBoundAddress,
        QxNetTcpServerSocketBindListAddressesDiagnosticStrA,
        QxNetTcpServerSocketBoundListAddressesDiagnosticStrA);
    expectNullsRefused<1 << 2>(QxNetTcpSocketStaticGetaddrinfo, arguments);
    expectNullsRefused<1 << 2>(QxNetTcpServerSocketBindListAddAddrInfo, arguments);
    expectNullsRefused<0b1010101>(QxNetTcpClientSocketStaticSelect, arguments);
    EXPECT_EQ(QxNetTcpSocketGetId(nullptr), 0u);
    TcpSocket2* nothing = nullptr;
    EXPECT_EQ(QxNetTcpSocketStaticDestroy(&nothing), 0) << "what is null already is destroyed";
    // Null checks come before the look at a closed socket.
    arguments.client->close();
    EXPECT_EQ(QxNetTcpClientSocketConnect(arguments.client.get(), nullptr, 16), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(QxNetTcpSocketGetId(arguments.client.get()), 0u);
}

TEST(NetInterface, TextsHaveAnInAndOutLength) {
    const qx_sockaddr_union place = ipv6(Ipv6Loopback, 8080);
    qx_sockaddr_union other = place;
    other.family = 1;
    const auto server = makeServer();
    EXPECT_EQ(server->bindListAddAddrInfo("127.0.0.1", nullptr, 80), 0);
    using Get = std::function<ENUM_QX_E_SOCKET(const qx_sockaddr_union*, char*, uint32_t*)>;
    const std::pair<std::string, Get> cases[] = {
        {"::1", QxNetInetAddressGetAddressStr},
        {"[::1]:8080", QxNetInetSocketAddressGetDiagnosticStr},
        {"127.0.0.1:80",
         [&](const auto*, char* buffer, uint32_t* length) {
             return server->bindListAddressesDiagnosticStrA(buffer, length);
         }},
    };
    for (const auto& [text, get] : cases) {
        const auto needed = static_cast<uint32_t>(text.size()) + 1;
        for (uint32_t room = 0; room <= needed; ++room) {
            SCOPED_TRACE(text + " " + std::to_string(room));
            char buffer[50] = "unchanged";
            uint32_t length = room;
            EXPECT_EQ(get(&place, buffer, &length), room < needed ? QX_E_SOCKET_EFAULT : 0);
            EXPECT_EQ(length, room < needed ? 0 : needed);
            EXPECT_EQ(buffer, room == 0 ? "unchanged" : room < needed ? "" : text);
        }
    }
    for (const auto& get : {cases[0].second, cases[1].second}) {
        char buffer[50] = "unchanged";
        uint32_t length = sizeof buffer;
        EXPECT_EQ(get(&other, buffer, &length), QX_E_SOCKET_EINVAL);
        EXPECT_EQ(length, 0u);
        EXPECT_STREQ(buffer, "");
    }
    int16_t truth = 7;
    EXPECT_EQ(QxNetInetAddressIsAddressAny(&other, &truth), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(truth, 0);
}

std::u16string_view describe(ENUM_QX_E_SOCKET code) {
    return QXGetDescriptionFromQX_E_SOCKET(code);
}

TEST(SocketError, NumbersBecomeCodesWithDescriptions) {
    int codes = 0;
    for (int number = 1; number <= 0xFFFF; ++number) {
        SCOPED_TRACE(number);
        const ENUM_QX_E_SOCKET code = QX_E_SOCKET_FROM_NUMBER(number);
        const std::u16string_view text = describe(code);
        const bool isKnown = text != u"FAIL";
        const bool isOfSystem = isKnown && number >= 10004 && number <= 11004;
        codes += isKnown;
        EXPECT_EQ(QX_E_SOCKETFromNativeSocketError(number), isOfSystem ? code : QX_E_FAIL);
        EXPECT_EQ(QX_E_SOCKETFromNativeEaiSocketError(number), isKnown ? code : QX_E_FAIL);
        EXPECT_EQ(text.find(u' ') != text.npos, isKnown);
        // Those of the system end with a blank but for one.
        EXPECT_EQ(text.ends_with(u". "), isOfSystem && number != 10004);
    }
    EXPECT_EQ(codes, 71);
    for (const int none : {0, -10022, 10022 + 0x10000}) { // the lower half alone is no number
        EXPECT_EQ(QX_E_SOCKETFromNativeSocketError(none), none == 0 ? 0 : QX_E_FAIL);
        EXPECT_EQ(QX_E_SOCKETFromNativeEaiSocketError(none), none == 0 ? 0 : QX_E_FAIL);
    }
    EXPECT_EQ(QX_E_SOCKET_EINVAL, static_cast<int32_t>(0x8BE32726u));
    EXPECT_EQ(QX_E_SOCKET_EAI_NONAME, static_cast<int32_t>(0x8BE332C9u));
    EXPECT_EQ(QX_E_SOCKETFromNativeEaiSocketError(2008), QX_E_SOCKET_EAI_MEMORY);
    EXPECT_EQ(QX_E_SOCKETFromNativeEaiSocketError(14001), QX_E_SOCKET_EAI_NODATA);
    EXPECT_EQ(describe(0), u"OK");
    EXPECT_EQ(describe(10022), u"FAIL");
    EXPECT_EQ(describe(QX_E_SOCKET_EINVAL), u"EINVAL An invalid argument was supplied. ");
    EXPECT_EQ(describe(QX_E_SOCKET__E_NO_MORE),
              u"_E_NO_MORE No more results can be returned by WSALookupServiceNext. ");
    EXPECT_EQ(describe(QX_E_SOCKET_EAI_NONAME), u"EAI_NONAME NAME or SERVICE is unknown.");
}

} // namespace
