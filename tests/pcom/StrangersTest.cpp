#include <array>
#include <functional>
#include <string>
#include <typeinfo>

#include <gtest/gtest.h>

#include <qx/collections/Comparator.h>
#include <qx/collections/List.h>
#include <qx/collections/Map.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Integer.h>
#include <qx/i18n/ComStringBundle.h>
#include <qx/i18n/Locale.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/Channels.h>
#include <qx/log/LogEntry.h>
#include <qx/log/pcom/ILogProcessor.h>
#include <qx/log/pcom/PcomProcessor.h>
#include <qx/net/LegacyConnector.h>
#include <qx/net/pcom/AbstractTransport.h>
#include <qx/net/pcom/PcomAcceptor.h>
#include <qx/net/pcom/PcomConnector.h>
#include <qx/net/pcom/PcomTransport.h>
#include <qx/pcom/ClassFactory.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/util/buffer/CopyCharBuffer.h>
#include <qx/util/config/Property.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/pcom/PcomPropertySet.h>

#include "tests/pcom/strangers.h"

// Every operation that takes a component gets some that the library knows nothing of.

#ifdef __SANITIZE_ADDRESS__
struct MadeInC {
    virtual ~MadeInC() = default;
};
const std::type_info& madeInC = typeid(MadeInC);

extern "C" const char* __ubsan_default_options() {
    return "suppressions=" QX_TEST_DATA_DIR "/strangers.supp";
}
#endif

namespace {

using namespace qx;
using namespace qx::literals;
using namespace qx::collections::pcom;
using util::PropertySet;
using util::pcom::IPropertySet;

/// Stands for CastFailedException, whose result is that of many others.
constexpr int32_t Cast = -1;
constexpr int32_t Ok = result::Ok, Fail = result::Fail, Null = result::NullPointer,
                  None = result::NoInterface, Denied = StrangerFailure;
constexpr int32_t True = 1, False = 0;

/// The result of @p body, or what it throws as one.
template <class Body>
int32_t outcomeOf(Body&& body) {
    try {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            return Ok;
        } else {
            return static_cast<int32_t>(body());
        }
    } catch (const CastFailedException&) {
        return Cast;
    } catch (const Exception& exception) {
        return exception.getResult();
    }
}

template <class Interface>
Interface* as(IQXUnknown* unknown) {
    return reinterpret_cast<Interface*>(unknown);
}

/// What holds for null, and for strangers that answer nothing, say yes and fail.
struct Row {
    template <class Call>
    Row(const char* name, std::array<int32_t, 4> outcomes, Call call)
        : operation(name), expected(outcomes), outcome([call](IQXUnknown* component) {
              return outcomeOf([&] { return call(component); });
          }) {}

    const char* operation;
    std::array<int32_t, 4> expected;
    std::function<int32_t(IQXUnknown* component)> outcome;
};

void check(std::initializer_list<Row> rows) {
    for (const Row& row : rows) {
        for (int kind = -1; kind <= StrangerFails; ++kind) {
            SCOPED_TRACE(testing::Message() << row.operation << ", kind " << kind);
            Stranger stranger = strangerOf(static_cast<StrangerKind>(std::max(kind, 0)), nullptr);
            auto* const component = kind < 0 ? nullptr : reinterpret_cast<IQXUnknown*>(&stranger);
            const int32_t outcome = row.outcome(component);
            EXPECT_EQ(outcome, row.expected[static_cast<size_t>(kind + 1)]) << std::hex << outcome;
            EXPECT_EQ(stranger.references, 1);
        }
    }
}

/// A collection with one element.
template <class C>
Reference<C> holding(IQXUnknown* component) {
    auto collection = makeReference<C>();
    collection->add(component);
    return collection;
}

Reference<HashMap> mapOf(IQXUnknown* key, IQXUnknown* value) {
    auto map = makeReference<HashMap>();
    map->put(key, value);
    return map;
}

IQXUnknown* newText() { return (new String(u"text"))->GetUnknown(); }

} // namespace

TEST(Strangers, AreElementsByTheirAddress) {
    check({
        {"list finds",
         {True, True, True, True},
         [](auto* x) { return holding<ArrayList>(x)->contains(x); }},
        {"list removes",
         {True, True, True, True},
         [](auto* x) { return holding<LinkedList>(x)->remove(x); }},
        {"list searches backwards",
         {0, 0, 0, 0},
         [](auto* x) { return holding<ArrayList>(x)->lastIndexOf(x); }},
        {"set finds",
         {True, True, True, True},
         [](auto* x) { return holding<HashSet>(x)->contains(x); }},
        {"text among strangers",
         {False, False, True, False}, // who says yes is equal to all
         [](auto* x) {
             const Reference<IQXUnknown> text = newText();
             return holding<ArrayList>(x)->contains(text);
         }},
        {"stranger among texts",
         {False, False, False, False},
         [](auto* x) { return holding<ArrayList>(newText())->contains(x); }},
        {"order",
         {0, 0, StrangerSuccess, 0},
         [](auto* x) {
             int order = 1;
             const int32_t code = util::Comparator().Compare(x, x, &order);
             EXPECT_EQ(order, 0);
             return code;
         }},
        {"order behind a text",
         {Ok, Ok, Ok, Ok},
         [](auto* x) {
             String text(u"text");
             int order = 0;
             const int32_t code = text.CompareTo(x, &order);
             EXPECT_EQ(order, std::less<>()(text.GetUnknown(), x) ? 1 : -1);
             return code;
         }},
        {"comparator",
         {Null, True, True, True}, // which finds all equal
         [](auto* x) {
             ArrayList list(as<IQXComparator>(x));
             list.add(newText());
             return list.contains(nullptr) && HashSet(list, as<IQXComparator>(x)).contains(x);
         }},
    });
}

TEST(Strangers, AreKeysAndValuesButNoEntries) {
    check({
        {"key", {True, True, True, True}, [](auto* x) { return mapOf(x, x)->containsKey(x); }},
        {"value", {True, True, True, True}, [](auto* x) { return mapOf(x, x)->containsValue(x); }},
        {"get", {True, True, True, True}, [](auto* x) { return mapOf(x, x)->get(x) == x; }},
        {"remove",
         {True, True, True, True},
         [](auto* x) {
             const auto map = mapOf(x, nullptr);
             map->remove(x);
             return map->isEmpty();
         }},
        {"entry",
         {Cast, Cast, Cast, Cast},
         [](auto* x) { return mapOf(x, x)->createEntrySet()->contains(x); }},
        {"entries",
         {Cast, Cast, Cast, Cast},
         [](auto* x) { return mapOf(x, x)->createEntrySet()->containsAll(*holding<HashSet>(x)); }},
        {"removed entry",
         {False, False, False, False},
         [](auto* x) { return mapOf(x, x)->createEntrySet()->remove(x); }},
        {"removed entries",
         {False, False, False, False},
         [](auto* x) { return mapOf(x, x)->createEntrySet()->removeAll(*holding<HashSet>(x)); }},
        {"kept entries",
         {True, True, False, True},
         [](auto* x) { return mapOf(x, x)->createEntrySet()->retainAll(*holding<ArrayList>(x)); }},
        {"typed element",
         {Ok, Cast, Cast, Cast},
         [](auto* x) {
             collections::List<String>(holding<ArrayList>(x).get()).get(0);
             return Ok;
         }},
        {"typed entry",
         {Ok, Cast, Cast, Cast},
         [](auto* x) {
             const collections::Map<String, Object> map(mapOf(newText(), x));
             for (const auto& [key, value] : map)
                 EXPECT_EQ(value, nullptr);
             return Ok;
         }},
    });
}

TEST(Strangers, AreNoTextsAndNoObjects) {
    check({
        {"property of a set",
         {None, None, Null, Denied},
         [](auto* x) { return makeReference<PropertySet>()->Set(u"name", x); }},
        {"legacy property",
         {None, Ok, Ok, Ok},
         [](auto* x) { return makeReference<CQXProperty>(u"key"_qs, 1)->SetValue(x); }},
        {"text of a legacy property",
         {Ok, Fail, Fail, Fail},
         [](auto* x) {
             const auto property = makeReference<CQXProperty>(u"key"_qs, 1);
             property->SetValue(x);
             String text;
             return property->GetValueString(&text);
         }},
        {"interface of a legacy property",
         {Ok, None, Ok, Denied},
         [](auto* x) {
             const auto property = makeReference<CQXProperty>(u"key"_qs, 1);
             property->SetValue(x);
             void* out = x;
             const int32_t code = property->GetValue(IQXComparable::Iid, &out);
             EXPECT_EQ(out == nullptr, code < 0);
             if (out)
                 static_cast<IQXUnknown*>(out)->Release();
             return code;
         }},
        {"field of an entry",
         {Fail, Fail, Fail, Fail},
         [](auto* x) { return log::LogEntry::create()->SetField(u"name", x); }},
        {"outer object",
         {Ok, result::NoAggregation, result::NoAggregation, result::NoAggregation},
         [](auto* x) {
             Reference<IQXUnknown> made;
             return qx::pcom::createInstance<Object>(nullptr, x, IQXUnknown::Iid, made.putVoid());
         }},
    });
}

TEST(Strangers, AreBuffersThatHaveNothingAndNoRoom) {
    const String text(u"text"), nothing;
    check({
        {"copied text",
         {Ok, Null, Null, Null},
         [](auto* x) { return String(as<const IQXCharBuffer>(x)).getLength(); }},
        {"shared text",
         {Ok, Null, Null, Null},
         [](auto* x) { return String(as<IQXCharBuffer>(x), String::AM_SHARE).getLength(); }},
        {"copy from",
         {Null, Null, Null, Null},
         [](auto* x) {
             String copy;
             return QXCopyCharBuffer(&copy, as<IQXCharBuffer>(x));
         }},
        {"copy to",
         {Null, Null, Null, Null},
         [&](auto* x) { return QXCopyCharBuffer(as<IQXCharBuffer>(x), &text); }},
        {"copy of nothing",
         {Null, Ok, Ok, Ok},
         [&](auto* x) { return QXCopyCharBuffer(as<IQXCharBuffer>(x), &nothing); }},
        {"bytes",
         {Null, Null, Null, Null},
         [&](auto* x) { text.getBytes(as<IQXByteBuffer>(x), u"UTF-8"); }},
        {"text of a component",
         {Null, Null, Null, Null},
         [](auto* x) {
             return makeReference<i18n::Locale>(u"de")->ToString(as<IQXCharBuffer>(x));
         }},
    });
}

namespace {

/// Does not look at its properties.
class Transport : public net::pcom::AbstractTransport {
public:
    Reference<net::IAcceptor> createAcceptor(const PropertySet&) override { return nullptr; }
    Reference<net::IConnector> createConnector(const PropertySet& properties) override {
        properties.get(u"name"_qs);
        return nullptr;
    }
};

/// Connects to the component that it is given.
class Connector : public CQXAbstractConnector {
public:
    explicit Connector(IQXUnknown* target) : m_target(target) {}
    Reference<IQXUnknown> connect() override { return m_target; }

private:
    const Reference<IQXUnknown> m_target;
};

} // namespace

TEST(Strangers, AreWorkedWithByWhatTheirInterfacePromises) {
    const PropertySet properties;
    const auto entry = log::LogEntry::create();
    check({
        {"log processor",
         {Null, Ok, Ok, Ok},
         [&](auto* x) {
             log::pcom::PcomProcessor::create(as<log::pcom::ILogProcessor>(x))->process(entry);
             return Ok;
         }},
        {"text of a bundle",
         {Null, Ok, Ok, Ok},
         [](auto* x) {
             const auto bundle = makeReference<i18n::ComStringBundle>(as<IQXResourceBundle>(x));
             return bundle->lookupString(u"key"_qs).getLength() + bundle->getKeys()->getSize();
         }},
        {"acceptor",
         {Null, Null, Null, Null},
         [](auto* x) { net::pcom::PcomAcceptor(as<net::pcom::IQXAcceptor>(x)).accept(); }},
        {"connector",
         {Null, Null, Null, Null},
         [](auto* x) { net::pcom::PcomConnector(as<net::pcom::IQXConnector2>(x)).connect(); }},
        {"transport",
         {Null, Null, Null, Null},
         [&](auto* x) {
             net::pcom::PcomTransport(as<net::pcom::IQXTransport>(x)).createAcceptor(properties);
         }},
        {"other way of a transport",
         {Null, Null, Null, Null},
         [&](auto* x) {
             net::pcom::PcomTransport(as<net::pcom::IQXTransport>(x)).createConnector(properties);
         }},
        {"properties of an acceptor",
         {Null, Fail, Fail, Fail},
         [](auto* x) {
             void* out = x;
             return makeReference<Transport>()->CreateAcceptor(as<IPropertySet>(x), IQXUnknown::Iid,
                                                               &out);
         }},
        {"properties of a connector",
         {Null, Null, Null, Null},
         [](auto* x) {
             void* out = x;
             return makeReference<Transport>()->CreateConnector(as<IPropertySet>(x),
                                                                IQXUnknown::Iid, &out);
         }},
        {"what is connected",
         {Fail, None, Ok, Denied},
         [](auto* x) {
             void* out = x;
             const int32_t code =
                 makeReference<Connector>(x)->Connect(nullptr, IQXComparable::Iid, &out);
             EXPECT_EQ(out == nullptr, code < 0);
             if (out)
                 static_cast<IQXUnknown*>(out)->Release();
             return code;
         }},
        {"properties",
         {Null, Null, Null, Null},
         [](auto* x) {
             util::pcom::PcomPropertySet set(as<IPropertySet>(x));
             set.set(u"name"_qs, u"value"_qs);
             EXPECT_FALSE(set.hasProperty(u"name"_qs));
             EXPECT_EQ(set.remove(u"name"_qs), u"");
             set.getKeys();
         }},
        {"channel",
         {Null, 4, 4, 4}, // it claims that all was moved
         [](auto* x) {
             const auto channel =
                 io::Channels::adaptPcomWithInheritance(as<io::pcom::IQXChannel>(x));
             io::ByteBuffer buffer(4, QX_ENDIAN_LITTLE);
             return channel->read(buffer);
         }},
        {"decoder",
         {Null, 1, 1, 1},
         [](auto* x) {
             text::charset::BTCCom decoder(as<IQXCharCodec>(x));
             const signed char bytes[4] = {};
             char16_t units[4];
             int32_t read = 0, written = 0;
             decoder.convert(bytes, &read, 4, units, &written, 4);
             return read == 4 && written <= 4;
         }},
        {"encoder",
         {Null, False, False, False},
         [](auto* x) {
             text::charset::CTBCom encoder(as<IQXCharCodec>(x));
             signed char bytes[6];
             return encoder.convertChar(u'a', bytes, 6);
         }},
    });
}

// A reference to it is not one to what is behind it, although every query leads there.
TEST(Strangers, ThatStandInFrontOfAnObjectOfTheLibraryKeepTheirCount) {
    const auto text = makeReference<String>(u"text");
    Stranger stranger = strangerOf(StrangerStandsInFront, text->GetUnknown());
    auto* const component = reinterpret_cast<IQXUnknown*>(&stranger);
    EXPECT_EQ(collections::List<String>(holding<ArrayList>(component).get()).get(0), text);
    EXPECT_TRUE(holding<ArrayList>(component)->contains(text->GetUnknown()));
    const auto entry = log::LogEntry::create();
    EXPECT_EQ(entry->SetField(u"name", component), Ok);
    EXPECT_EQ(entry->getField(u"name"_qs), text);
    EXPECT_EQ(makeReference<CQXProperty>(u"key"_qs, 1)->SetValue(component), Ok);
    const auto map = mapOf(component, component);
    const auto entries = map->createEntrySet();
    auto first = entries->createIterator()->next();
    Stranger front = strangerOf(StrangerStandsInFront, first.get());
    EXPECT_TRUE(entries->contains(reinterpret_cast<IQXUnknown*>(&front)));
    EXPECT_EQ(front.references, 1);
    map->clear();
    first.reset();
    EXPECT_EQ(stranger.references, 1);
    EXPECT_EQ(text->GetRefCount(), 2u); // ours and that of the entry
}
