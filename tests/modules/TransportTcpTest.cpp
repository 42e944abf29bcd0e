#include <thread>

#include <qx/qx.h>

#include "tests/net/Loopback.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/SafeModule.h"
#include "tests/support/TemporaryRegistry.h"

using namespace qx;
using qxtest::failureOf;
using util::PropertySet;

namespace {

const String Name(u"Orbelle.Transport.TCP");

using Properties = std::vector<std::pair<const char16_t*, const char16_t*>>;

Reference<PropertySet> makeSet(const Properties& properties) {
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

    /// An acceptor, which m_place leads to.
    Reference<net::IAcceptor> listen(const Properties& properties = {{u"port", u"0"}}) {
        const auto listening = makeSet(properties);
        auto acceptor = m_transport->createAcceptor(*listening);
        m_place->set(u"port"_qs, listening->get(u"boundPort"_qs));
        return acceptor;
    }
    /// A socket that is connected with the acceptor.
    auto connect() const {
        qx_sockaddr_union address = qxtest::ipv4(127, 0, 0, 1);
        const std::string port = m_place->get(u"port"_qs).toUtf8();
        address.ipv4.port = qxtest::networkOrder(static_cast<uint16_t>(std::stoi(port)));
        return qxtest::connectTo(address);
    }

    const Reference<PropertySet> m_place = makeSet({{u"host", u"127.0.0.1"}});
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

TEST_F(TransportTcp, MovesBytesOverSeveralConnectionsOfOneAcceptor) {
    const auto acceptor = listen({{u"host", u"127.0.0.1"}, {u"port", u"0"}, {u"backlog", u"8"}});
    const auto connector = m_transport->createConnector(*m_place);
    Reference<io::IChannel> connected[3], accepted[3];
    for (size_t i = 0; i < std::size(connected); ++i) {
        connected[i] = connector->connect();
        accepted[i] = acceptor->accept();
    }
    for (size_t i = 0; i < std::size(connected); ++i) {
        const std::string text(100'000, static_cast<char>('a' + i));
        std::jthread sender([&] {
            send(*connected[i], text);
            connected[i].reset(); // the connection ends with its channel
        });
        EXPECT_EQ(receive(*accepted[i]), text);
    }
}

TEST_F(TransportTcp, WritesOnAfterThePeerHasShutItsOutput) {
    const auto acceptor = listen();
    const auto peer = connect();
    auto channel = acceptor->accept();
    qxtest::say(*peer, "question");
    EXPECT_EQ(peer->shutdownOutput(), 0);
    EXPECT_EQ(receive(*channel), "question");
    send(*channel, "answer");
    channel.reset(); // the connection ends with its channel
    EXPECT_EQ(qxtest::heard(*peer), "answer");
}

TEST_F(TransportTcp, TellsAResetFromATimeOut) {
    const auto acceptor = listen({{u"port", u"0"}, {u"readTimeout", u"20"}});
    const auto peer = connect();
    const auto channel = acceptor->accept();
    io::ByteBuffer buffer(10u, QX_ENDIAN_LITTLE);
    EXPECT_EQ(failureOf([&] { channel->read(buffer); }), QX_E_SOCKET_ETIMEDOUT);
    EXPECT_EQ(buffer.getPosition(), 0u);
    send(*channel, "still connected");
    char first = 0;
    int64_t count = 0;
    EXPECT_EQ(peer->recv(&first, 1, 0, &count), 0);
    EXPECT_EQ(peer->close(), 0); // with bytes unread, which resets
    EXPECT_EQ(failureOf([&] { channel->read(buffer); }), QX_E_SOCKET_ECONNRESET);
}

TEST_F(TransportTcp, RefusesPropertiesThatAreMissingOrNone) {
    const std::tuple<int32_t, bool, bool, Properties> cases[] = {
        // the result, and whether an acceptor and a connector are refused
        {result::NotFound, true, true, {{u"host", u"127.0.0.1"}}},
        {result::NotFound, false, true, {{u"port", u"7"}}},
        {result::InvalidArgument, true, true, {{u"host", u""}, {u"port", u"7"}}},
        {result::InvalidArgument, false, true, {{u"host", u"127.0.0.1"}, {u"port", u"0"}}},
        {result::InvalidArgument, true, true, {{u"host", u"127.0.0.1"}, {u"port", u"65536"}}},
        {result::InvalidArgument, true, true, {{u"host", u"127.0.0.1"}, {u"port", u"-1"}}},
        {result::InvalidArgument, true, true, {{u"host", u"127.0.0.1"}, {u"port", u" 7"}}},
        {result::InvalidArgument, true, true, {{u"host", u"127.0.0.1"}, {u"port", u""}}},
        {result::InvalidArgument, true, false, {{u"port", u"0"}, {u"backlog", u"0"}}},
        {result::InvalidArgument, true, false, {{u"port", u"0"}, {u"readTimeout", u"1s"}}},
        {QX_E_SOCKET_EADDRNOTAVAIL, true, false, {{u"host", u"203.0.113.1"}, {u"port", u"0"}}},
    };
    for (const auto& [code, acceptor, connector, properties] : cases) {
        SCOPED_TRACE(testing::Message() << acceptor << connector);
        const auto set = makeSet(properties);
        const auto accept = [&] { m_transport->createAcceptor(*set); };
        const auto connect = [&] { m_transport->createConnector(*set); };
        EXPECT_TRUE(!acceptor || failureOf(accept) == code);
        EXPECT_TRUE(!connector || failureOf(connect) == code);
        EXPECT_FALSE(set->hasProperty(u"boundPort"_qs));
    }
}

TEST_F(TransportTcp, SaysWhyThereIsNoConnection) {
    auto acceptor = listen();
    EXPECT_EQ(failureOf([&] { m_transport->createAcceptor(*m_place); }), QX_E_SOCKET_EADDRINUSE);
    const auto connector = m_transport->createConnector(*m_place);
    acceptor.reset();
    EXPECT_EQ(failureOf([&] { connector->connect(); }), QX_E_SOCKET_ECONNREFUSED);
}

TEST_F(TransportTcp, GivesConnectionsANameToBeInheritedBy) {
    Reference<net::pcom::IQXTransport> transport;
    ASSERT_EQ(QXComCreateObjectByProgID(u"Orbelle.Transport.TCP.1", nullptr,
                                        &net::pcom::IQXTransport::Iid, transport.putVoid()),
              0);
    const auto acceptor = listen();
    Reference<net::pcom::IQXConnector2> connector;
    Reference<io::pcom::IQXChannel> channel;
    ASSERT_EQ(transport->CreateConnector(PropertySet::getPcom(m_place),
                                         net::pcom::IQXConnector2::Iid, connector.putVoid()),
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
