#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include <qx/core/Integer.h>
#include <qx/core/Result.h>
#include <qx/i18n/ComStringBundle.h>
#include <qx/i18n/StringMapBundle.h>

#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qx::literals;
using collections::StringHashMap;
using i18n::ComStringBundle;
using i18n::StringMapBundle;

namespace {

Reference<StringHashMap> threeTexts() {
    auto texts = makeReference<StringHashMap>();
    texts->put(u"hello", new String(u"Grüß Gott"));
    texts->put(u"empty", new String());
    texts->put(u"number", new Integer32(7)); // no text, yet printable
    return texts;
}

} // namespace

TEST(StringMapBundle, ServesTheTextsOfTheMap) {
    const auto bundle = makeReference<StringMapBundle>(threeTexts());
    EXPECT_EQ(bundle->getString(u"hello"), u"Grüß Gott"_qs);
    EXPECT_EQ(bundle->getString(u"number"), u"7"_qs);
    EXPECT_TRUE(bundle->lookupString(u"none").isEmpty());
    EXPECT_THROW((void)bundle->getString(u"empty"), Exception);
    qxtest::expectThrowsResult(result::NullPointer, [] { StringMapBundle none(nullptr); });
}

TEST(StringMapBundle, MakesItsKeysOnce) {
    const auto texts = threeTexts();
    const auto bundle = makeReference<StringMapBundle>(texts);
    std::vector<const void*> seen(8);
    std::vector<std::jthread> threads;
    for (auto& keys : seen)
        threads.emplace_back([&keys, &bundle] { keys = bundle->getKeys().get(); });
    threads.clear();
    for (const void* keys : seen)
        EXPECT_EQ(keys, bundle->getKeys().get());

    texts->put(u"late", new String(u"served, not listed"));
    EXPECT_EQ(bundle->getString(u"late"), u"served, not listed"_qs);
    EXPECT_EQ(bundle->getKeys()->getSize(), 3);
}

// What a bundle says as a component is what a bundle over the component says.
TEST(ComStringBundle, IsWhatItsComponentIs) {
    const auto locale = makeReference<i18n::Locale>(u"de");
    const auto inner = makeReference<StringMapBundle>(threeTexts(), locale);
    Reference<IQXResourceBundle> face;
    ASSERT_EQ(inner->QueryInterface(IQXResourceBundle::Iid, face.putVoid()), result::Ok);
    const auto bundle = makeReference<ComStringBundle>(face);
    EXPECT_EQ(bundle->getLocale(), nullptr); // is told, not asked for
    EXPECT_EQ(bundle->getString(u"hello"), u"Grüß Gott"_qs);
    EXPECT_THROW((void)bundle->getString(u"none"), Exception);
    // Not the text of the key up to the 0 unit.
    EXPECT_TRUE(bundle->lookupString(String(u"hello\0x", 7)).isEmpty());
    EXPECT_EQ(bundle->lookupString(String(u"hello, not all", String::AM_WRAP, 5)), u"Grüß Gott"_qs);
    EXPECT_TRUE(bundle->getKeys()->equals(*inner->getKeys()));

    int32_t count = 0;
    ASSERT_EQ(bundle->GetCount(&count), result::Ok);
    ASSERT_EQ(count, 3);
    String key, text;
    for (int32_t i = 0; i < count; ++i) {
        ASSERT_EQ(bundle->GetResource(i, &key, &text), result::Ok);
        EXPECT_EQ(text, inner->lookupString(key));
    }
    for (const int32_t index : {-1, 3})
        EXPECT_EQ(bundle->GetResource(index, &key, &text), result::InvalidArgument);
    EXPECT_EQ(bundle->GetResource(0, nullptr, &text), result::NullPointer);
    EXPECT_EQ(bundle->GetCount(nullptr), result::NullPointer);
    qxtest::expectThrowsResult(result::NullPointer, [] { ComStringBundle none(nullptr); });
}

namespace {

/// A component that answers everything with one result.
class FailingBundle : public pcom::Implements<Object, IQXResourceBundle> {
public:
    explicit FailingBundle(int32_t result) : m_result(result) {}

    int32_t LoadCharBuffer(const char16_t*, IQXCharBuffer*) override { return m_result; }
    int32_t LoadStringW(const char16_t*, char16_t*, int32_t*) override { return m_result; }
    int32_t GetCount(int32_t*) override { return m_result; }
    int32_t GetResource(int32_t, IQXCharBuffer*, IQXCharBuffer*) override { return m_result; }
    int32_t GetLocale(IQXLocale**) override { return m_result; }

private:
    int32_t m_result;
};

} // namespace

TEST(ComStringBundle, TakesFailuresForMissingTextsSaveTheLackOfMemory) {
    const auto bundleOver = [](int32_t code) {
        return makeReference<ComStringBundle>(makeReference<FailingBundle>(code));
    };
    EXPECT_TRUE(bundleOver(result::Corrupt)->lookupString(u"key").isEmpty());
    qxtest::expectThrowsResult(
        result::OutOfMemory, [&] { (void)bundleOver(result::OutOfMemory)->lookupString(u"key"); });
    qxtest::expectThrowsResult(result::Corrupt,
                               [&] { (void)bundleOver(result::Corrupt)->getKeys(); });
}
