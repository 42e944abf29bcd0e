#include <unordered_set>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryRegistry.h"

using namespace qx;
using namespace qxtest;
using qx::util::RegistryKey;

namespace {

struct RegistryKeys : testing::Test {
    TemporaryRegistry registry;
    RegistryKey key{QX_HKEY_USER, u"Software/Maker"};
};

} // namespace

TEST(RegistryKeyNames, AreReadAndPrinted) {
    using Text = const char16_t*;
    const std::tuple<Text, Text, Text, Text, ENUM_QX_HKEY> cases[] = {
        // text, printed, relative to the root, name
        {u"qx_hkey_config/Sub/Key", u"QX_HKEY_CONFIG_64\\Sub\\Key", u"\\Sub\\Key", u"Key",
         QX_HKEY_CONFIG_64},
        {u"QX_HKEY_CLASSES\\A", u"QX_HKEY_CLASSES_64\\A", u"\\A", u"A", QX_HKEY_CLASSES_64},
        {u"Qx_Hkey_Classes_Cross\\A", u"QX_HKEY_CLASSES_32\\A", u"\\A", u"A", QX_HKEY_CLASSES_32},
        {u"QX_HKEY_CONFIG_CROSS", u"QX_HKEY_CONFIG_32", u"", u"", QX_HKEY_CONFIG_32},
        {u"QX_HKEY_CONFIG_32/", u"QX_HKEY_CONFIG_32", u"", u"", QX_HKEY_CONFIG_32},
        {u"QX_HKEY_USER\\A", u"QX_HKEY_USER\\A", u"\\A", u"A", QX_HKEY_USER},
    };
    for (const auto& [text, printed, relative, name, root] : cases) {
        const RegistryKey key{String(text)};
        SCOPED_TRACE(String(text).toUtf8());
        EXPECT_EQ(key.getHKEY(), root);
        EXPECT_EQ(key.getKey(), printed);
        EXPECT_EQ(key.getKey(true), relative);
        EXPECT_EQ(key.getKeyName(), name);
        EXPECT_TRUE(RegistryKey(key.getKey()).equals(key));
    }
    for (const char16_t* text : {u"", u"\\QX_HKEY_USER", u"QX_HKEY_USERS\\A", u"QX_HKEY_"})
        expectEach("Unknown QX_HKEY", {[&] { RegistryKey{String(text)}; }});
    expectEach("Unknown QX_HKEY", {[] { RegistryKey(static_cast<ENUM_QX_HKEY>(5), u"A"); }});
}

TEST(RegistryKeyNames, LeadUpAndDownAndAreEqualWhateverTheirCase) {
    const RegistryKey root(QX_HKEY_USER, u"");
    const RegistryKey deep = root.getSubkey(u"A").getSubkey(u"B/C");
    EXPECT_EQ(deep.getKey(), u"QX_HKEY_USER\\A\\B\\C");
    EXPECT_EQ(deep.getParent().getKey(true), u"\\A\\B");
    expectEach("No parent key",
               {[&] { root.getParent(); }, [&] { root.getSubkey(u"A").getParent(); }});
    std::u16string units = u"A\\B"; // of which a key has a copy
    const RegistryKey wrapped(QX_HKEY_USER, String(units.data(), String::AM_WRAP, 3));
    units = u"C\\D";
    EXPECT_EQ(wrapped.getKey(true), u"\\A\\B");
    EXPECT_EQ(wrapped.getKeyName(), u"B");

    const RegistryKey key(QX_HKEY_USER, u"A\\b"), same(QX_HKEY_USER, u"a\\B");
    EXPECT_TRUE(key.equals(same));
    EXPECT_EQ(key.hashCode(), same.hashCode());
    EXPECT_FALSE(key.equals(RegistryKey(QX_HKEY_CONFIG, u"A\\b")));
    EXPECT_LT(key.compareTo(RegistryKey(QX_HKEY_USER, u"A\\C")), 0);
    EXPECT_THROW(key.compareTo(String(u"A\\b")), CastFailedException);
    const RegistryKey next(QX_HKEY_USER, u"B");
    EXPECT_TRUE(key == same && key < next && next != same);
    EXPECT_EQ((std::unordered_set<RegistryKey>{key, same, next}).size(), 2u);
}

TEST_F(RegistryKeys, ValuesComeBackByTheirTypeUnlessTheirNameWouldBeCut) {
    const String text(std::u16string_view(u"t\0xt \xD800", 6));
    const signed char bytes[] = {1, 0, -1};
    for (const char16_t* name : {u"", u"name"}) {
        const String value(name);
        std::vector<uint8_t> data;
        const auto mismatch = [](Calls calls) { expectEach("Registry type mismatch", calls); };
        key.setValue(value, text);
        EXPECT_EQ(key.getValueString(value), text);
        EXPECT_EQ(key.getValueType(value), QX_REG_STRING);
        mismatch({[&] { key.getValueUINT32(value); }});
        key.setValue(value, 0xFEDCBA98u);
        EXPECT_EQ(key.getValueUINT32(value), 0xFEDCBA98u);
        mismatch({[&] { key.getValueUINT64(value); }});
        key.setValue(value, uint64_t{0xFEDCBA9876543210});
        EXPECT_EQ(key.getValueUINT64(value), 0xFEDCBA9876543210u);
        mismatch({[&] { key.getValueUINT32(value); }, [&] { key.getValueString(value); }});
        key.setValue(value, bytes, 3);
        signed char buffer[4] = {};
        EXPECT_EQ(key.getValue(value, buffer, 4), 3);
        EXPECT_TRUE(std::equal(bytes, bytes + 3, buffer));
        EXPECT_EQ(key.getValueData(value, data), QX_REG_BYTES);
        EXPECT_EQ(data, (std::vector<uint8_t>{1, 0, 255}));
        key.setValue(value, data);
        EXPECT_EQ(key.getValue(value, std::span(data)), 3);
        expectEach(result::BufferTooSmall, {[&] { key.getValue(value, buffer, 2); },
                                            [&] { key.getValue(value, nullptr, 0); }});
        key.deleteValue(value);
        EXPECT_FALSE(key.valueExists(value));
        expectEach(result::NotFound,
                   {[&] { key.getValueType(value); }, [&] { key.deleteValue(value); },
                    [&] { key.getValueData(value, data); }});
    }
    key.setValue(5);
    EXPECT_EQ(key.getValueUINT32(), 5u);
    key.setValue(u"n", 5LL);
    EXPECT_EQ(key.getValueUINT64(u"n"), 5u);
    expectEach("The registry has no negative numbers: n = -5", {[&] { key.setValue(u"n", -5); }});
    for (const int32_t length : {0, 126, 127, 128, 5000}) { // around the first capacity
        key.setValue(String(u'x', length));
        EXPECT_EQ(key.getValueString().getLength(), length);
    }
    const String cut(std::u16string_view(u"na\0me", 5));
    expectEach(result::InvalidArgument,
               {[&] { key.setValue(cut, 1u); }, [&] { key.getSubkey(cut).setValue(1u); },
                [] { RegistryKey(QX_HKEY_USER, u"").remove(); }});
    EXPECT_FALSE(key.valueExists(cut));
}

TEST_F(RegistryKeys, WalksOverSubkeysAndValues) {
    expectEach(result::NotFound, {[&] { key.getSubkeyIterator(); }});
    const String longName(u'n', 4000);
    key.getSubkey(u"b").setValue(1u);
    key.getSubkey(longName).setValue(u"of b", 1u);
    key.setValue(longName, u""_qs);
    key.setValue(u"a", u""_qs);
    // Other programs may use "/" in the name of a key.
    QXRegistrySetValue(QX_HKEY_USER, u"Software\\Maker\\x/y", u"", QX_REG_UINT32, "1234", 4);
    QXRegistrySetValue(QX_HKEY_USER, u"Software\\Maker\\x/y\\z", u"", QX_REG_UINT32, "1234", 4);

    auto keys = key.getSubkeyIterator();
    EXPECT_TRUE(keys->next()->equals(key.getSubkey(u"B")));
    EXPECT_TRUE(keys->next()->valueExists(u"of b"));
    EXPECT_TRUE(keys->hasNext());
    const Reference<RegistryKey> slash = keys->next();
    EXPECT_EQ(slash->getKeyName(), String(u"x/y"));
    EXPECT_TRUE(slash->valueExists());
    EXPECT_TRUE(slash->getSubkey(u"z").valueExists());
    EXPECT_TRUE(slash->getSubkeyIterator()->next()->getParent().equals(*slash));
    EXPECT_FALSE(keys->hasNext());
    expectEach("no more keys", {[&] { keys->next(); }});

    auto values = key.getValueIterator();
    EXPECT_EQ(*values->next(), String(u"a"));
    EXPECT_EQ(*values->next(), longName);
    expectEach("no more values", {[&] { values->next(); }});
    EXPECT_EQ(key.valueNames(), (std::vector<String>{u"a", longName}));
    for (const RegistryKey& subkey : slash->subkeys())
        EXPECT_EQ(subkey.getKeyName(), u"z");

    key.remove();
    EXPECT_FALSE(key.getSubkey(u"b").valueExists());
    expectEach(result::NotFound, {[&] { key.remove(); }});
}
