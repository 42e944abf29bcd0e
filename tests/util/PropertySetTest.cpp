#include <algorithm>
#include <map>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryRegistry.h"

using namespace qx;
using namespace qx::util;
using namespace qx::util::pcom;
using namespace qxtest;

namespace {

std::vector<std::string> keysOf(const PropertySet& set) {
    std::vector<std::string> keys;
    const auto keySet = set.getKeys();
    for (const auto& key : *keySet)
        keys.push_back(key->toUtf8());
    std::sort(keys.begin(), keys.end());
    return keys;
}

/// The text that @p get, one of the methods that hand one out, gives for a name.
std::string textOf(const IPropertySet& set, decltype(&IPropertySet::Get) get,
                   const char16_t* name) {
    Reference<IQXCharBuffer> text;
    EXPECT_EQ((set.*get)(name, IQXCharBuffer::Iid, text.putVoid()), result::Ok);
    return String(text.get()).toUtf8();
}

/// A component with nothing but the unknown interface.
struct Stranger : ComObject {};

/// Another module's property set: it lists its keys, and fails when it is told to.
struct ForeignSet : PropertySet {
    struct Keys : qx::pcom::Implements<ComObject, IKeyIterator> {
        explicit Keys(const std::vector<std::string>& keys) : left(keys) {}
        int32_t HasNext(int16_t* hasNext) override {
            *hasNext = !left.empty();
            return result::Ok;
        }
        int32_t Next(const GUID& iid, void** out) override {
            const auto next = makeReference<String>(String::fromUtf8(left.back()));
            left.pop_back();
            return next->QueryInterface(iid, out);
        }

        std::vector<std::string> left;
    };

    int32_t Set(const char16_t* name, IQXUnknown* value) const override {
        return failure < 0 ? failure : PropertySet::Set(name, value);
    }
    int32_t Get(const char16_t* name, const GUID& iid, void** out) const override {
        *out = reinterpret_cast<void*>(1); // a failing call may leave anything behind
        return failure < 0 ? failure : PropertySet::Get(name, iid, out);
    }
    int32_t Remove(const char16_t* name, const GUID& iid, void** out) const override {
        *out = reinterpret_cast<void*>(1);
        return failure < 0 ? failure : PropertySet::Remove(name, iid, out);
    }
    int32_t GetKeyIterator(const GUID& iid, void** out) const override {
        *out = nullptr;
        return failure < 0 ? failure : makeReference<Keys>(keysOf(*this))->QueryInterface(iid, out);
    }

    int32_t failure = result::Ok;
};

/// A set that keeps its properties in a map.
struct StoredProperties : CQXPropertySet {
    CQXSmartPtr<const CQXProperty> getProperty(const String& name) const override {
        const auto found = properties.find(name);
        return found == properties.end() ? nullptr : found->second;
    }
    CQXSmartPtr<CQXProperty> getPropertyToSet(const String& name) override {
        auto& property = properties[name];
        if (!property)
            property = new CQXProperty(name, String());
        return property;
    }

    std::map<String, CQXSmartPtr<CQXProperty>> properties;
};

} // namespace

TEST(PropertySet, FallsBackToItsParents) {
    const auto root = makeReference<PropertySet>();
    const auto middle = makeReference<PropertySet>(root.get());
    const auto leaf = makeReference<PropertySet>(middle.get());
    root->set(u"port", u"80");
    root->set(u"host", u"a");
    EXPECT_EQ(leaf->get(u"port"), u"80");
    leaf->set(u"port", u"8080");
    leaf->set(u"port", u"8443");
    EXPECT_EQ(leaf->get("port"), u"8443");
    EXPECT_EQ(middle->get(u"port"), u"80");
    EXPECT_EQ(keysOf(*leaf), std::vector<std::string>{"port"});
    EXPECT_EQ(leaf->remove(u"port"), u"8443");
    EXPECT_EQ(leaf->remove(u"port"), u""); // not the parent's
    EXPECT_FALSE(leaf->hasProperty(u"PORT"));
    root->clear();
    EXPECT_FALSE(leaf->hasProperty(u"port"));
    EXPECT_EQ(descriptionOf([&] { leaf->get(u"port"); }), "");
    std::u16string units = u"before"; // of which the set has a copy
    leaf->set(u"wrapped", String(units.data(), String::AM_WRAP, 6));
    units = u"behind";
    leaf->get(u"wrapped").append(u"!");
    EXPECT_EQ(leaf->get(u"wrapped"), u"before");
    leaf->set(u"empty", String());
    EXPECT_TRUE(leaf->hasProperty(u"empty"));
}

TEST(PropertySet, SharesItsValuesWithOtherModules) {
    const auto parent = makeReference<PropertySet>();
    parent->set(u"inherited", u"yes");
    const auto set = makeReference<PropertySet>(parent.get());
    const Reference<const IPropertySet> shared = PropertySet::getPcom(set);
    const auto value = makeReference<RWCharBuffer>();
    std::copy_n(u"text", 4, value->getWriteLock(4));
    value->releaseWriteLock(4);
    ASSERT_EQ(shared->Set(u"name", value->GetUnknown()), result::Ok);
    EXPECT_EQ(set->get(u"name"), u"text");
    set->set(u"name", u"changed");
    EXPECT_EQ(textOf(*shared, &IPropertySet::Get, u"name"), "changed");
    EXPECT_EQ(textOf(*shared, &IPropertySet::Get, u"inherited"), "yes");

    void* out = nullptr;
    const auto answer = [&](int32_t expected, auto call) {
        out = &out;
        EXPECT_EQ(call(), expected);
        EXPECT_EQ(out, nullptr);
    };
    answer(result::Fail, [&] { return set->Get(u"other", IQXCharBuffer::Iid, &out); });
    answer(result::NoInterface, [&] { return set->Get(u"name", IPropertySet::Iid, &out); });
    answer(result::NoInterface, [&] { return set->Remove(u"name", IPropertySet::Iid, &out); });
    answer(result::NotImplemented, [&] { return set->GetKeyIterator(IKeyIterator::Iid, &out); });
    expectEach(result::NullPointer, {set->Get(u"name", IQXCharBuffer::Iid, nullptr),
                                     set->Remove(u"name", IQXCharBuffer::Iid, nullptr)});
    EXPECT_EQ(textOf(*shared, &IPropertySet::Remove, u"name"), "changed") << "nothing was lost";
    EXPECT_EQ(textOf(*shared, &IPropertySet::Remove, u"name"), ""); // not there any more
    EXPECT_FALSE(set->hasProperty(u"name"));
    EXPECT_THROW(PropertySet::getPcom(nullptr), ResultException);
}

TEST(PcomPropertySet, WorksOnAnotherModulesValues) {
    const auto foreign = makeReference<ForeignSet>();
    const auto parent = makeReference<PropertySet>();
    parent->set(u"inherited", u"no");
    const auto set = makeReference<PcomPropertySet>(foreign.get(), parent.get());
    set->set(u"a", u"1");
    set->set(u"b", u"2");
    EXPECT_EQ(foreign->get(u"a"), u"1");
    EXPECT_EQ(set->get(u"a"), u"1");
    EXPECT_TRUE(set->hasProperty(u"b"));
    EXPECT_FALSE(set->hasProperty(u"inherited"));
    EXPECT_EQ(keysOf(*set), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(set->remove(u"a"), u"1");
    EXPECT_EQ(set->remove(u"a"), u"");
    EXPECT_EQ(PropertySet::getPcom(set), static_cast<const IPropertySet*>(foreign.get()));
    EXPECT_EQ(makeReference<PropertySet>(set.get())->get(u"b"), u"2"); // also as a parent
    set->clear();
    EXPECT_FALSE(foreign->hasProperty(u"b"));

    const String broken(u"a\0b", 3);
    expectEach(result::Fail, {[&] { set->get(u"a"); }});
    expectEach(result::InvalidArgument, {[&] { set->set(broken, u"x"); }});
    EXPECT_FALSE(set->hasProperty(broken));
    set->set(u"a", u"1");
    foreign->failure = result::AccessDenied;
    expectEach(result::AccessDenied,
               {[&] { set->set(u"a", u"1"); }, [&] { set->getKeys(); }, [&] { set->clear(); }});
    EXPECT_FALSE(set->hasProperty(u"a"));
    EXPECT_EQ(set->remove(u"a"), u"");
    // A set of the library does not list its names for components.
    const PcomPropertySet own(makeReference<PropertySet>().get());
    expectEach(result::NotImplemented, {[&] { own.getKeys(); }});
}

TEST(Property, ReadsItsValueAsTextAndAsNumber) {
    const std::tuple<Reference<CQXProperty>, const char16_t*, double> cases[] = {
        {new CQXProperty(u"k", 42), u"42", 42},
        {new CQXProperty(u"k", String(u"42 apples")), u"42 apples", 42},
        {new CQXProperty(u"k", Integer32(42).clone()), u"42", 42},
        {new CQXProperty(u"k", 2.5), u"2.5", 2.5},
    };
    for (const auto& [property, text, number] : cases) {
        EXPECT_EQ(property->getValueString(), text);
        EXPECT_EQ(property->getValueLong(), static_cast<int32_t>(number));
        EXPECT_EQ(property->getValueDouble(), number);
    }
    EXPECT_NE(dynamic_cast<String*>(std::get<0>(cases[0])->getValue().get()), nullptr);
}

TEST(Property, AnswersBothInterfacesAtOneAddressAndKeepsWhatIsNotOfTheLibrary) {
    const auto property = makeReference<CQXProperty>(u"key", 1);
    const auto first = interfaceOf<IQXProperty>(property);
    ASSERT_EQ(first, interfaceOf<IQXProperty2>(property).get());
    EXPECT_NE(interfaceOf<IQXComparable>(property), nullptr);
    String key, text;
    double fraction = 0;
    expectEach(result::Ok, {first->GetKey(&key), first->SetValueString(u"3.5"),
                            first->GetValueString(&text), first->GetValueDouble(&fraction)});
    EXPECT_EQ(std::tuple(key, text, fraction), std::tuple(u"key"_qs, u"3.5"_qs, 3.5));
    expectEach(result::NullPointer, {first->GetValueString(nullptr), first->GetValueLong(nullptr)});

    const auto stranger = makeReference<Stranger>();
    ASSERT_EQ(property->SetValue(stranger->GetUnknown()), result::Ok);
    expectEach("Value is not a CQXObject", {[&] { property->getValue(); }});
    int32_t number = 5;
    EXPECT_EQ(property->GetValueLong(&number), result::Fail);
    EXPECT_EQ(number, 0);
    const auto ours = makeReference<String>(u"12");
    ASSERT_EQ(property->SetValue(ours->GetUnknown()), result::Ok);
    EXPECT_EQ(property->getValue(), ours);
}

TEST(PropertySetOfProperties, WorksThroughItsDerivedClass) {
    const auto set = makeReference<StoredProperties>();
    set->set(u"object", new Integer32(8));
    EXPECT_EQ(set->getValueLong(u"object"), 8);
    EXPECT_THROW(set->getValueDouble(u"none"), Exception);
    const auto face = interfaceOf<IQXPropertySet2>(set);
    double pi = 0;
    int32_t number = 0;
    String text;
    expectEach(result::Ok, {face->SetDouble(u"pi", 3.125), face->SetLong(u"number", 9),
                            face->SetString(u"text", u"abc"), face->GetDouble(u"pi", &pi),
                            face->GetLong(u"number", &number), face->GetString(u"text", &text)});
    EXPECT_EQ(std::tuple(pi, number, text), std::tuple(3.125, 9, u"abc"_qs));
    const auto any = makeReference<Stranger>();
    EXPECT_EQ(face->Set(u"any", any->GetUnknown()), result::Ok);
    Reference<IQXUnknown> same;
    EXPECT_EQ(face->Get(u"any", IQXUnknown::Iid, same.putVoid()), result::Ok);
    EXPECT_EQ(same, any->GetUnknown());
    EXPECT_EQ(set->getValueString(u"number"), u"9");
    EXPECT_EQ(face->GetLong(u"none", &number), result::Fail);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(face->Set(u"any", nullptr), result::NoInterface);
    IQXProperty* property = nullptr;
    expectEach(result::NotImplemented,
               {face->GetCount(&number), face->GetProperty(u"any", &property)});
}

TEST(PropertySources, ReadASetOfAnIniFileAndTheValuesOfARegistryKey) {
    const TemporaryFolder folder;
    writeFile(folder.path("ini"), "[Net]\nPort=80\nhost = a b \n[Outer\\Inner]\nx=1\n");
    IniFile ini(folder.path("ini"));
    const auto properties = propertiesOf(ini, u"NET");
    EXPECT_EQ(properties->getKeys()->getSize(), 2);
    properties->set(u"Port", u"81"); // of the property set alone
    EXPECT_EQ(ini.find(u"Net", u"port"), u"80");
    EXPECT_EQ(propertiesOf(ini, u"Outer")->getKeys()->getSize(), 0);
    expectEach<IniFileException>({[&] { propertiesOf(ini, u"other"); }});
    IniFile folders(folder.path());
    expectEach(result::AccessDenied, {[&] { propertiesOf(folders, u"Net"); }});

    const TemporaryRegistry registry;
    RegistryKey key(QX_HKEY_USER, u"Service");
    key.setValue(u"text", String(u"a\u20ac"));
    key.setValue(u"number", 4000000000u);
    key.setValue(u"large", UINT64_MAX);
    const std::string bytes = std::string(599, '\x01') + '\xAF'; // more than are asked for at first
    key.setValue(u"bytes", reinterpret_cast<const signed char*>(bytes.data()), 600);
    key.setValue(u"none", nullptr, 0);
    key.setValue(String(u"default"));
    const auto values = propertiesOf(key);
    EXPECT_EQ(values->getKeys()->getSize(), 6);
    EXPECT_EQ(values->get(u"text"), u"a\u20ac");
    EXPECT_EQ(values->get(u"number"), u"4000000000");
    EXPECT_EQ(values->get(u"large"), u"18446744073709551615");
    EXPECT_EQ(values->get(u"bytes").getLength(), 1200);
    EXPECT_TRUE(values->get(u"bytes").endsWith(u"0101AF"));
    EXPECT_EQ(values->get(u"none"), u"");
    EXPECT_EQ(values->get(u""), u"default");
    expectEach(result::NotFound, {[&] { propertiesOf(key.getSubkey(u"missing")); }});
}
