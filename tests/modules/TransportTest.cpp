#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

#include <qx/qx.h>

#include "tests/net/Loopback.h"
#include "tests/net/SomeHost.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/SafeModule.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"

using namespace qx;
using qxtest::failureOf;
using util::PropertySet;

namespace {

/// The path of a file that certificates.sh has made.
std::string certificate(const std::string& name) {
    static const qxtest::TemporaryFolder folder;
    static const int made =
        std::system((QX_TEST_DATA_DIR "/certificates.sh " + folder.path()).c_str());
    EXPECT_EQ(made, 0);
    return folder.path(name);
}

/// Properties out of "name=value;name=value", where "%" stands for the folder of the certificates.
Reference<PropertySet> makeSet(std::string text) {
    auto set = makeReference<PropertySet>();
    for (size_t at; (at = text.find('%')) != text.npos;)
        text.replace(at, 1, certificate(""));
    util::StringTokenizer properties(String::fromUtf8(text), u";");
    while (properties.hasMoreTokens()) {
        const String property = properties.nextToken();
        const int equals = property.indexOf(u'=');
        set->set(property.substring(0, equals), property.substring(equals + 1));
    }
    return set;
}

/// Result code and description of what a call throws.
using Outcome = std::pair<int32_t, std::string>;

Outcome outcomeOf(auto&& body) {
    try {
        body();
    } catch (const Exception& failure) {
        return {failure.getResult(), failure.getDescription().toUtf8()};
    }
    return {0, "nothing thrown"};
}

/// Expects this result code and, in the description, these words.
void expectOutcome(const Outcome& outcome, int32_t code, const std::string& words) {
    EXPECT_EQ(outcome.first, code) << outcome.second;
    EXPECT_NE(outcome.second.find(words), std::string::npos) << outcome.second;
}

void send(io::IChannel& channel, std::string_view text) {
    io::ByteBuffer buffer(reinterpret_cast<const signed char*>(text.data()),
                          static_cast<unsigned int>(text.size()), QX_ENDIAN_LITTLE);
    EXPECT_EQ(channel.write(buffer), static_cast<int>(text.size()));
}

/// What comes with one read; nothing at the end.
std::string receiveSome(io::IChannel& channel) {
    signed char bytes[1000];
    io::ByteBuffer buffer(bytes, sizeof bytes, QX_ENDIAN_LITTLE);
    const int count = channel.read(buffer);
    return count < 0 ? "" : std::string(reinterpret_cast<const char*>(bytes), buffer.getPosition());
}

/// All that comes until the end.
std::string receive(io::IChannel& channel) {
    std::string text;
    for (std::string some; !(some = receiveSome(channel)).empty();)
        text += some;
    return text;
}

/// A module is registered in a registry of the test's own, and unloaded at its end.
struct OneTransport : testing::Test {
    explicit OneTransport(bool isTls) : m_isTls(isTls) {
        const char* const file = isTls ? "qxtransport_tls.so" : "qxtransport_tcp.so";
        const String path(qxtest::safeModule(QX_TEST_MODULE_DIR "/" + std::string(file)).c_str());
        EXPECT_EQ(QXComRegisterModule(String(path, String::AM_COPY).getData()), 0);
        m_name = isTls ? u"Orbelle.Transport.TLS" : u"Orbelle.Transport.TCP";
        m_transport = net::Transport::get(m_name);
        if (isTls)
            m_place->set("trust", certificate("root.crt"));
    }
    ~OneTransport() override {
        m_transport.reset();
        EXPECT_EQ(qxtest::freeModules(), 0); // nothing of the module lives
    }

    /// What an acceptor needs beside @p properties.
    std::string ofAcceptor(const std::string& properties) const {
        return (m_isTls ? "certificate=%server.pem;" : "") + properties;
    }
    /// An acceptor, which m_place leads to.
    Reference<net::IAcceptor> listen(const std::string& properties = "port=0") {
        const auto listening = makeSet(ofAcceptor(properties));
        auto acceptor = m_transport->createAcceptor(*listening);
        m_place->set(u"port"_qs, listening->get(u"boundPort"_qs));
        return acceptor;
    }
    std::string port() const { return m_place->get(u"port"_qs).toUtf8(); }
    /// A plain socket that is connected with the acceptor.
    auto connect() const {
        return qxtest::connectTo(
            qxtest::ipv4(127, 0, 0, 1, static_cast<uint16_t>(std::stoi(port()))));
    }
    struct Ends {
        Reference<io::IChannel> connected, accepted;
    };
    /// A connection between a connector of m_place and the acceptor.
    Ends open(net::IAcceptor& acceptor) const {
        const auto connector = m_transport->createConnector(*m_place);
        auto connecting = std::async(std::launch::async, [&] { return connector->connect(); });
        auto accepted = acceptor.accept();
        return {connecting.get(), std::move(accepted)};
    }

    const bool m_isTls;
    const Reference<PropertySet> m_place = makeSet("host=127.0.0.1");
    const qxtest::TemporaryRegistry m_registry;
    String m_name;
    Reference<net::ITransport> m_transport;
};

/// What holds for both transports.
struct Transports : OneTransport, testing::WithParamInterface<bool> {
    Transports() : OneTransport(GetParam()) {}
};

#ifdef QX_TEST_HAVE_TLS
const auto Kinds = testing::Values(false, true);
#else
const auto Kinds = testing::Values(false);
#endif

INSTANTIATE_TEST_SUITE_P(Of, Transports, Kinds,
                         [](const auto& transport) { return transport.param ? "Tls" : "Tcp"; });

TEST_P(Transports, MoveMoreThanTheNetworkHoldsInBothDirectionsOfSeveralConnections) {
    const auto acceptor = listen("host=127.0.0.1;port=0;backlog=8");
    m_place->set("host", qxtest::SomeHost); // whose first address refuses
    m_place->set("serverName", "localhost.");
    qxtest::someAddresses = {"127.0.0.3", "127.0.0.1"};
    qxtest::lookUps = 0;
    Ends all[3];
    for (Ends& ends : all)
        ends = open(*acceptor);
    EXPECT_EQ(qxtest::lookUps, 3);
    for (Ends& ends : all) {
        const std::string text(8 << 20, static_cast<char>('a' + (&ends - all)));
        const auto arrives = [&](io::IChannel& channel) {
            std::string received;
            while (received.size() < text.size())
                received += receiveSome(channel);
            EXPECT_TRUE(received == text);
        };
        {
            const std::jthread threads[] = {std::jthread([&] { send(*ends.connected, text); }),
                                            std::jthread([&] { send(*ends.accepted, text); }),
                                            std::jthread([&] { arrives(*ends.connected); }),
                                            std::jthread([&] { arrives(*ends.accepted); })};
        }
        ends.connected.reset(); // the connection ends with its channel
        EXPECT_EQ(receive(*ends.accepted), "");
    }
}

TEST_P(Transports, StayConnectedAfterTimeOutsAndForksUntilTheEnd) {
    const auto acceptor = listen("port=0;readTimeout=20");
    Ends ends = open(*acceptor);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(failureOf([&] { receive(*ends.accepted); }), QX_E_SOCKET_ETIMEDOUT);
    EXPECT_TRUE(qxtest::holdsInFork([&] {
        const bool isSent = m_isTls && failureOf([&] { send(*ends.accepted, "x"); }) == 0;
        ends = {}; // of which the parent notices nothing
        return !isSent;
    }));
    send(*ends.accepted, "still connected");
    EXPECT_EQ(receiveSome(*ends.connected), "still connected");
    if (m_isTls) // what lies unread resets a plain connection, sooner or later
        send(*ends.accepted, "unread");
    ends.connected.reset();
    EXPECT_EQ(receive(*ends.accepted), "");
}

TEST_P(Transports, RefusePropertiesThatAreMissingOrNone) {
    const std::tuple<int32_t, const char*, bool, bool, const char*> cases[] = {
        // the result, what it is about, and whether an acceptor and a connector are refused
        {result::NotFound, "port", true, true, "host=127.0.0.1"},
        {result::NotFound, "host", false, true, "port=7"},
        {result::InvalidArgument, "host", true, true, "host=;port=7"},
        {result::InvalidArgument, "port", false, true, "host=127.0.0.1;port=0"},
        {result::InvalidArgument, "port", true, true, "host=127.0.0.1;port=65536"},
        {result::InvalidArgument, "port", true, true, "host=127.0.0.1;port= 7"},
        {result::InvalidArgument, "port", true, true, "host=127.0.0.1;port="},
        {result::InvalidArgument, "backlog", true, false, "port=0;backlog=0"},
        {result::InvalidArgument, "readTimeout", true, false, "port=0;readTimeout=1s"},
        {result::InvalidArgument, "connectTimeout", false, true, "host=h;port=7;connectTimeout=s"},
        {result::InvalidArgument, "serverName", false, m_isTls, "host=.localhost;port=7"},
        {QX_E_SOCKET_EADDRNOTAVAIL, "", true, false, "host=203.0.113.1;port=0"},
    };
    for (const auto& [code, about, acceptor, connector, properties] : cases) {
        SCOPED_TRACE(testing::Message() << about << acceptor << connector);
        const auto set = makeSet(ofAcceptor(properties));
        const auto refused = [&, code = code, about = about](auto&& create) {
            const auto [result, description] = outcomeOf(create);
            return result == code && description.starts_with(about);
        };
        EXPECT_TRUE(!acceptor || refused([&] { m_transport->createAcceptor(*set); }));
        EXPECT_TRUE(!connector || refused([&] { m_transport->createConnector(*set); }));
        EXPECT_FALSE(set->hasProperty(u"boundPort"_qs));
    }
}

TEST_P(Transports, AreFoundByTheWholeName) {
    EXPECT_EQ(failureOf([&] { net::Transport::get(m_name + u'\0'); }), result::NotFound);
}

TEST_P(Transports, SayWhyThereIsNoConnection) {
    auto acceptor = listen();
    const auto taken = makeSet(ofAcceptor("host=127.0.0.1;port=" + port()));
    EXPECT_EQ(failureOf([&] { m_transport->createAcceptor(*taken); }), QX_E_SOCKET_EADDRINUSE);
    const auto connector = m_transport->createConnector(*m_place);
    acceptor.reset();
    EXPECT_EQ(failureOf([&] { connector->connect(); }), QX_E_SOCKET_ECONNREFUSED);
}

TEST_P(Transports, GiveComponentsWhoseChannelsOutliveThem) {
    Reference<net::pcom::IQXTransport> transport;
    const String name = m_name + u".1";
    ASSERT_EQ(QXComCreateObjectByProgID(name.getData(), nullptr, &net::pcom::IQXTransport::Iid,
                                        transport.putVoid()),
              0);
    const auto acceptor = listen();
    Reference<net::pcom::IQXConnector2> connector;
    Reference<io::pcom::IQXChannel> channel;
    ASSERT_EQ(transport->CreateConnector(PropertySet::getPcom(m_place),
                                         net::pcom::IQXConnector2::Iid, connector.putVoid()),
              0);
    auto accepting = std::async(std::launch::async, [&] { return acceptor->accept(); });
    ASSERT_EQ(connector->Connect(io::pcom::IQXChannel::Iid, channel.putVoid()), 0);
    transport.reset();
    connector.reset();
    String inherited;
    EXPECT_EQ(channel->GetInheritableName(&inherited), m_isTls ? result::NotAvailable : 0);
    EXPECT_EQ(inherited.startsWith(u"qx.net.tcp.socket="_qs), !m_isTls) << inherited.toUtf8();
    EXPECT_EQ(channel->GetInheritableName(nullptr), result::NullPointer);
    accepting.get();
}

struct TransportTcp : OneTransport {
    TransportTcp() : OneTransport(false) {}
};

TEST_F(TransportTcp, WritesOnAfterAnEndAndTellsItFromAReset) {
    const auto acceptor = listen();
    for (const bool resets : {false, true}) {
        const auto peer = connect();
        auto channel = acceptor->accept();
        if (resets) {
            qxtest::resetOnClose(*peer);
            EXPECT_EQ(peer->close(), 0);
            EXPECT_EQ(failureOf([&] { receive(*channel); }), QX_E_SOCKET_ECONNRESET);
            continue;
        }
        EXPECT_EQ(peer->shutdownOutput(), 0);
        EXPECT_EQ(receive(*channel), "");
        send(*channel, "answer");
        channel.reset();
        EXPECT_EQ(qxtest::heard(*peer), "answer");
    }
}

#ifdef QX_TEST_HAVE_TLS

constexpr int32_t ProtocolFailed = static_cast<int32_t>(0x80090326u);
constexpr int32_t CertificateExpired = static_cast<int32_t>(0x800B0101u);
constexpr int32_t CertificateUntrusted = static_cast<int32_t>(0x800B0109u);
constexpr int32_t CertificateOfAnotherHost = static_cast<int32_t>(0x800B010Fu);

/// Another program, of which the test reads the output.
struct Program {
    explicit Program(const std::string& command)
        : output(::popen(command.c_str(), "r"), ::pclose) {}

    std::string line() {
        char text[1000] = "";
        std::string read = std::fgets(text, sizeof text, output.get()) ? text : "";
        return read.substr(0, read.find('\n'));
    }

    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output;
};

struct TransportTls : OneTransport {
    TransportTls() : OneTransport(true) {}

    static std::string peer(const std::string& arguments) {
        return QX_TEST_DATA_DIR "/tls_peer.py " + arguments;
    }
    /// A channel to a server of another implementation, which does as @p mode says.
    Reference<io::IChannel> connectTo(Program& server) {
        m_place->set("port", server.line());
        return m_transport->createConnector(*m_place)->connect();
    }
};

TEST_F(TransportTls, SaysWhichCertificateIsRefusedAndWhy) {
    const char *const other = "certificate=%other.pem", *const self = "certificate=%self.pem";
    const char* const asking = "clientCertificate=required;trust=%root.crt";
    // clang-format off
    const struct {
        const char *acceptor, *connector;
        int32_t accepting, connecting; // or reading, for what the server says after the handshake
        const char* reason;
    } cases[] = {
        {"", "", 0, 0, ""},
        {"certificate=%expired.pem", "", ProtocolFailed, CertificateExpired,
         "certificate CN = expired of 127.0.0.1: certificate has expired"},
        {self, "", ProtocolFailed, CertificateUntrusted,
         "certificate CN = self of 127.0.0.1: self-signed certificate"},
        {self, "trust=%self.pem", 0, 0, ""},
        {self, "verify=none", 0, 0, ""},
        {other, "", ProtocolFailed, CertificateOfAnotherHost,
         "certificate CN = other of 127.0.0.1: IP address mismatch"},
        {"certificate=%client.pem", "serverName=client", ProtocolFailed, CertificateOfAnotherHost,
         "certificate CN = client of client: hostname mismatch"},
        {"", "serverName=localhost", 0, 0, ""},
        {other, "verify=chain", 0, 0, ""},
        {other, "serverName=other.example", 0, 0, ""},
        {"minimumVersion=1.3", "minimumVersion=1.3", 0, 0, ""},
        {asking, "certificate=%client.pem", 0, 0, ""},
        {asking, "", ProtocolFailed, ProtocolFailed, "certificate required"},
        {asking, self, CertificateUntrusted, ProtocolFailed, "unknown ca"},
        {"clientCertificate=optional;trust=%root.crt", "", 0, 0, ""},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const auto acceptor = listen(std::string("port=0;") + c.acceptor);
        const auto target =
            makeSet("host=127.0.0.1;trust=%root.crt;port=" + port() + ';' + c.connector);
        auto connecting = std::async(std::launch::async, [&] {
            return outcomeOf([&] {
                EXPECT_EQ(receive(*m_transport->createConnector(*target)->connect()), "hello");
            });
        });
        expectOutcome(outcomeOf([&] { send(*acceptor->accept(), "hello"); }), c.accepting, "");
        expectOutcome(connecting.get(), c.connecting, c.reason);
    }
}

TEST_F(TransportTls, SaysWhichFileCannotBeUsedAndWhy) {
    // clang-format off
    const std::tuple<int32_t, const char*, const char*> cases[] = {
        {result::NotFound, "certificate is not set", ""},
        {result::NotFound, "missing.pem: No such file", "certificate=%missing.pem"},
        {result::InvalidArgument, "made.cnf: no start line", "certificate=%made.cnf"},
        {result::InvalidArgument, "other.key: key values mismatch",
         "certificate=%server.pem;key=%other.key"},
        {result::InvalidArgument, "other.kind: of another kind than the certificate",
         "certificate=%server.pem;key=%other.kind"},
        {result::InvalidArgument, "key", "certificate=%server.pem;key=%locked.key"},
        {result::InvalidArgument, "locked.key: ", // why is chance: what a wrong password decrypts
         "certificate=%server.pem;key=%locked.key;keyPassword=guessed"},
        {0, "", "certificate=%server.pem;key=%locked.key;keyPassword=secret"},
        {result::NotFound, "trust is not set",
         "certificate=%server.pem;clientCertificate=optional"},
        {result::InvalidArgument, "clientCertificate is none of none optional required",
         "certificate=%server.pem;clientCertificate=yes"},
        {result::NotFound, "missing.pem: No such file",
         "certificate=%server.pem;clientCertificate=optional;trust=%missing.pem"},
        {result::InvalidArgument, "minimumVersion", "certificate=%server.pem;minimumVersion=1.1"},
    };
    // clang-format on
    for (const auto& [code, reason, properties] : cases) {
        const auto place = makeSet(std::string("port=0;") + properties);
        SCOPED_TRACE(reason);
        expectOutcome(outcomeOf([&] { m_transport->createAcceptor(*place); }), code, reason);
    }
    const auto place = makeSet("port=0;certificate=%server.pem");
    qxtest::withoutDescriptors([&] {
        expectOutcome(outcomeOf([&] { m_transport->createAcceptor(*place); }), result::TooManyFiles,
                      "");
    });
}

TEST_F(TransportTls, SpeaksWithServersOfOthersAndTellsTheirEndFromACut) {
    for (const std::string version : {"1.2", "1.3"}) {
        const auto serve = [&](const char* mode) {
            return peer("serve " + certificate("") + ' ' + version + ' ' + mode);
        };
        {
            Program server(serve("clean"));
            auto channel = connectTo(server);
            EXPECT_EQ(receive(*channel), "hello");
            send(*channel, "and farewell"); // the other direction is still open
            channel.reset();
            EXPECT_EQ(server.line(), "and farewell");
        }
        for (const char* mode : {"cut", "half"}) {
            Program server(serve(mode));
            const auto channel = connectTo(server);
            EXPECT_EQ(receiveSome(*channel), "hello");
            for (int i = 0; i < 2; ++i)
                EXPECT_EQ(outcomeOf([&] { receiveSome(*channel); }),
                          Outcome(QX_E_SOCKET_ECONNABORTED, "127.0.0.1: cut off before its end"));
        }
        Program server(serve("vanish"));
        const auto channel = connectTo(server);
        const int32_t failure = failureOf([&] { // and no signal
            for (;;)
                send(*channel, "is anybody there?");
        });
        EXPECT_TRUE(failure == QX_E_SOCKET_ECONNRESET || failure == QX_E_SOCKET_ECONNABORTED);
    }
}

TEST_F(TransportTls, ServesClientsOfOthers) {
    const auto acceptor = listen("port=0;clientCertificate=optional;trust=%root.crt");
    for (const char* version : {"1.2", "1.3"}) {
        Program client(peer("connect " + certificate("") + ' ' + version + " clean " + port()));
        auto channel = acceptor->accept();
        EXPECT_EQ(receive(*channel), "hello");
        send(*channel, "welcome");
        channel.reset();
        EXPECT_EQ(client.line(), "welcome");
    }
}

TEST_F(TransportTls, GivesALentSocketBackAsItWas) {
    const net::ServerSide side(m_name, *makeSet(ofAcceptor("")));
    const qxtest::Pair lent;
    qxtest::say(*lent.client, "GET / HTTP/1.0\r\n\r\n");
    EXPECT_EQ(failureOf([&] { side.serve(lent.worker->getId()); }), ProtocolFailed);
    qxtest::setOption(*lent.worker, QX_SO_RCVTIMEO, 1);
    char byte;
    int64_t count = 0;
    EXPECT_EQ(lent.worker->recv(&byte, 1, 0, &count), QX_E_SOCKET_ETIMEDOUT);
}

TEST_F(TransportTls, PeersThatStopInTheHandshakeHoldUpNobody) {
    auto acceptor = listen("port=0;backlog=2");
    const auto silent = connect(), rude = connect();
    qxtest::say(*rude, "GET / HTTP/1.0\r\n\r\n");
    const auto refused = outcomeOf([&] { acceptor->accept(); });
    expectOutcome(refused, ProtocolFailed, ": http request");
    EXPECT_TRUE(refused.second.starts_with("127.0.0.1:")) << refused.second;
    for (int i = 0; i < 3; ++i)
        open(*acceptor);
    // Nor do more of them than there is room for, at which the oldest is let go.
    const auto second = connect(), third = connect();
    open(*acceptor);
    EXPECT_EQ(qxtest::heard(*silent), "");

    acceptor = listen("port=0;connectTimeout=50");
    const auto slow = connect();
    expectOutcome(outcomeOf([&] { acceptor->accept(); }), QX_E_SOCKET_ETIMEDOUT,
                  ": too slow in the handshake");
    EXPECT_EQ(qxtest::heard(*slow), "");

    const qxtest::LoopbackServer server; // takes connections and says nothing, or always the same
    m_place->set("port", std::to_string(server.port()));
    std::string requests; // for a new handshake, which a client ignores as long as one is under way
    for (int i = 0; i < 200; ++i)
        requests += std::string("\x16\3\3\0\4\0\0\0\0", 9);
    const auto saying = std::async(std::launch::async, [&] {
        auto peer = server.accept();
        qxtest::say(*peer, requests);
        return peer;
    });
    EXPECT_EQ(failureOf([&] { m_transport->createConnector(*m_place)->connect(); }),
              ProtocolFailed);
    m_place->set("connectTimeout", "50");
    EXPECT_EQ(failureOf([&] { m_transport->createConnector(*m_place)->connect(); }),
              QX_E_SOCKET_ETIMEDOUT);
}

#endif

} // namespace
