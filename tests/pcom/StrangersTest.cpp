#include <algorithm>
#include <array>
#include <functional>
#include <typeinfo>

#include <gtest/gtest.h>

#include <qx/qx.h>

// Every operation that takes a component gets some that the library knows nothing of.

#ifdef __SANITIZE_ADDRESS__
/// The check of types reads it before each call, and lets this one pass.
struct MadeInC {
    virtual ~MadeInC() = default;
};
const void* const Description[] = {nullptr, &typeid(MadeInC)};

extern "C" const char* __ubsan_default_options() {
    return "suppressions=" QX_TEST_DATA_DIR "/strangers.supp";
}
#else
/// Whoever asks for the type falls.
const void* const Description[] = {reinterpret_cast<void*>(-1), reinterpret_cast<void*>(1)};
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
                  None = result::NoInterface, Denied = result::AccessDenied;
constexpr int32_t True = 1, False = 0, Success = 5;

/// An object that another program has made in C, with a table of functions and nothing in front of
/// it that describes a type. An interface pointer is its address. Behind the unknown interface the
/// table goes on with functions that do nothing: the first answers Success, the others 0.
struct Stranger {
    const void* table;
    IQXUnknown* behind; // not counted
    int64_t references = 1;

    IQXUnknown* component() { return reinterpret_cast<IQXUnknown*>(this); }
};
using Query = int32_t (*)(Stranger* self, const GUID* iid, void** out);

uint32_t addReference(Stranger* self) { return static_cast<uint32_t>(++self->references); }
uint32_t dropReference(Stranger* self) { return static_cast<uint32_t>(--self->references); }

/// Hands out itself as whatever it is asked for.
int32_t sayYes(Stranger* self, const GUID*, void** out) {
    addReference(self);
    *out = self;
    return Ok;
}
/// Knows the unknown interface only.
int32_t answerNothing(Stranger* self, const GUID* iid, void** out) {
    *out = nullptr;
    return *iid == IQXUnknown::Iid ? sayYes(self, iid, out) : None;
}
/// Denies every query, and leaves something behind.
int32_t failQuery(Stranger*, const GUID*, void** out) {
    *out = reinterpret_cast<void*>(1);
    return Denied;
}
/// Asks what it stands in front of.
int32_t passOn(Stranger* self, const GUID* iid, void** out) {
    return self->behind->QueryInterface(*iid, out);
}

intptr_t succeed() { return Success; }
intptr_t doNothing() { return 0; }

/// @tparam query  what it answers to queries
template <Query query>
Stranger strangerOf(IQXUnknown* behind = nullptr) {
    struct Table {
        const void* description[2] = {Description[0], Description[1]}; // where C++ has one
        Query queryInterface = query;
        uint32_t (*counting[2])(Stranger*) = {addReference, dropReference};
        intptr_t (*further[21])() = {succeed};
        Table() { std::fill(std::begin(further) + 1, std::end(further), doNothing); }
    };
    static const Table table;
    return {&table.queryInterface, behind};
}

/// The result of @p body, or what it throws as one.
int32_t outcomeOf(auto&& body) {
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

/// Expects outcomes of @p call for null, and for strangers that answer nothing, say yes and fail.
void check(const char* operation, const std::array<int32_t, 4>& outcomes, auto call) {
    Stranger strangers[] = {
        {}, strangerOf<answerNothing>(), strangerOf<sayYes>(), strangerOf<failQuery>()};
    for (size_t kind = 0; kind < std::size(strangers); ++kind) {
        SCOPED_TRACE(testing::Message() << operation << ", kind " << kind);
        auto* const component = kind == 0 ? nullptr : strangers[kind].component();
        const int32_t outcome = outcomeOf([&] { return call(component); });
        EXPECT_EQ(outcome, outcomes[kind]) << std::hex << outcome;
        EXPECT_EQ(strangers[kind].references, 1);
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

Reference<CQXProperty> propertyOf(IQXUnknown* value) {
    auto property = makeReference<CQXProperty>(u"key"_qs, 1);
    property->SetValue(value);
    return property;
}

/// What @p get returns, which gives an object unless it fails.
int32_t got(void* out, auto get) {
    const int32_t code = get(&out);
    EXPECT_EQ(out == nullptr, code < 0);
    if (out)
        static_cast<IQXUnknown*>(out)->Release();
    return code;
}

IQXUnknown* newText() { return (new String(u"text"))->GetUnknown(); }

} // namespace

TEST(Strangers, AreElementsKeysAndValuesByTheirAddressButNoEntries) {
    check("elements", {True, True, True, True}, [](auto* x) {
        return holding<ArrayList>(x)->contains(x) && holding<LinkedList>(x)->remove(x) &&
               holding<ArrayList>(x)->lastIndexOf(x) == 0 && holding<HashSet>(x)->contains(x);
    });
    check("keys and values", {True, True, True, True}, [](auto* x) {
        const auto map = mapOf(x, x);
        const bool isThere = map->containsKey(x) && map->containsValue(x) && map->get(x) == x;
        map->remove(x);
        return isThere && map->isEmpty();
    });
    // Who says yes is equal to all.
    check("text among strangers", {False, False, True, False}, [](auto* x) {
        const Reference<IQXUnknown> text = newText();
        return holding<ArrayList>(x)->contains(text);
    });
    check("order", {0, 0, Success, 0}, [](auto* x) {
        int order = 1;
        const int32_t code = util::Comparator().Compare(x, x, &order);
        EXPECT_EQ(order, 0);
        return code;
    });
    check("order behind a text", {Ok, Ok, Ok, Ok}, [](auto* x) {
        String text(u"text");
        int order = 0;
        const int32_t code = text.CompareTo(x, &order);
        EXPECT_EQ(order, std::less<>()(text.GetUnknown(), x) ? 1 : -1);
        return code;
    });
    // As a comparator it finds all equal.
    check("comparator", {Null, True, True, True}, [](auto* x) {
        ArrayList list(as<IQXComparator>(x));
        list.add(newText());
        return list.contains(nullptr) && HashSet(list, as<IQXComparator>(x)).contains(x);
    });
    check("comparator of a sort", {Null, Ok, Ok, Ok}, [](auto* x) {
        ArrayList{u"a", u"b"}.sort(as<IQXComparator>(x));
    });
    check("elements sorted by type", {Ok, Cast, Cast, Cast}, [](auto* x) {
        collections::List<String>(holding<ArrayList>(x)).sort([](auto&, auto&) { return true; });
    });
    check("entries", {Cast, Cast, Cast, Cast},
          [](auto* x) { return mapOf(x, x)->createEntrySet()->containsAll(*holding<HashSet>(x)); });
    check("removed entries", {False, False, False, False}, [](auto* x) {
        const auto entries = mapOf(x, x)->createEntrySet();
        return entries->remove(x) || entries->removeAll(*holding<HashSet>(x));
    });
    check("kept entries", {True, True, False, True},
          [](auto* x) { return mapOf(x, x)->createEntrySet()->retainAll(*holding<ArrayList>(x)); });
    check("typed element", {Ok, Cast, Cast, Cast},
          [](auto* x) { collections::List<String>(holding<ArrayList>(x).get()).get(0); });
    check("typed entry", {Ok, Cast, Cast, Cast}, [](auto* x) {
        const collections::Map<String, Object> map(mapOf(newText(), x));
        for (const auto& [key, value] : map)
            EXPECT_EQ(value, nullptr);
    });
}

TEST(Strangers, AreNoTextsAndNoObjects) {
    check("query", {False, False, True, False},
          [](IQXUnknown* x) { return Reference(x).query<IQXComparable>() != nullptr; });
    check("query for what has to be there", {Null, None, Ok, Denied},
          [](IQXUnknown* x) { Reference(x).queryOrThrow<IQXComparable>(); });
    check("property of a set", {None, None, Null, Denied},
          [](auto* x) { return makeReference<PropertySet>()->Set(u"name", x); });
    check("legacy property", {None, Ok, Ok, Ok},
          [](auto* x) { return makeReference<CQXProperty>(u"key"_qs, 1)->SetValue(x); });
    check("text of a legacy property", {Ok, Fail, Fail, Fail}, [](auto* x) {
        String text;
        return propertyOf(x)->GetValueString(&text);
    });
    check("interface of a legacy property", {Ok, None, Ok, Denied}, [](auto* x) {
        const auto property = propertyOf(x);
        return got(x, [&](void** out) { return property->GetValue(IQXComparable::Iid, out); });
    });
    check("field of an entry", {Fail, Fail, Fail, Fail},
          [](auto* x) { return log::LogEntry::create()->SetField(u"name", x); });
    check("outer object", {Ok, result::NoAggregation, result::NoAggregation, result::NoAggregation},
          [](auto* x) {
              Reference<IQXUnknown> made;
              return qx::pcom::createInstance<Object>(nullptr, x, IQXUnknown::Iid, made.putVoid());
          });
}

TEST(Strangers, AreBuffersThatHaveNothingAndNoRoom) {
    const String text(u"text"), nothing;
    check("copied text", {Ok, Null, Null, Null},
          [](auto* x) { return String(as<const IQXCharBuffer>(x)).getLength(); });
    check("shared text", {Ok, Null, Null, Null},
          [](auto* x) { return String(as<IQXCharBuffer>(x), String::AM_SHARE).getLength(); });
    check("copy from", {Null, Null, Null, Null}, [](auto* x) {
        String copy;
        return QXCopyCharBuffer(&copy, as<IQXCharBuffer>(x));
    });
    check("copy to", {Null, Null, Null, Null},
          [&](auto* x) { return QXCopyCharBuffer(as<IQXCharBuffer>(x), &text); });
    check("copy of nothing", {Null, Ok, Ok, Ok},
          [&](auto* x) { return QXCopyCharBuffer(as<IQXCharBuffer>(x), &nothing); });
    check("bytes", {Null, Null, Null, Null},
          [&](auto* x) { text.getBytes(as<IQXByteBuffer>(x), u"UTF-8"); });
    check("text of a component", {Null, Null, Null, Null}, [](auto* x) {
        return makeReference<i18n::Locale>(u"de")->ToString(as<IQXCharBuffer>(x));
    });
}

namespace {

/// Does not look at its properties.
struct Transport : net::pcom::AbstractTransport {
    Reference<net::IAcceptor> createAcceptor(const PropertySet&) override { return nullptr; }
    Reference<net::IConnector> createConnector(const PropertySet&) override { return nullptr; }
};

/// Connects to the component that it is given.
struct Connector : CQXAbstractConnector {
    explicit Connector(IQXUnknown* component) : target(component) {}
    Reference<IQXUnknown> connect() override { return target; }

    const Reference<IQXUnknown> target;
};

} // namespace

TEST(Strangers, AreWorkedWithByWhatTheirInterfacePromises) {
    const PropertySet properties;
    const auto entry = log::LogEntry::create();
    check("log processor", {Null, Ok, Ok, Ok}, [&](auto* x) {
        log::pcom::PcomProcessor::create(as<log::pcom::ILogProcessor>(x))->process(entry);
    });
    check("text of a bundle", {Null, Ok, Ok, Ok}, [](auto* x) {
        const auto bundle = makeReference<i18n::ComStringBundle>(as<IQXResourceBundle>(x));
        return bundle->lookupString(u"key"_qs).getLength() + bundle->getKeys()->getSize();
    });
    using namespace net::pcom;
    constexpr std::array<int32_t, 4> AllNull = {Null, Null, Null, Null};
    check("acceptor", AllNull, [](auto* x) { PcomAcceptor(as<IQXAcceptor>(x)).accept(); });
    check("connector", AllNull, [](auto* x) { PcomConnector(as<IQXConnector2>(x)).connect(); });
    check("transport that accepts", AllNull,
          [&](auto* x) { PcomTransport(as<IQXTransport>(x)).createAcceptor(properties); });
    check("transport that connects", AllNull,
          [&](auto* x) { PcomTransport(as<IQXTransport>(x)).createConnector(properties); });
    for (const auto create : {&Transport::CreateAcceptor, &Transport::CreateConnector})
        check("properties of what is created", {Null, Fail, Fail, Fail}, [&](auto* x) {
            const auto transport = makeReference<Transport>();
            void* out = x;
            return (*transport.*create)(as<IPropertySet>(x), IQXUnknown::Iid, &out);
        });
    check("what is connected", {Fail, None, Ok, Denied}, [](auto* x) {
        const auto connector = makeReference<Connector>(x);
        return got(
            x, [&](void** out) { return connector->Connect(nullptr, IQXComparable::Iid, out); });
    });
    check("properties", {Null, Null, Null, Null}, [](auto* x) {
        util::pcom::PcomPropertySet set(as<IPropertySet>(x));
        set.set(u"name"_qs, u"value"_qs);
        EXPECT_FALSE(set.hasProperty(u"name"_qs));
        EXPECT_EQ(set.remove(u"name"_qs), u"");
        EXPECT_EQ(outcomeOf([&] { set.get(u"name"_qs); }), Null);
        set.getKeys();
    });
    // It claims that all was moved.
    check("channel", {Null, 4, 4, 4}, [](auto* x) {
        const auto channel = io::Channels::adaptPcomWithInheritance(as<io::pcom::IQXChannel>(x));
        io::ByteBuffer buffer(4, QX_ENDIAN_LITTLE);
        return channel->read(buffer);
    });
    check("decoder", {Null, 1, 1, 1}, [](auto* x) {
        text::charset::BTCCom decoder(as<IQXCharCodec>(x));
        const signed char bytes[4] = {};
        char16_t units[4];
        int32_t read = 0, written = 0;
        decoder.convert(bytes, &read, 4, units, &written, 4);
        return read == 4 && written <= 4;
    });
    check("encoder", {Null, False, False, False}, [](auto* x) {
        text::charset::CTBCom encoder(as<IQXCharCodec>(x));
        signed char bytes[6];
        return encoder.convertChar(u'a', bytes, 6);
    });
}

// A reference to it is not one to what is behind it, although every query leads there.
TEST(Strangers, ThatStandInFrontOfAnObjectOfTheLibraryKeepTheirCount) {
    const auto text = makeReference<String>(u"text");
    Stranger stranger = strangerOf<passOn>(text->GetUnknown());
    auto* const component = stranger.component();
    for (auto* const known : {text->GetUnknown(), component}) // and then its class is known
        EXPECT_EQ(collections::List<String>(holding<ArrayList>(known).get()).get(0), text);
    EXPECT_TRUE(holding<ArrayList>(component)->contains(text->GetUnknown()));
    const auto entry = log::LogEntry::create();
    EXPECT_EQ(entry->SetField(u"name", component), Ok);
    EXPECT_EQ(entry->getField(u"name"_qs), text);
    EXPECT_EQ(makeReference<CQXProperty>(u"key"_qs, 1)->SetValue(component), Ok);
    const auto map = mapOf(component, component);
    const auto entries = map->createEntrySet();
    auto first = entries->createIterator()->next();
    Stranger front = strangerOf<passOn>(first.get());
    EXPECT_TRUE(entries->contains(front.component()));
    EXPECT_EQ(front.references, 1);
    map->clear();
    first.reset();
    EXPECT_EQ(stranger.references, 1);
    EXPECT_EQ(text->GetRefCount(), 2u); // ours and that of the entry
}
