#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/i18n/StringBundle.h>
#include <qx/i18n/StringMapBundle.h>
#include <qx/platform/module.h>
#include <qx/platform/result.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TestLocale.h"

using namespace qx;
using namespace qx::literals;
using i18n::Locale;
using i18n::StringBundle;

namespace {

/// Locales for which the base name "Msg" has a component. The one called `Offers::existing` makes
/// a bundle, the others fail; `Offers::tried` records who was asked.
class Offers {
public:
    static constexpr std::array Names{u"de_CH@euro", u"de_CH", u"de", u"fr_CA", u"fr", u"xx@a_b",
                                      u"xx",         u"nn_NO", u"nn", u"en_US", u"en"};

    explicit Offers(const char16_t* name) {
        existing = name;
        tried.clear();
        offer(std::make_index_sequence<Names.size()>());
    }
    ~Offers() {
        for (size_t i = 0; i < Names.size(); ++i)
            QXComRevokeClassFactory(&classId(i));
    }
    Offers(const Offers&) = delete;
    Offers& operator=(const Offers&) = delete;

    static inline std::u16string existing;
    static inline std::vector<std::u16string> tried;

private:
    static const GUID& classId(size_t number) {
        static GUID id{0x6D0C2A5E, 0x11B7, 0x4A6F, {0x8E, 0x01, 0x5C, 0xD2, 0x7A, 0x33, 0x90, 0}};
        id.Data4[7] = static_cast<uint8_t>(number);
        return id;
    }

    template <size_t Number>
    static int32_t create(const GUID* iid, void** object) {
        tried.emplace_back(Names[Number]);
        if (tried.back() != existing)
            return result::Fail;
        const auto texts = makeReference<collections::StringHashMap>();
        texts->put(u"key", new String(Names[Number]));
        return makeReference<i18n::StringMapBundle>(texts)->QueryInterface(*iid, object);
    }

    template <size_t... Numbers>
    void offer(std::index_sequence<Numbers...>) {
        (QXComRegisterClassFactory((u"Orbelle.Msg.StringBundle."_qs + Names[Numbers]).getData(),
                                   &classId(Numbers), &create<Numbers>),
         ...);
    }
};

} // namespace

TEST(StringBundle, IsLookedForFromTheSpecificToTheGeneral) {
    const qxtest::TestLocale process("nn_NO", "ISO-8859-1");
    if (!process.isSet())
        GTEST_SKIP() << "the system cannot make the locale";
    using Tries = std::vector<std::u16string>;
    const struct {
        const char16_t* locale; // null: none is given
        const char16_t* existing;
        Tries tries;
    } cases[] = {
        {u"de_CH@euro", u"de_CH@euro", {u"de_CH@euro"}},
        {u"de_CH.UTF-8@euro", u"de", {u"de_CH@euro", u"de_CH", u"de"}},
        {u"xx@a_b", u"xx", {u"xx@a_b", u"xx"}}, // "_" of a variant is no country
        {u"fr_CA", u"nn_NO", {u"fr_CA", u"fr", u"nn_NO"}},
        {u"fr_CA", u"nn", {u"fr_CA", u"fr", u"nn_NO", u"nn"}},
        {u"fr", u"en_US", {u"fr", u"nn_NO", u"nn", u"en_US"}},
        {u"zz", u"en", {u"nn_NO", u"nn", u"en_US", u"en"}}, // nothing is called zz
        {nullptr, u"nn_NO", {u"nn_NO"}},
        {nullptr, u"en_US", {u"nn_NO", u"nn", u"en_US"}},
    };
    for (const auto& c : cases) {
        const Locale locale(c.locale ? c.locale : u"");
        SCOPED_TRACE(locale.toString().toUtf8() + " finds " + String(c.existing).toUtf8());
        const Offers offers(c.existing);
        const auto bundle = StringBundle::getBundle(u"Msg", c.locale ? &locale : nullptr);
        EXPECT_EQ(Offers::tried, c.tries);
        EXPECT_EQ(bundle->getString(u"key"), String(c.existing));
        EXPECT_EQ(bundle->getLocale()->toString(), String(c.existing));
        EXPECT_EQ(bundle->getParent(), nullptr);
    }
}

TEST(StringBundle, IsNotFoundWhenNobodyAnswers) {
    const qxtest::TestLocale process("nn_NO", "ISO-8859-1");
    if (!process.isSet())
        GTEST_SKIP() << "the system cannot make the locale";
    const Offers offers(u"");
    const Locale locale(u"fr_CA");
    // The last is no name for the component of its first three units.
    for (const String& base : {u"Msg"_qs, u"Other"_qs, String(), String(u"Msg\0x", 5)}) {
        try {
            (void)StringBundle::getBundle(base, &locale);
            ADD_FAILURE() << "found";
        } catch (const Exception& exception) {
            EXPECT_EQ(exception.getDescription(), u"Resource not found"_qs);
        }
    }
    EXPECT_EQ(Offers::tried.size(), 6u) << "only the first base name has components";
}
