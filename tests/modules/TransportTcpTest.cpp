#include <thread>

#include <gtest/gtest.h>

#include <qx/core/Result.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/pcom/IQXChannel.h>
#include <qx/net/Transport.h>
#include <qx/net/pcom/IQXConnector2.h>
#include <qx/net/pcom/IQXTransport.h>
#include <qx/platform/module.h>
#include <qx/util/config/PropertySet.h>

#include "tests/net/Loopback.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/SafeModule.h"
#include "tests/support/TemporaryRegistry.h"

using namespace qx;
using qxtest::expectThrowsResult;
using util::PropertySet;

namespace {

const String Name(u"Orbelle.Transport.TCP");

using Properties = std::initializer_list<std::pair<const char16_t*, const char16_t*>>;

Reference<PropertySet> makeSet(Properties properties) {
    auto set = makeReference<PropertySet>();
    for (const auto& [name, value] : properties)
        set->set(String(name), String(value));
    return set;
}

/// The module is registered in a registry of the test's own, and unloaded at its end.
class TransportTcp : public testing::Test {
protected:
    TransportTcp() {
        const String path(qxtest::safeModule(QX_TEST_MODULE_DIR "/qxtransport_tcp.so").c_str());
        EXPECT_EQ(QXComRegisterModule(String(path, String::AM_COPY).getData()), 0);
        m_transport = net::Transport::get(Name);
    }
    ~TransportTcp() override {
        m_transport.reset();
        int32_t kept = -1;
        EXPECT_EQ(QXComFreeUnusedModules(0, &kept), 0);
        EXPECT_EQ(kept, 0); // nothing of the module lives
    }

    /// Where an acceptor that was asked for any port is to be reached.
    Reference<PropertySet> placeOf(const PropertySet& listening) const {
        const auto place = makeSet({{u"host", u"127.0.0.1"}});
        place->set(u"port"_qs, listening.get(u"boundPort"_qs));
        return place;
    }
    qx_sockaddr_union addressOf(const PropertySet& listening) const {
        qx_sockaddr_union address = qxtest::ipv4(127, 0, 0, 1);
        const std::string port = listening.get(u"boundPort"_qs).toUtf8();
        address.ipv4.port = qxtest::networkOrder(static_cast<uint16_t>(std::stoi(port)));
        return address;
    }

    const qxtest::TemporaryRegistry m_registry;
    Reference<net::ITransport> m_transport;
};

void send(io::IChannel& channel, std::string_view text) {
    io::ByteBuffer buffer(reinterpret_cast<const signed char*>(text.data()),
                          static_cast<unsigned int>(text.size()), QX_ENDIAN_LITTLE);
    EXPECT_EQ(channel.write(buffer), static_cast<int>(text.size()));
}

/// All that comes until the end.
std::string receive(io::IChannel& channel) {
    std::string text;
    signed char bytes[1000];
    for (;;) {
        io::ByteBuffer buffer(bytes, sizeof bytes, QX_ENDIAN_LITTLE);
        const int count = channel.read(buffer);
        if (count < 0)
            return text;
        text.append(reinterpret_cast<const char*>(bytes), static_cast<size_t>(count));
    }
}

TEST_F(TransportTcp, EchoesOverSeveralConnectionsOfOneAcceptor) {
    const auto listening = makeSet({{u"host", u"127.0.0.1"}, {u"port", u"0"}, {u"backlog", u"8"}});
    const auto acceptor = m_transport->createAcceptor(*listening);
    constexpr int Connections = 4;
    std::jthread server([&] {
        std::vector<std::jthread> echoes;
        for (int i = 0; i < Connections; ++i)
            echoes.emplace_back([channel = acceptor->accept()] {
                signed char bytes[4096];
                for (;;) {
                    io::ByteBuffer buffer(bytes, sizeof bytes, QX_ENDIAN_LITTLE);
                    if (channel->read(buffer) < 0)
                        break;
                    buffer.flip();
                    channel->write(buffer);
                }
            });
    });
    const auto connector = m_transport->createConnector(*placeOf(*listening));
    std::vector<Reference<io::IChannel>> channels;
    for (int i = 0; i < Connections; ++i)
        channels.push_back(connector->connect());
    for (int i = 0; i < Connections; ++i)
        send(*channels[static_cast<size_t>(i)], std::string(10000, static_cast<char>('a' + i)));
    for (int i = 0; i < Connections; ++i) {
        std::string back;
        while (back.size() < 10000) {
            signed char bytes[4096];
            io::ByteBuffer buffer(bytes, sizeof bytes, QX_ENDIAN_LITTLE);
            const int count = channels[static_cast<size_t>(i)]->read(buffer);
            ASSERT_GT(count, 0);
            back.append(reinterpret_cast<const char*>(bytes), static_cast<size_t>(count));
        }
        EXPECT_EQ(back, std::string(10000, static_cast<char>('a' + i)));
    }
}

TEST_F(TransportTcp, WritesOnAfterThePeerHasShutItsOutput) {
    const auto listening = makeSet({{u"port", u"0"}});
    const auto acceptor = m_transport->createAcceptor(*listening);
    const auto peer = qxtest::connectTo(addressOf(*listening));
    auto channel = acceptor->accept();
    qxtest::say(*peer, "question");
    EXPECT_EQ(peer->shutdownOutput(), 0);
    EXPECT_EQ(receive(*channel), "question");
    send(*channel, "answer");
    channel.reset(); // the connection ends with its channel
    EXPECT_EQ(qxtest::heard(*peer), "answer");
}

TEST_F(TransportTcp, TellsAResetFromATimeOut) {
    const auto listening = makeSet({{u"port", u"0"}, {u"readTimeout", u"20"}});
    const auto acceptor = m_transport->createAcceptor(*listening);
    const auto peer = qxtest::connectTo(addressOf(*listening));
    const auto channel = acceptor->accept();
    io::ByteBuffer buffer(10u, QX_ENDIAN_LITTLE);
    expectThrowsResult(QX_E_SOCKET_ETIMEDOUT, [&] { channel->read(buffer); });
    EXPECT_EQ(buffer.getPosition(), 0u);
    send(*channel, "still connected");
    char first = 0;
    int64_t count = 0;
    EXPECT_EQ(peer->recv(&first, 1, 0, &count), 0);
    EXPECT_EQ(peer->close(), 0); // with bytes unread, which resets
    expectThrowsResult(QX_E_SOCKET_ECONNRESET, [&] { channel->read(buffer); });
}

TEST_F(TransportTcp, RefusesPropertiesThatAreMissingOrNone) {
    const struct {
        int32_t code;
        Properties properties;
        bool acceptor;
        bool connector;
    } cases[] = {
        {result::NotFound, {{u"host", u"127.0.0.1"}}, true, true},
        {result::NotFound, {{u"port", u"7"}}, false, true},
        {result::InvalidArgument, {{u"host", u""}, {u"port", u"7"}}, true, true},
        {result::InvalidArgument, {{u"host", u"127.0.0.1"}, {u"port", u"0"}}, false, true},
        {result::InvalidArgument, {{u"host", u"127.0.0.1"}, {u"port", u"65536"}}, true, true},
        {result::InvalidArgument, {{u"host", u"127.0.0.1"}, {u"port", u"-1"}}, true, true},
        {result::InvalidArgument, {{u"host", u"127.0.0.1"}, {u"port", u" 7"}}, true, true},
        {result::InvalidArgument, {{u"host", u"127.0.0.1"}, {u"port", u""}}, true, true},
        {result::InvalidArgument, {{u"port", u"0"}, {u"backlog", u"0"}}, true, false},
        {result::InvalidArgument, {{u"port", u"0"}, {u"readTimeout", u"1s"}}, true, false},
        {QX_E_SOCKET_EADDRNOTAVAIL, {{u"host", u"203.0.113.1"}, {u"port", u"0"}}, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const auto set = makeSet(c.properties);
        if (c.acceptor)
            expectThrowsResult(c.code, [&] { m_transport->createAcceptor(*set); });
        if (c.connector)
            expectThrowsResult(c.code, [&] { m_transport->createConnector(*set); });
        EXPECT_FALSE(set->hasProperty(u"boundPort"_qs));
    }
}

TEST_F(TransportTcp, SaysWhyThereIsNoConnection) {
    const auto listening = makeSet({{u"port", u"0"}});
    auto acceptor = m_transport->createAcceptor(*listening);
    const auto again = makeSet({{u"port", u"0"}});
    again->set(u"port"_qs, listening->get(u"boundPort"_qs));
    expectThrowsResult(QX_E_SOCKET_EADDRINUSE, [&] { m_transport->createAcceptor(*again); });
    const auto connector = m_transport->createConnector(*placeOf(*listening));
    acceptor.reset();
    expectThrowsResult(QX_E_SOCKET_ECONNREFUSED, [&] { connector->connect(); });
}

TEST_F(TransportTcp, GivesConnectionsANameToBeInheritedBy) {
    Reference<net::pcom::IQXTransport> transport;
    ASSERT_EQ(QXComCreateObjectByProgID(u"Orbelle.Transport.TCP.1", nullptr,
                                        &net::pcom::IQXTransport::Iid, transport.putVoid()),
              0);
    const auto listening = makeSet({{u"port", u"0"}});
    const auto acceptor = m_transport->createAcceptor(*listening);
    const auto place = placeOf(*listening);
    Reference<net::pcom::IQXConnector2> connector;
    Reference<io::pcom::IQXChannel> channel;
    ASSERT_EQ(transport->CreateConnector(PropertySet::getPcom(place), net::pcom::IQXConnector2::Iid,
                                         connector.putVoid()),
              0);
    ASSERT_EQ(connector->Connect(io::pcom::IQXChannel::Iid, channel.putVoid()), 0);
    transport.reset();
    connector.reset(); // a channel outlives who made it
    String name;
    EXPECT_EQ(channel->GetInheritableName(&name), 0);
    EXPECT_TRUE(name.startsWith(u"qx.net.tcp.socket="_qs)) << name.toUtf8();
    EXPECT_EQ(channel->GetInheritableName(nullptr), result::NullPointer);
}

} // namespace
