#include <functional>
#include <unordered_set>

#include "tests/ipc/IpcTesting.h"
#include "tests/net/Loopback.h"
#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qx::net;
using namespace qxtest;

namespace {

std::unique_ptr<InetAddress> make(const qx_sockaddr_union& source) {
    InetAddress* address = nullptr;
    EXPECT_EQ(InetAddress::create(&source, &address), 0);
    return std::unique_ptr<InetAddress>(address);
}

qx_sockaddr_union storageOf(const InetAddress& address) {
    qx_sockaddr_union storage{};
    size_t length = sizeof storage;
    EXPECT_EQ(address.getStorageBinary(&storage, &length), 0);
    return storage;
}

/// What the stream operator prints, and the function appends.
std::string printed(const InetSocketAddress& address) {
    String text(u"<");
    address.getDiagnosticStr(text);
    EXPECT_EQ(text.toUtf8(), "<" + testing::PrintToString(address));
    return testing::PrintToString(address);
}

TEST(InetAddress, KnowsWhatItStandsForAndGivesItsBytesWhereThereIsRoom) {
    const std::tuple<qx_sockaddr_union, const char*, int16_t, int16_t, int16_t> cases[] = {
        // the text; whether it is any, loopback, none
        {ipv4(0, 0, 0, 0), "0.0.0.0", 1, 0, 0},
        {ipv4(127, 0, 0, 1), "127.0.0.1", 0, 1, 0},
        {ipv4(127, 0, 0, 2, 80), "127.0.0.2", 0, 0, 0}, // exactly one is meant
        {ipv4(255, 255, 255, 255), "255.255.255.255", 0, 0, 1},
        {ipv6({}), "::", 1, 0, 0},
        {ipv6(Ipv6Loopback), "::1", 0, 1, 0},
        {ipv6({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}), "100::1", 0, 0, 0},
        {ipv6({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
               0xFF, 0xFF}),
         "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 0, 0, 0},
        {ipv6({0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9}, 80, 4294967295u),
         "fe80::9%4294967295", 0, 0, 0},
    };
    for (const auto& [source, expected, isAny, isLoopback, isNone] : cases) {
        SCOPED_TRACE(expected);
        int16_t any = 7, loopback = 7, none = 7; // by the C interface, which asks the members
        EXPECT_EQ(QxNetInetAddressIsAddressAny(&source, &any), 0);
        EXPECT_EQ(QxNetInetAddressIsAddressLoopback(&source, &loopback), 0);
        EXPECT_EQ(QxNetInetAddressIsAddressNone(&source, &none), 0);
        EXPECT_EQ(std::tuple(any, loopback, none), std::tuple(isAny, isLoopback, isNone));
        const auto address = make(source);
        String text(u"<");
        EXPECT_EQ(address->getAddressStr(text), 0);
        EXPECT_EQ(text.getDataT<char>(), "<" + std::string(expected));

        const bool isIpv4 = source.family == QX_AF_INET;
        const size_t needed = isIpv4 ? 4 : 16, whole = isIpv4 ? 16 : 28;
        size_t length = 0;
        EXPECT_EQ(address->getStorageBinaryLength(&length), 0);
        EXPECT_EQ(length, whole);
        signed char bytes[16] = {77};
        length = needed - 1;
        EXPECT_EQ(address->getAddressBinary(bytes, &length), QX_E_SOCKET_EMSGSIZE);
        EXPECT_EQ(length, needed);
        EXPECT_EQ(bytes[0], 77);
        length = 100;
        EXPECT_EQ(address->getAddressBinary(bytes, &length), 0);
        EXPECT_EQ(length, needed);
        EXPECT_EQ(std::memcmp(bytes, isIpv4 ? source.ipv4.address : source.ipv6.address, needed),
                  0);
        qx_sockaddr_union copy = storageOf(*address);
        EXPECT_EQ(std::memcmp(&copy, &source, sizeof copy), 0);
        length = whole - 1;
        EXPECT_EQ(address->getStorageBinary(&copy, &length), QX_E_SOCKET_EMSGSIZE);
        EXPECT_EQ(length, whole);

        expectEach(QX_E_SOCKET_EINVAL,
                   {address->getAddressBinary(nullptr, &length), address->getFamily(nullptr),
                    address->getAddressBinary(bytes, nullptr),
                    address->getAddressBinaryLength(nullptr),
                    address->getStorageBinary(nullptr, &length),
                    address->getStorageBinaryLength(nullptr)});
        EXPECT_EQ(address->setAddressAny(), 0);
        EXPECT_EQ(address->isAddressAny(), 1);
    }
}

TEST(InetAddress, RefusesOtherFamilies) {
    qx_sockaddr_union source = ipv4(1, 2, 3, 4);
    source.family = 1;
    InetAddress* address = reinterpret_cast<InetAddress*>(&source);
    expectEach(QX_E_SOCKET_EINVAL,
               {InetAddress::create(&source, &address), InetAddress::create(nullptr, &address),
                InetAddress::create(&source, nullptr)});
    EXPECT_EQ(address, nullptr);
    ENUM_QX_E_SOCKET error = 0;
    const Inet4Address six(&(source = ipv6({1})), &error);
    EXPECT_EQ(error, QX_E_SOCKET_EINVAL);
    EXPECT_EQ(six.isAddressAny(), 1) << "left zero";
    const Inet6Address nothing(nullptr, &error);
    EXPECT_EQ(error, 0);
    String text;
    EXPECT_EQ(nothing.getAddressStr(text), QX_E_SOCKET_EAI_FAMILY);
    EXPECT_EQ(text, u"native error 12047");
    const Inet4Address unreported(&source, nullptr);

    // The system's own number of IPv6 comes from programs that use the system beside this.
    source.family = 10;
    const auto system = make(source);
    uint16_t family = 0;
    EXPECT_EQ(system->getFamily(&family), 0);
    EXPECT_EQ(family, QX_AF_INET6);
}

TEST(InetSocketAddress, PrintsAndComparesAddressAndPort) {
    ENUM_QX_E_SOCKET error = 1;
    const qx_sockaddr_union source = ipv4(1, 2, 3, 4, 80), six = ipv6(Ipv6Loopback, 65535);
    EXPECT_EQ(printed(InetSocketAddress(&six, &error)), "[::1]:65535");
    EXPECT_EQ(error, 0);
    InetSocketAddress address(&source, &error);
    const InetSocketAddress same(&source, &error);
    EXPECT_EQ(printed(address), "1.2.3.4:80");
    EXPECT_EQ(testing::PrintToString(*address.getAddress()), "1.2.3.4");
    EXPECT_EQ(address, same);
    const std::hash<InetSocketAddress> hashOf;
    EXPECT_EQ(hashOf(address), hashOf(same));
    EXPECT_EQ(address.setPortHostOrder(443), 0); // which leaves the socket address
    EXPECT_LT(same, address);
    EXPECT_NE(hashOf(same), hashOf(address));
    uint16_t port = 0;
    EXPECT_EQ(address.getPortHostOrder(&port), 0);
    EXPECT_EQ(port, 443);
    EXPECT_EQ(address.getPortHostOrder(nullptr), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(printed(address), "1.2.3.4:443");
    EXPECT_EQ(storageOf(*address.getAddress()).ipv4.port, source.ipv4.port);

    InetSocketAddress nothing(nullptr, &error);
    EXPECT_EQ(error, QX_E_SOCKET_EINVAL);
    EXPECT_EQ(nothing.setPortHostOrder(8080), 0);
    EXPECT_EQ(printed(nothing), "0address missing:8080");
    EXPECT_LT(nothing, same);
    uint16_t family = 0;
    String text;
    expectEach(QX_E_SOCKET_EFAULT, {nothing.getFamily(&family), nothing.getAddressStr(text)});
    EXPECT_EQ(InetSocketAddress(&source, nullptr).getAddress(), nullptr);
}

TEST(InetSocketAddress, TakesAResultOfTheResolver) {
    qx_sockaddr_union source = ipv6({1, 2}, 1);
    char name[] = "host.example";
    qx_addrinfo info{0, QX_AF_INET6, 0, 0, 28, name, &source, nullptr};
    ENUM_QX_E_SOCKET error = 1;
    const InetSocketAddress address(&info, 80, &error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(printed(address), "[102::]:80");
    EXPECT_EQ(address.getCanonicalName(), u"host.example");
    EXPECT_EQ(storageOf(*address.getAddress()).ipv6.port, networkOrder(80)) << "written into it";
    info.ai_addrlen = 27; // cut off
    InetSocketAddress(&info, 80, &(error = 0));
    EXPECT_EQ(error, QX_E_SOCKET_EINVAL);
    info = {0, QX_AF_INET, 0, 0, 28, name, &source, nullptr}; // of two minds
    InetSocketAddress(&info, 80, &(error = 0));
    EXPECT_EQ(error, QX_E_SOCKET_EINVAL);
}

TEST(InetAddress, ComparesByHostWhateverThePort) {
    // Ascending.
    const qx_sockaddr_union sources[] = {
        ipv4(10, 0, 0, 1), ipv4(10, 0, 1, 0),        ipv4(200, 0, 0, 0),
        ipv6({}),          ipv6({0xFE, 0x80}, 0, 1), ipv6({0xFE, 0x80}, 0, 2),
    };
    std::unordered_set<size_t> hashes;
    for (size_t i = 0; i < std::size(sources); ++i) {
        const auto left = make(sources[i]);
        hashes.insert(std::hash<InetAddress>()(*left));
        for (size_t k = 0; k < std::size(sources); ++k) {
            SCOPED_TRACE(std::to_string(i) + " " + std::to_string(k));
            qx_sockaddr_union other = sources[k];
            other.ipv4.port = 0x1234; // in the same place in ipv6
            EXPECT_EQ(*left <=> *make(other), i <=> k);
            EXPECT_EQ(*left == *make(other), i == k);
        }
    }
    EXPECT_EQ(hashes.size(), std::size(sources));
}

/// The texts of all addresses with their ports, or the number of the failure.
std::string resolved(const char* host, const char* service, int32_t flags, int32_t family,
                     int32_t protocol = QX_IPPROTO_TCP) {
    const qx_addrinfo hints{flags, family, QX_SOCK_STREAM, protocol, 0, {}, {}, {}};
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
    using Text = const char*;
    const std::tuple<Text, Text, int32_t, int32_t, Text> cases[] = {
        // host, service, flags, family; result
        {"fe80::1%lo", "80", 0, QX_AF_INET6, "fe80::1%1/80"},
        {nullptr, "80", QX_AI_PASSIVE, QX_AF_INET, "0.0.0.0/80"},
        {nullptr, "80", 0, QX_AF_INET6, "::1/80"},
        {"127.0.0.1", "http", 0, QX_AF_INET, "127.0.0.1/80"},
        {"127.0.0.1", nullptr, 0, 0, "127.0.0.1/0"},
        {"127.0.0.1", "65536", 0, 0, "12109"}, // not port 0
        {"127.0.0.1", "no-such-service", 0, 0, "12109"},
        {"127.0.0.1", "http", QX_AI_NUMERICSERV, 0, "13001"},
        {"localhost", "80", QX_AI_NUMERICHOST, 0, "13001"},
        {nullptr, nullptr, 0, 0, "13001"},
        {"::1", "80", 0, QX_AF_INET, "14001"},
        {"127.0.0.1", "80", 0x10, 0, "12022"}, // a flag of the system's own
        {"127.0.0.1", "80", 0, 1, "12047"},
    };
    for (const auto& [host, service, flags, family, result] : cases)
        EXPECT_EQ(resolved(host, service, flags, family), result)
            << testing::PrintToString(std::tuple(host, service, flags, family));
    // The system has it twice where its table of hosts has ::1 for that name too.
    EXPECT_TRUE(resolved("localhost", "80", 0, QX_AF_INET).starts_with("127.0.0.1/80"));
    EXPECT_EQ(resolved("127.0.0.1", "80", 0, 0, QX_IPPROTO_UDP), "12044"); // of another type
    uint16_t port = 1;
    EXPECT_EQ(QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName("", &port), 0);
    EXPECT_EQ(port, 0) << "no service";
}

TEST(Resolver, TextsThatDoNotFitAreAnError) {
    qx_sockaddr_union address = ipv4(127, 0, 0, 1);
    char host[10];
    const auto hostOf = [&](int32_t length, uint32_t capacity, int32_t flags = QX_NI_NUMERICHOST) {
        return QXSocketGetNameInfo(&address, length, host, capacity, nullptr, 0, flags);
    };
    EXPECT_EQ(hostOf(16, 10), 0);
    EXPECT_STREQ(host, "127.0.0.1");
    expectEach(10014, {hostOf(16, 9), hostOf(15, 10), hostOf(16, 0), hostOf(16, 0, 0)});
    EXPECT_EQ(hostOf(16, 10, 32), 12022);
    address.family = 1;
    EXPECT_EQ(hostOf(16, 10), 12047);
    char name[260], expected[260];
    ::gethostname(expected, sizeof expected);
    const auto length = static_cast<int32_t>(std::strlen(expected));
    EXPECT_EQ(QXGetHostName(name, length), QX_E_BUFFER_TOO_SMALL);
    EXPECT_STREQ(name, "");
    EXPECT_EQ(QXGetHostName(name, length + 1), QX_OK);
    EXPECT_STREQ(name, expected);
}

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
    int functions = 0; // that have taken them

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
    SCOPED_TRACE(testing::Message() << "function " << arguments.functions++);
    const auto withNull = [&]<size_t Index>(std::integral_constant<size_t, Index>) {
        std::tuple<Parameters...> call{arguments.get<Parameters>()...};
        if constexpr (std::is_pointer_v<std::tuple_element_t<Index, decltype(call)>> &&
                      !(Optional >> Index & 1)) {
            std::get<Index>(call) = nullptr;
            EXPECT_EQ(std::apply(function, call), QX_E_SOCKET_EINVAL) << "argument " << Index;
        }
    };
    [&]<size_t... Index>(std::index_sequence<Index...>) {
        (withNull(std::integral_constant<size_t, Index>()), ...);
    }
    (std::index_sequence_for<Parameters...>());
}

TEST(NetInterface, RefusesEveryNullPointer) {
    Arguments arguments;
    const auto expectRefused = [&](auto... functions) {
        (expectNullsRefused(functions, arguments), ...);
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
        QxNetTcpClientSocketStaticConnect, QxNetTcpClientSocketTimedConnect,
        QxNetTcpWorkerSocketGetAvailable, QxNetTcpWorkerSocketGetLocalAddress,
        QxNetTcpWorkerSocketGetPeerAddress, QxNetTcpServerSocketStaticCreate,
        QxNetTcpServerSocketBindListAddAddrAny, QxNetTcpServerSocketBindListClear,
        QxNetTcpServerSocketBindListSaveOneForNamedPipeReply, QxNetTcpServerSocketBind,
        QxNetTcpServerSocketListen, QxNetTcpServerSocketSaveBoundAddresses,
        QxNetTcpServerSocketAccept, QxNetTcpServerSocketAcceptSocket,
        QxNetTcpServerSocketGetBoundAddress, QxNetTcpServerSocketBindListAddressesDiagnosticStrA,
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
    for (const qx_sockaddr_union* const none : {&other, static_cast<qx_sockaddr_union*>(nullptr)}) {
        for (const auto& get : {cases[0].second, cases[1].second}) {
            char buffer[50] = "unchanged";
            uint32_t length = sizeof buffer, ofNone = 1;
            expectEach(QX_E_SOCKET_EINVAL,
                       {get(none, buffer, &length), get(&place, nullptr, &ofNone)});
            EXPECT_EQ(std::tuple(std::string(buffer), length, ofNone), std::tuple("", 0u, 0u));
        }
        int16_t truth = 7;
        EXPECT_EQ(QxNetInetAddressIsAddressAny(none, &truth), QX_E_SOCKET_EINVAL);
        EXPECT_EQ(truth, 0);
    }
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
    EXPECT_EQ(QX_E_SOCKETFromNativeEaiSocketError(14001), QX_E_SOCKET_EAI_NODATA);
    EXPECT_EQ(describe(0), u"OK");
    EXPECT_EQ(describe(10022), u"FAIL");
    EXPECT_EQ(describe(QX_E_SOCKET_EINVAL), u"EINVAL An invalid argument was supplied. ");
    EXPECT_EQ(describe(QX_E_SOCKET__E_NO_MORE),
              u"_E_NO_MORE No more results can be returned by WSALookupServiceNext. ");
    EXPECT_EQ(describe(QX_E_SOCKET_EAI_NONAME), u"EAI_NONAME NAME or SERVICE is unknown.");
}

} // namespace
