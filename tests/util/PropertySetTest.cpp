#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/util/buffer/RWBuffer.h>
#include <qx/util/config/Property.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/pcom/PcomPropertySet.h>

#include "tests/support/ExpectResult.h"

using qx::Exception;
using qx::makeReference;
using qx::Reference;
using qx::String;
using qx::util::PropertySet;
using qx::util::pcom::IKeyIterator;
using qx::util::pcom::IPropertySet;
using qx::util::pcom::PcomPropertySet;
using qxtest::descriptionOf;
using qxtest::expectThrowsResult;
namespace result = qx::result;

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
class Stranger : public qx::ComObject {};

/// Another module's property set: it lists its keys, and fails when it is told to.
class ForeignSet : public qx::pcom::Implements<qx::ComObject, IPropertySet> {
public:
    int32_t Set(const char16_t* name, IQXUnknown* value) const override {
        Reference<IQXCharBuffer> buffer;
        if (failure < 0)
            return failure;
        if (value->QueryInterface(IQXCharBuffer::Iid, buffer.putVoid()) < 0)
            return result::NoInterface;
        values[name] = std::u16string(String(buffer.get()).view());
        return result::Ok;
    }
    int32_t Get(const char16_t* name, const qx::GUID& iid, void** out) const override {
        *out = reinterpret_cast<void*>(1); // a failing call may leave anything behind
        const auto found = values.find(name);
        if (failure < 0 || found == values.end())
            return failure < 0 ? failure : result::NotFound;
        return makeReference<String>(std::u16string_view(found->second))->QueryInterface(iid, out);
    }
    int32_t Remove(const char16_t* name, const qx::GUID& iid, void** out) const override {
        const int32_t got = Get(name, iid, out);
        if (got >= 0)
            values.erase(name);
        return got;
    }
    int32_t GetKeyIterator(const qx::GUID& iid, void** out) const override {
        *out = nullptr;
        return failure < 0 ? failure : makeReference<Keys>(*this)->QueryInterface(iid, out);
    }

    int32_t failure = result::Ok;
    mutable std::map<std::u16string, std::u16string> values;

private:
    class Keys : public qx::pcom::Implements<qx::ComObject, IKeyIterator> {
    public:
        explicit Keys(const ForeignSet& set) {
            for (const auto& [key, value] : set.values)
                m_keys.push_back(key);
        }
        int32_t HasNext(int16_t* hasNext) override {
            *hasNext = m_next < m_keys.size();
            return result::Ok;
        }
        int32_t Next(const qx::GUID& iid, void** out) override {
            return makeReference<String>(std::u16string_view(m_keys[m_next++]))
                ->QueryInterface(iid, out);
        }

    private:
        std::vector<std::u16string> m_keys;
        size_t m_next = 0;
    };
};

/// A set that keeps its properties in a map.
class StoredProperties : public CQXPropertySet {
protected:
    CQXSmartPtr<const CQXProperty> getProperty(const String& name) const override {
        const auto found = m_properties.find(name);
        return found == m_properties.end() ? nullptr : found->second;
    }
    CQXSmartPtr<CQXProperty> getPropertyToSet(const String& name) override {
        auto& property = m_properties[name];
        if (!property)
            property = new CQXProperty(name, String());
        return property;
    }

private:
    std::map<String, CQXSmartPtr<CQXProperty>> m_properties;
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
    EXPECT_EQ(leaf->get(u"port"), u"8443");
    EXPECT_EQ(middle->get(u"port"), u"80");
    EXPECT_EQ(keysOf(*leaf), std::vector<std::string>{"port"});
    EXPECT_EQ(leaf->remove(u"port"), u"8443");
    EXPECT_EQ(leaf->remove(u"port"), u""); // not the parent's
    EXPECT_EQ(leaf->get(u"port"), u"80");
    root->clear();
    EXPECT_FALSE(leaf->hasProperty(u"port"));
    EXPECT_FALSE(leaf->hasProperty(u"PORT"));
    EXPECT_EQ(descriptionOf([&] { leaf->get(u"port"); }), "");
}

TEST(PropertySet, KeepsTextsOfItsOwn) {
    PropertySet set;
    std::u16string units = u"before";
    set.set(u"wrapped", String(units.data(), String::AM_WRAP, 6));
    units = u"behind";
    EXPECT_EQ(set.get(u"wrapped"), u"before");
    set.set(u"empty", String());
    EXPECT_TRUE(set.hasProperty(u"empty"));
    String read = set.get(u"wrapped");
    read.append(u"!");
    EXPECT_EQ(set.get(u"wrapped"), u"before");
}

TEST(PropertySet, SharesItsValuesWithOtherModules) {
    const auto parent = makeReference<PropertySet>();
    parent->set(u"inherited", u"yes");
    const auto set = makeReference<PropertySet>(parent.get());
    const Reference<const IPropertySet> shared = PropertySet::getPcom(set);
    const auto value = makeReference<qx::util::RWCharBuffer>();
    std::copy_n(u"text", 4, value->getWriteLock(4));
    value->releaseWriteLock(4);
    ASSERT_EQ(shared->Set(u"name", value->GetUnknown()), result::Ok);
    EXPECT_EQ(set->get(u"name"), u"text");
    set->set(u"name", u"changed");

    EXPECT_EQ(textOf(*shared, &IPropertySet::Get, u"name"), "changed");
    EXPECT_EQ(textOf(*shared, &IPropertySet::Get, u"inherited"), "yes");
    EXPECT_EQ(textOf(*shared, &IPropertySet::Remove, u"name"), "changed");
    EXPECT_EQ(textOf(*shared, &IPropertySet::Remove, u"name"), ""); // not there any more
    EXPECT_FALSE(set->hasProperty(u"name"));
    EXPECT_THROW(PropertySet::getPcom(nullptr), qx::ResultException);
}

TEST(PropertySet, InterfaceReportsFailures) {
    const auto set = makeReference<PropertySet>();
    set->set(u"name", u"value");
    int dummy = 0;
    void* out = &dummy;
    EXPECT_EQ(set->Get(u"other", IQXCharBuffer::Iid, &out), result::Fail);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(set->Get(u"name", IPropertySet::Iid, &out), result::NoInterface);
    EXPECT_EQ(set->Get(u"name", IQXCharBuffer::Iid, nullptr), result::NullPointer);
    out = &dummy;
    EXPECT_EQ(set->Remove(u"name", IPropertySet::Iid, &out), result::NoInterface);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(set->Remove(u"name", IQXCharBuffer::Iid, nullptr), result::NullPointer);
    EXPECT_EQ(set->get(u"name"), u"value"); // nothing was lost
    out = &dummy;
    EXPECT_EQ(set->GetKeyIterator(IKeyIterator::Iid, &out), result::NotImplemented);
    EXPECT_EQ(out, nullptr);
}

TEST(PcomPropertySet, WorksOnAnotherModulesValues) {
    const auto foreign = makeReference<ForeignSet>();
    const auto parent = makeReference<PropertySet>();
    parent->set(u"inherited", u"no");
    const auto set = makeReference<PcomPropertySet>(foreign.get(), parent.get());
    set->set(u"a", u"1");
    set->set(u"b", u"2");
    EXPECT_EQ(foreign->values[u"a"], u"1");
    EXPECT_EQ(set->get(u"a"), u"1");
    EXPECT_TRUE(set->hasProperty(u"b"));
    EXPECT_FALSE(set->hasProperty(u"inherited"));
    EXPECT_EQ(keysOf(*set), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(set->remove(u"a"), u"1");
    EXPECT_EQ(set->remove(u"a"), u"");
    EXPECT_EQ(PropertySet::getPcom(set), static_cast<const IPropertySet*>(foreign.get()));
    const auto child = makeReference<PropertySet>(set.get());
    EXPECT_EQ(child->get(u"b"), u"2"); // also as a parent
    set->clear();
    EXPECT_TRUE(foreign->values.empty());
}

TEST(PcomPropertySet, ReportsTheFailuresOfTheOtherModule) {
    const auto foreign = makeReference<ForeignSet>();
    const auto set = makeReference<PcomPropertySet>(foreign.get());
    expectThrowsResult(result::NotFound, [&] { set->get(u"a"); });
    const String broken(u"a\0b", 3);
    expectThrowsResult(result::InvalidArgument, [&] { set->set(broken, u"x"); });
    EXPECT_FALSE(set->hasProperty(broken));
    foreign->failure = result::AccessDenied;
    expectThrowsResult(result::AccessDenied, [&] { set->set(u"a", u"1"); });
    expectThrowsResult(result::AccessDenied, [&] { set->getKeys(); });
    expectThrowsResult(result::AccessDenied, [&] { set->clear(); });
    EXPECT_FALSE(set->hasProperty(u"a"));
    EXPECT_EQ(set->remove(u"a"), u"");
    // A set of the library does not list its names for components.
    const PcomPropertySet own(makeReference<PropertySet>().get());
    expectThrowsResult(result::NotImplemented, [&] { own.getKeys(); });
}

TEST(Property, ReadsItsValueAsTextAndAsNumber) {
    const Reference<CQXProperty> texts[] = {
        new CQXProperty(u"k", 42),
        new CQXProperty(u"k", String(u"42 apples")),
        new CQXProperty(u"k", qx::Integer32(42).clone()),
    };
    for (const auto& property : texts) {
        EXPECT_EQ(property->getValueLong(), 42);
        EXPECT_EQ(property->getValueDouble(), 42);
        EXPECT_TRUE(property->getValueString().startsWith(u"42"));
    }
    EXPECT_NE(dynamic_cast<String*>(texts[0]->getValue().get()), nullptr);

    CQXProperty property(u"k", 2.5);
    EXPECT_EQ(property.getValueString(), u"2.5");
    EXPECT_EQ(property.getValueLong(), 2);
    property.set(-7);
    EXPECT_EQ(property.getValueDouble(), -7);
    property.set(u"text");
    EXPECT_EQ(property.getValueLong(), 0); // as Number::parseInt
    property.set(new qx::Double(1.25));
    EXPECT_EQ(property.getValueDouble(), 1.25);
}

TEST(Property, KeepsWhatIsNotOfTheLibrary) {
    const auto property = makeReference<CQXProperty>(u"k", 1);
    const auto stranger = makeReference<Stranger>();
    ASSERT_EQ(property->SetValue(stranger->GetUnknown()), result::Ok);
    EXPECT_EQ(descriptionOf([&] { property->getValue(); }), "Value is not a CQXObject");
    Reference<IQXUnknown> value;
    ASSERT_EQ(property->GetValue(IQXUnknown::Iid, value.putVoid()), result::Ok);
    EXPECT_EQ(value, stranger->GetUnknown());
    int32_t number = 5;
    EXPECT_EQ(property->GetValueLong(&number), result::Fail);
    EXPECT_EQ(number, 0);

    const auto text = makeReference<String>(u"12");
    ASSERT_EQ(property->SetValue(text->GetUnknown()), result::Ok);
    EXPECT_EQ(property->getValue(), text);
    EXPECT_EQ(property->getValueLong(), 12);
}

TEST(Property, AnswersBothInterfacesAtOneAddress) {
    const auto property = makeReference<CQXProperty>(u"key", 1);
    Reference<IQXProperty> first;
    Reference<IQXProperty2> second;
    Reference<IQXComparable> comparable;
    ASSERT_EQ(property->QueryInterface(IQXProperty::Iid, first.putVoid()), result::Ok);
    ASSERT_EQ(property->QueryInterface(IQXProperty2::Iid, second.putVoid()), result::Ok);
    EXPECT_EQ(first, second.get());
    EXPECT_EQ(property->QueryInterface(IQXComparable::Iid, comparable.putVoid()), result::Ok);

    String text;
    EXPECT_EQ(first->GetKey(&text), result::Ok);
    EXPECT_EQ(text, u"key");
    EXPECT_EQ(first->SetValueString(u"3.5"), result::Ok);
    EXPECT_EQ(first->GetValueString(&text), result::Ok);
    EXPECT_EQ(text, u"3.5");
    double fraction = 0;
    EXPECT_EQ(first->GetValueDouble(&fraction), result::Ok);
    EXPECT_EQ(fraction, 3.5);
    EXPECT_EQ(first->GetValueString(nullptr), result::NullPointer);
    EXPECT_EQ(first->GetValueLong(nullptr), result::NullPointer);
}

TEST(PropertySetOfProperties, WorksThroughItsDerivedClass) {
    const auto set = makeReference<StoredProperties>();
    set->set(u"number", 7);
    set->set(u"object", new qx::Integer32(8));
    EXPECT_EQ(set->getValueString(u"number"), u"7");
    EXPECT_EQ(set->getValueLong(u"object"), 8);
    EXPECT_THROW(set->getValueDouble(u"none"), Exception);

    Reference<IQXPropertySet2> face;
    ASSERT_EQ(set->QueryInterface(IQXPropertySet2::Iid, face.putVoid()), result::Ok);
    ASSERT_EQ(face->SetDouble(u"pi", 3.125), result::Ok);
    EXPECT_EQ(face->SetLong(u"number", 9), result::Ok);
    EXPECT_EQ(face->SetString(u"text", u"abc"), result::Ok);
    double pi = 0;
    int32_t number = 0;
    String text;
    EXPECT_EQ(face->GetDouble(u"pi", &pi), result::Ok);
    EXPECT_EQ(face->GetLong(u"number", &number), result::Ok);
    EXPECT_EQ(face->GetString(u"text", &text), result::Ok);
    EXPECT_EQ(pi, 3.125);
    EXPECT_EQ(number, 9);
    EXPECT_EQ(text, u"abc");
    EXPECT_EQ(face->GetLong(u"none", &number), result::Fail);
    EXPECT_EQ(number, 0);

    const auto stranger = makeReference<Stranger>();
    EXPECT_EQ(face->Set(u"any", stranger->GetUnknown()), result::Ok);
    Reference<IQXUnknown> any;
    EXPECT_EQ(face->Get(u"any", IQXUnknown::Iid, any.putVoid()), result::Ok);
    EXPECT_EQ(any, stranger->GetUnknown());
    EXPECT_EQ(face->Set(u"any", nullptr), result::NoInterface);
    IQXProperty* property = nullptr;
    EXPECT_EQ(face->GetCount(&number), result::NotImplemented);
    EXPECT_EQ(face->GetProperty(u"any", &property), result::NotImplemented);
}
