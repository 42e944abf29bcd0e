// Names, tokens, options and keys as ranges; identifiers and keys as values.

#include <ranges>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include <qx/util/Guid.h>
#include <qx/util/StringTokenizer.h>
#include <qx/util/config/CommandLineParser.h>
#include <qx/util/config/IniFileIterator.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/RegistryKey.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"

using namespace qx;
using namespace qx::util;

namespace {

using Options = decltype(std::declval<CommandLineParser>().elements());
static_assert(std::ranges::random_access_range<Options> && std::ranges::common_range<Options>);
static_assert(std::ranges::input_range<StringTokenizer> &&
              std::ranges::input_range<IniFileKeyIterator> &&
              std::ranges::input_range<Reference<collections::ConstIterator<RegistryKey>>>);
static_assert(std::three_way_comparable<RegistryKey, std::weak_ordering>);

using Texts = std::vector<std::string>;

template <class Range>
Texts textsOf(Range&& range) {
    Texts texts;
    for (const auto& text : range)
        texts.push_back(String(text).toUtf8());
    return texts;
}

TEST(UtilRanges, HaveWhatTheCallsHandOut) {
    EXPECT_EQ(textsOf(StringTokenizer(u" a  b c ")), (Texts{"a", "b", "c"}));
    StringTokenizer rest(u"a b c");
    rest.nextToken();
    EXPECT_EQ(textsOf(rest), (Texts{"b", "c"}));
    EXPECT_EQ(textsOf(rest), Texts());

    CommandLineParser parser;
    parser.parse(u"tool /v one -n=1,2 two"_qs);
    Texts parameters;
    for (const auto& parameter : parser.parameters())
        parameters.push_back(parameter->getValueString(0).toUtf8());
    EXPECT_EQ(parameters, (Texts{"tool", "one", "two"}));
    const auto elements = parser.elements();
    EXPECT_EQ(elements.end() - elements.begin(), parser.getElementCount());
    EXPECT_EQ(textsOf(elements.begin()[3]->values()), (Texts{"1", "2"}));
    const auto last = std::ranges::prev(elements.end());
    EXPECT_EQ((*last)->getPosition(), 4);
    EXPECT_EQ(textsOf(elements.begin()[1]->values()), Texts());

    PropertySet properties;
    properties.set(u"name"_qs, u"value"_qs);
    Texts names;
    for (const auto& name : properties.getKeys())
        names.push_back(name->toUtf8());
    EXPECT_EQ(names, Texts{"name"});
}

TEST(UtilRanges, HaveTheNamesOfFilesAndKeys) {
    const qxtest::TemporaryFolder folder;
    const String path = String::fromUtf8(folder.path("a.ini"));
    IniFile ini(path.getData());
    ini.AddKey(u"set", u"one", u"1", true);
    ini.AddKey(u"set", u"two", u"2", true);
    EXPECT_EQ(textsOf(IniFileKeyIterator(ini, u"set")), (Texts{"one", "two"}));
    EXPECT_EQ(textsOf(IniFileSetIterator(ini, u"")), Texts{"set"});

    const qxtest::TemporaryRegistry registry;
    RegistryKey key(u"QX_HKEY_USER\\App"_qs);
    key.setValue(u"size"_qs, uint32_t{1});
    key.getSubkey(u"Sub"_qs).setValue(uint32_t{2});
    Texts names;
    for (const auto& name : key.getValueIterator())
        names.push_back(name->toUtf8());
    for (const auto& subkey : key.getSubkeyIterator())
        names.push_back(subkey->getKeyName().toUtf8());
    EXPECT_EQ(names, (Texts{"size", "Sub"}));
}

TEST(UtilValues, CompareHashAndPrintAsTheyAreEqual) {
    const RegistryKey key(u"QX_HKEY_USER\\App"_qs);
    const RegistryKey same(u"QX_HKEY_USER\\APP"_qs);
    const RegistryKey next(u"QX_HKEY_USER\\b"_qs);
    EXPECT_TRUE(key == same && key < next && next != same);
    EXPECT_EQ((std::unordered_set<RegistryKey>{key, same, next}).size(), 2u);

    const GUID guid{0x72038029, 0xFA65, 0x4255, {0xA9, 0x16, 0x1C, 0x56, 0x80, 0xAC, 0xFE, 0xBF}};
    std::ostringstream out;
    out << guid << Guid(guid);
    EXPECT_EQ(out.str(), "{72038029-FA65-4255-A916-1C5680ACFEBF}"
                         "{72038029-FA65-4255-A916-1C5680ACFEBF}");
    EXPECT_EQ((std::unordered_set<GUID>{guid, guid, GUID{}}).size(), 2u);
    EXPECT_EQ(std::hash<GUID>()(guid), std::hash<Guid>()(guid));
}

} // namespace
