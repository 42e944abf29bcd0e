#include <functional>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qx::net;
using qxtest::expectEach;
using util::PropertySet;

namespace {

/// How many fakes live, how they fail, and what they make.
struct Fakes {
    static inline int alive = 0;
    static inline std::function<void()> fail;
    static inline Reference<io::IChannel> channel;
    static inline Reference<IAcceptor> acceptor;
};

template <class Base>
struct Counted : Base {
    Counted() { ++Fakes::alive; }
    ~Counted() override { --Fakes::alive; }
};

struct Acceptor : Counted<net::pcom::AbstractAcceptor> {
    Reference<io::IChannel> accept() override { return Fakes::fail(), Fakes::channel; }
};

struct Connector : Counted<net::pcom::AbstractConnector> {
    Reference<io::IChannel> connect() override { return Fakes::fail(), Fakes::channel; }
};

struct EchoTransport : Counted<net::pcom::AbstractTransport> {
    Reference<IConnector> createConnector(const PropertySet& properties) override {
        Fakes::fail();
        return properties.hasProperty(u"host"_qs) ? makeReference<Connector>() : nullptr;
    }
    Reference<IAcceptor> createAcceptor(const PropertySet& properties) override {
        Fakes::fail();
        return properties.hasProperty(u"host"_qs) ? Fakes::acceptor : nullptr;
    }
};

/// Every object is gone after each test.
struct Transports : testing::Test {
    Transports() {
        m_properties.set(u"host"_qs, u"here"_qs);
        Fakes::fail = [] {};
        Fakes::acceptor = makeReference<Acceptor>();
        Fakes::channel = io::Channels::adaptStreams(new io::ByteArrayInputStream(nullptr, 0),
                                                    new io::ByteArrayOutputStream());
    }
    ~Transports() override {
        Fakes::acceptor.reset();
        Fakes::channel.reset();
        EXPECT_EQ(Fakes::alive, 0);
    }

    /// A class that was offered as a component, seen as a class again.
    static Reference<ITransport> throughTheBoundary() {
        return makeReference<net::pcom::PcomTransport>(makeReference<EchoTransport>().get());
    }

    PropertySet m_properties;
};

TEST_F(Transports, SurfaceEveryFailureInBothDirections) {
    const std::pair<int32_t, std::function<void()>> failures[] = {
        {result::TimedOut, [] { throwResult(result::TimedOut); }},
        {RangeErrorException().getResult(), [] { throw RangeErrorException(); }},
        {result::OutOfMemory, [] { throw std::bad_alloc(); }},
        {result::Fail, [] { throw 1; }},
    };
    for (const auto& [code, fail] : failures) {
        SCOPED_TRACE(code);
        const auto transport = throughTheBoundary();
        const auto acceptor = transport->createAcceptor(m_properties);
        const auto connector = transport->createConnector(m_properties);
        Fakes::fail = fail;
        expectEach(code, {[&] { acceptor->accept(); }, [&] { connector->connect(); },
                          [&] { transport->createAcceptor(m_properties); },
                          [&] { transport->createConnector(m_properties); }});
        Fakes::fail = [] {};
    }
}

TEST_F(Transports, AskWhatIsMadeForTheInterface) {
    const auto transport = throughTheBoundary();
    const auto acceptor = transport->createAcceptor(m_properties);
    // What is seen through a bridge is no component any more.
    Fakes::channel =
        io::Channels::adaptPcomChannel(qxtest::interfaceOf<io::pcom::IQXChannel>(Fakes::channel));
    expectEach(result::NoInterface, {[&] { acceptor->accept(); }});
    Fakes::acceptor = makeReference<net::pcom::PcomAcceptor>(makeReference<Acceptor>().get());
    expectEach(result::NoInterface, {[&] { transport->createAcceptor(m_properties); }});
    Fakes::channel.reset();
    expectEach(result::Fail, {[&] { acceptor->accept(); }});

    void* out = &out;
    const auto component = makeReference<EchoTransport>();
    const Reference<Object> bases[] = {component, makeReference<Acceptor>(),
                                       makeReference<Connector>()};
    for (const auto& base : bases) // their own interface and no other
        EXPECT_EQ(base->QueryInterface(IQXComparable::Iid, &out), result::NoInterface);
    EXPECT_EQ(component->CreateConnector(PropertySet::getPcom(&m_properties),
                                         net::pcom::IQXConnector2::Iid, nullptr),
              result::NullPointer);
}

struct OldConnector : CQXAbstractConnector {
    using CQXAbstractConnector::getProperty;
    using CQXAbstractConnector::hasProperty;
    using CQXAbstractConnector::setProperty;

    Reference<IQXUnknown> connect() override {
        return makeReference<String>(getProperty(u"text"_qs))->GetUnknown();
    }
};

TEST(LegacyConnector, ConnectsByItsPropertiesWhateverTheTarget) {
    OldConnector connector;
    IQXConnector& component = connector;
    void* none = &none;
    EXPECT_EQ(component.Connect(u"target", IQXCharBuffer::Iid, &none), result::Fail);
    EXPECT_EQ(none, nullptr);
    for (const char16_t* const text : {u"first", u"second"})
        EXPECT_EQ(component.SetProperty(u"text", text), 0);
    Reference<IQXCharBuffer> connected;
    EXPECT_EQ(component.Connect(nullptr, IQXCharBuffer::Iid, connected.putVoid()), 0);
    EXPECT_EQ(connected->GetLength(), 6);
    String text;
    EXPECT_EQ(component.GetProperty(u"text", &text), 0);
    EXPECT_EQ(text, u"second"_qs);
    EXPECT_EQ(component.GetProperty(u"Text", &text), result::Fail);
    expectEach(result::NullPointer,
               {component.SetProperty(nullptr, u""), component.SetProperty(u"", nullptr),
                component.GetProperty(nullptr, &text), component.GetProperty(u"text", nullptr)});
    std::u16string units = u"other"; // of which the connector has a copy
    connector.setProperty(String(units.data(), String::AM_WRAP), u"value"_qs);
    units[0] = u'?';
    EXPECT_TRUE(connector.hasProperty(u"other"_qs));
    EXPECT_EQ(qxtest::descriptionOf([&] { connector.getProperty(u"third"_qs); }),
              "Property Not Found.");
}

} // namespace
