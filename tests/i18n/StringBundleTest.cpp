#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/i18n/StringBundle.h>
#include <qx/platform/result.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/MapBundle.h"

using namespace qx;
using namespace qx::literals;
using qxtest::MapBundle;

TEST(StringBundle, AsksItsParentsForWhatItHasNot) {
    const auto child = makeReference<MapBundle>(MapBundle::Texts{{u"own", u"1"}, {u"empty", u""}});
    const auto parent = makeReference<MapBundle>(
        MapBundle::Texts{{u"own", u"hidden"}, {u"empty", u"2"}, {u"none", u""}});
    EXPECT_THROW((void)child->getString(u"empty"_qs), Exception);
    child->setParent(parent);
    EXPECT_EQ(child->getString(u"own"_qs), u"1"_qs);
    EXPECT_EQ(child->getString(u"empty"_qs), u"2"_qs);
    for (const auto* key : {u"none", u"nowhere"}) {
        try {
            (void)child->getString(String(key));
            ADD_FAILURE() << "found";
        } catch (const Exception& exception) {
            EXPECT_EQ(exception.getDescription(), u"Resource not found"_qs);
        }
    }
    qxtest::expectThrowsResult(result::InvalidArgument, [&] { parent->setParent(child); });
    EXPECT_EQ(parent->getParent(), nullptr);
}

TEST(StringBundle, ServesComponents) {
    const auto locale = makeReference<i18n::Locale>(u"de");
    const auto bundle =
        makeReference<MapBundle>(MapBundle::Texts{{u"a", u"hello"}, {u"b", u"world"}}, locale);
    Reference<IQXResourceBundle> face;
    ASSERT_EQ(bundle->QueryInterface(IQXResourceBundle::Iid, face.putVoid()), result::Ok);

    // A text that fills the room has no 0 unit behind it.
    for (const int32_t room : {0, 4, 5, 6, 9}) {
        SCOPED_TRACE(room);
        std::u16string units(10, u'#');
        int32_t length = room;
        EXPECT_EQ(face->LoadStringW(u"a", units.data(), &length), result::Ok);
        EXPECT_EQ(length, std::min(room, 6));
        const auto copied = static_cast<size_t>(std::min(room, 5));
        EXPECT_EQ(units.substr(0, copied), std::u16string(u"hello").substr(0, copied));
        EXPECT_EQ(units[static_cast<size_t>(room)], u'#');
    }
    int32_t length = 5;
    char16_t unit;
    EXPECT_LT(face->LoadStringW(u"none", &unit, &length), 0);
    EXPECT_EQ(length, 0);
    length = -1;
    EXPECT_EQ(face->LoadStringW(u"a", &unit, &length), result::InvalidArgument);

    String key, text;
    EXPECT_EQ(face->LoadCharBuffer(u"b", &text), result::Ok);
    EXPECT_EQ(text, u"world"_qs);
    EXPECT_EQ(face->LoadCharBuffer(nullptr, &text), result::NullPointer);
    int32_t count = -1;
    ASSERT_EQ(face->GetCount(&count), result::Ok);
    ASSERT_EQ(count, 2);
    for (int32_t i = 0; i < count; ++i) {
        ASSERT_EQ(face->GetResource(i, &key, &text), result::Ok);
        EXPECT_EQ(text, bundle->getString(key));
    }
    EXPECT_EQ(face->GetResource(2, &key, &text), result::InvalidArgument);
    EXPECT_EQ(face->GetResource(-1, &key, &text), result::InvalidArgument);

    Reference<IQXLocale> found;
    ASSERT_EQ(face->GetLocale(found.put()), result::Ok);
    EXPECT_EQ(found.get(), static_cast<IQXLocale*>(locale.get()));
}
