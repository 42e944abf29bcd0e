#include <sstream>
#include <tuple>
#include <unordered_set>

#include <qx/core/String.h>
#include <qx/net/Inet4Address.h>
#include <qx/net/Inet6Address.h>
#include <qx/net/InetSocketAddress.h>
#include <qx/net/netaddress.h>

#include "tests/net/Loopback.h"

namespace {

using namespace qx;
using namespace qx::net;
using namespace qxtest;

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

std::string diagnostics(const InetSocketAddress& address) {
    String text(u"<");
    address.getDiagnosticStr(text);
    return text.getDataT<char>();
}

TEST(InetAddress, KnowsWhatItStandsForAndGivesItsBytesWhereThereIsRoom) {
    const struct {
        qx_sockaddr_union address;
        const char* text;
        int16_t any, loopback, none;
    } cases[] = {
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
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        int16_t any = 7, loopback = 7, none = 7; // by the C interface, which asks the members
        EXPECT_EQ(QxNetInetAddressIsAddressAny(&c.address, &any), 0);
        EXPECT_EQ(QxNetInetAddressIsAddressLoopback(&c.address, &loopback), 0);
        EXPECT_EQ(QxNetInetAddressIsAddressNone(&c.address, &none), 0);
        EXPECT_EQ(std::tuple(any, loopback, none), std::tuple(c.any, c.loopback, c.none));
        const auto address = make(c.address);
        String text(u"<");
        EXPECT_EQ(address->getAddressStr(text), 0);
        EXPECT_EQ(text.getDataT<char>(), "<" + std::string(c.text));

        const bool isIpv4 = c.address.family == QX_AF_INET;
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
        EXPECT_EQ(
            std::memcmp(bytes, isIpv4 ? c.address.ipv4.address : c.address.ipv6.address, needed),
            0);
        qx_sockaddr_union copy = storageOf(*address);
        EXPECT_EQ(std::memcmp(&copy, &c.address, sizeof copy), 0);
        length = whole - 1;
        EXPECT_EQ(address->getStorageBinary(&copy, &length), QX_E_SOCKET_EMSGSIZE);
        EXPECT_EQ(length, whole);

        for (const ENUM_QX_E_SOCKET code :
             {address->getAddressBinary(nullptr, &length), address->getFamily(nullptr),
              address->getAddressBinary(bytes, nullptr), address->getAddressBinaryLength(nullptr),
              address->getStorageBinary(nullptr, &length),
              address->getStorageBinaryLength(nullptr)})
            EXPECT_EQ(code, QX_E_SOCKET_EINVAL);
        EXPECT_EQ(address->setAddressAny(), 0);
        EXPECT_EQ(address->isAddressAny(), 1);
    }
}

TEST(InetAddress, RefusesOtherFamilies) {
    qx_sockaddr_union source = ipv4(1, 2, 3, 4);
    source.family = 1;
    InetAddress* address = reinterpret_cast<InetAddress*>(&source);
    EXPECT_EQ(InetAddress::create(&source, &address), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(InetAddress::create(nullptr, &address), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(InetAddress::create(&source, nullptr), QX_E_SOCKET_EINVAL);

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

TEST(InetSocketAddress, PrintsAddressAndPort) {
    ENUM_QX_E_SOCKET error = 1;
    const qx_sockaddr_union source = ipv4(1, 2, 3, 4, 80), six = ipv6(Ipv6Loopback, 65535);
    EXPECT_EQ(diagnostics(InetSocketAddress(&six, &error)), "<[::1]:65535");
    EXPECT_EQ(error, 0);
    InetSocketAddress address(&source, &error);
    EXPECT_EQ(diagnostics(address), "<1.2.3.4:80");
    EXPECT_EQ(address.setPortHostOrder(443), 0); // which leaves the socket address
    uint16_t port = 0;
    EXPECT_EQ(address.getPortHostOrder(&port), 0);
    EXPECT_EQ(port, 443);
    EXPECT_EQ(address.getPortHostOrder(nullptr), QX_E_SOCKET_EINVAL);
    EXPECT_EQ(diagnostics(address), "<1.2.3.4:443");
    EXPECT_EQ(storageOf(*address.getAddress()).ipv4.port, source.ipv4.port);

    InetSocketAddress nothing(nullptr, &error);
    EXPECT_EQ(error, QX_E_SOCKET_EINVAL);
    EXPECT_EQ(nothing.setPortHostOrder(8080), 0);
    EXPECT_EQ(diagnostics(nothing), "<0address missing:8080");
    uint16_t family = 0;
    EXPECT_EQ(nothing.getFamily(&family), QX_E_SOCKET_EFAULT);
    String text;
    EXPECT_EQ(nothing.getAddressStr(text), QX_E_SOCKET_EFAULT);
    const InetSocketAddress unreported(&source, nullptr);
    EXPECT_EQ(unreported.getAddress(), nullptr);
}

TEST(InetSocketAddress, TakesAResultOfTheResolver) {
    qx_sockaddr_union source = ipv6({1, 2}, 1);
    char name[] = "host.example";
    qx_addrinfo info{0, QX_AF_INET6, 0, 0, 28, name, &source, nullptr};
    ENUM_QX_E_SOCKET error = 1;
    const InetSocketAddress address(&info, 80, &error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(diagnostics(address), "<[102::]:80");
    EXPECT_EQ(address.getCanonicalName(), u"host.example");
    EXPECT_EQ(storageOf(*address.getAddress()).ipv6.port, networkOrder(80)) << "written into it";
    const std::pair<int32_t, uint32_t> refused[] = {{QX_AF_INET6, 27}, // cut off
                                                    {QX_AF_INET, 28}}; // of two minds
    for (const auto& [family, length] : refused) {
        info.ai_family = family;
        info.ai_addrlen = length;
        InetSocketAddress(&info, 80, &(error = 0));
        EXPECT_EQ(error, QX_E_SOCKET_EINVAL) << length;
    }
}

TEST(InetSocketAddress, PortsOfServices) {
    const std::tuple<const char*, ENUM_QX_E_SOCKET, uint16_t> cases[] = {
        {"http", 0, 80}, {"", 0, 0}, {"no-such-service", QX_E_SOCKET_NO_DATA, 0}};
    for (const auto& [name, code, expected] : cases) {
        uint16_t port = 1;
        EXPECT_EQ(QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName(name, &port), code)
            << name;
        EXPECT_EQ(port, expected) << name;
    }
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

TEST(InetSocketAddress, ComparesByAddressAndPort) {
    ENUM_QX_E_SOCKET error = 0;
    const auto host = ipv4(10, 0, 0, 1);
    InetSocketAddress address(&host, &error);
    InetSocketAddress same(&host, &error);
    const InetSocketAddress none(static_cast<const qx_sockaddr_union*>(nullptr), &error);
    EXPECT_EQ(address, same);
    EXPECT_EQ(std::hash<InetSocketAddress>()(address), std::hash<InetSocketAddress>()(same));
    same.setPortHostOrder(80);
    EXPECT_LT(address, same);
    EXPECT_NE(std::hash<InetSocketAddress>()(address), std::hash<InetSocketAddress>()(same));
    EXPECT_LT(none, address);
    EXPECT_EQ(none, none);
    std::ostringstream out;
    out << same << ' ' << *same.getAddress() << ' ' << none;
    EXPECT_EQ(out.str(), "10.0.0.1:80 10.0.0.1 0address missing:0");
}

} // namespace
