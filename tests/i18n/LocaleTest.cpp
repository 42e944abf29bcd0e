#include <string>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/core/runtime/Class.h>
#include <qx/i18n/Locale.h>
#include <qx/platform/result.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TestLocale.h"

using namespace qx;
using namespace qx::literals;
using qx::i18n::Locale;

TEST(Locale, TakesNamesApart) {
    const struct {
        const char16_t* text;
        String language, country, variant, name;
    } cases[] = {
        {u"de_CH.UTF-8@euro", u"de"_qs, u"CH"_qs, u"euro"_qs, u"de_CH@euro"_qs},
        {u"de", u"de"_qs, u""_qs, u""_qs, u"de"_qs},
        {u"de.UTF-8", u"de"_qs, u""_qs, u""_qs, u"de"_qs},
        {u"de@euro", u"de"_qs, u""_qs, u"euro"_qs, u"de@euro"_qs},
        {u"de.a_b@c_d", u"de"_qs, u""_qs, u"c_d"_qs, u"de@c_d"_qs}, // no country behind the point
        {u"de_CH@x.y", u"de"_qs, u"CH"_qs, u"x.y"_qs, u"de_CH@x.y"_qs},
        {u"a_b_c", u"a"_qs, u"b_c"_qs, u""_qs, u"a_b_c"_qs},
        {u"_CH", u""_qs, u"CH"_qs, u""_qs, u"_CH"_qs},
        {u"", u""_qs, u""_qs, u""_qs, u""_qs},
        {nullptr, u""_qs, u""_qs, u""_qs, u""_qs},
    };
    for (const auto& c : cases) {
        const Locale locale(c.text);
        SCOPED_TRACE(c.name.toUtf8());
        EXPECT_EQ(locale.getLanguage(), c.language);
        EXPECT_EQ(locale.getCountry(), c.country);
        EXPECT_EQ(locale.getVariant(), c.variant);
        EXPECT_EQ(locale.toString(), c.name);
    }
    EXPECT_EQ(Locale(u"de", nullptr, u"x").toString(), u"de@x"_qs);
}

TEST(Locale, ComparesByName) {
    const Locale locale(u"de_CH"), same(u"de", u"CH"), other(u"de_AT");
    EXPECT_TRUE(locale.equals(same));
    EXPECT_EQ(locale.hashCode(), same.hashCode());
    EXPECT_FALSE(locale.equals(Locale(u"DE_CH")));
    EXPECT_GT(locale.compareTo(other), 0);
    EXPECT_TRUE(locale == same && locale > other);
    EXPECT_EQ(std::hash<Locale>()(locale), std::hash<Locale>()(same));
    EXPECT_FALSE(locale.equals(String(u"de_CH")));
    EXPECT_THROW((void)locale.compareTo(String(u"de_CH")), CastFailedException);
    EXPECT_EQ(locale.getClass()->getName(), std::u16string(u"CQXLocale"));
}

TEST(Locale, ServesComponents) {
    const auto locale = makeReference<Locale>(u"de_CH@euro");
    Reference<IQXLocale> face;
    ASSERT_EQ(locale->QueryInterface(IQXLocale::Iid, face.putVoid()), result::Ok);
    String text;
    EXPECT_EQ(face->GetCountry(&text), result::Ok);
    EXPECT_EQ(text, u"CH"_qs);
    EXPECT_EQ(face->ToString(&text), result::Ok);
    EXPECT_EQ(text, u"de_CH@euro"_qs);
    EXPECT_EQ(face->ToString(nullptr), result::NullPointer);
    EXPECT_EQ(face->GetDisplayName(&text), Exception().getResult());
    EXPECT_EQ(face->GetDisplayCountryLoc(face.get(), &text), Exception().getResult());
    EXPECT_EQ(text, u"de_CH@euro"_qs);
}

TEST(Locale, KnowsTheDefault) {
    const qxtest::TestLocale plain("C");
    EXPECT_EQ(Locale::getDefault()->toString(), u"en_US"_qs);
}
