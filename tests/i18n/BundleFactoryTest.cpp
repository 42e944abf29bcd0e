#include <gtest/gtest.h>

#include <optional>

#include <qx/core/Exception.h>
#include <qx/i18n/BundleFactory.h>
#include <qx/i18n/BundleName.h>
#include <qx/pcom/Module.h>
#include <qx/platform/result.h>
#include <qx/util/Guid.h>

using namespace qx;
using namespace qx::literals;
using i18n::BundleName;
using i18n::CompiledBundle;
using i18n::CompiledText;

TEST(BundleName, IsTakenApartAndPutTogether) {
    const struct {
        const char16_t* name;
        const char16_t* base; // null: no name of a bundle
        const char16_t* locale;
    } cases[] = {
        {u"Orbelle.Msg.StringBundle.de_CH@euro", u"Msg", u"de_CH@euro"},
        {u"ORBELLE.a.b.stringbundle.", u"a.b", u""},
        {u"Orbelle.x.StringBundle.y.StringBundle.z", u"x.StringBundle.y", u"z"},
        {u"Orbelle.StringBundle.de", nullptr, nullptr},
        {u"Orbelle..StringBundle.de", nullptr, nullptr},
        {u"Maker.Msg.StringBundle.de", nullptr, nullptr},
        {u"Orbelle.CharCodec.CP932", nullptr, nullptr},
        {u"", nullptr, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(String(c.name).toUtf8());
        const auto name = BundleName::fromComponentName(c.name);
        ASSERT_EQ(name.has_value(), c.base != nullptr);
        if (!name)
            continue;
        EXPECT_EQ(name->baseName, String(c.base));
        EXPECT_EQ(name->localeName, String(c.locale));
        EXPECT_TRUE(name->componentName().equals(c.name, true));
    }
}

// The identifiers are in registries: they never change. Calculated by another implementation.
TEST(BundleName, HasAClassIdentifierWhateverTheCase) {
    const auto idOf = [](const char16_t* base, const char16_t* locale) {
        return util::Guid(BundleName{base, locale}.classId()).toString();
    };
    EXPECT_EQ(idOf(u"Service", u"de_CH"), u"{949CDBAF-CE98-3E6F-9FE5-E4CF501F0D5B}"_qs);
    EXPECT_EQ(idOf(u"SERVICE", u"DE_ch"), u"{949CDBAF-CE98-3E6F-9FE5-E4CF501F0D5B}"_qs);
    EXPECT_EQ(idOf(u"Größe", u"de"), u"{85B95D05-5B71-30EA-856D-58317951ED35}"_qs);
}

namespace {

constexpr CompiledText s_german[] = {{u"yes", u"ja"}, {u"no", u"nein"}};
constexpr CompiledText s_swiss[] = {{u"no", u"nei"}, {u"empty", u""}};
constexpr CompiledBundle s_de{u"de", s_german, 2, nullptr};
constexpr CompiledBundle s_deCh{u"de_CH", s_swiss, 2, &s_de};
constexpr CompiledBundle s_none{u"xx", nullptr, 0, nullptr};

} // namespace

TEST(CompiledBundle, HasTheTextsOfItsParents) {
    const auto bundle = i18n::createBundle(s_deCh);
    EXPECT_EQ(bundle->getString(u"no"), u"nei"_qs);
    EXPECT_EQ(bundle->getString(u"yes"), u"ja"_qs);
    EXPECT_THROW((void)bundle->getString(u"empty"), Exception);
    EXPECT_EQ(bundle->getLocale()->toString(), u"de_CH"_qs);
    EXPECT_EQ(bundle->getParent()->getLocale()->toString(), u"de"_qs);
    EXPECT_TRUE(i18n::createBundle(s_none)->getKeys()->isEmpty());
}

TEST(BundleFactory, MakesBundlesThatTheirModuleCounts) {
    const GUID id = BundleName{u"Msg", u"de_CH"}.classId();
    pcom::ClassData table[2];
    table[0].clsid = &id;
    table[0].creatorParameter = reinterpret_cast<uintptr_t>(&s_deCh);
    table[0].createFactory = &i18n::createBundleFactory;
    pcom::Module module(table);
    Reference<IQXClassFactory> factory;
    ASSERT_EQ(module.GetClassObject(id, IQXClassFactory::Iid, factory.putVoid()), result::Ok);
    EXPECT_EQ(module.GetRefCount(), 0u);
    Reference<IQXResourceBundle> bundle;
    ASSERT_EQ(factory->CreateInstance(nullptr, IQXResourceBundle::Iid, bundle.putVoid()),
              result::Ok);
    EXPECT_EQ(module.GetRefCount(), 1u);
    String text;
    EXPECT_EQ(bundle->LoadCharBuffer(u"yes", &text), result::Ok);
    EXPECT_EQ(text, u"ja"_qs);

    void* out = &out;
    EXPECT_EQ(factory->CreateInstance(nullptr, IQXClassFactory::Iid, &out), result::NoInterface);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(factory->CreateInstance(bundle, IQXUnknown::Iid, &out), result::NoAggregation);
    EXPECT_EQ(factory->CreateInstance(bundle, IQXResourceBundle::Iid, &out),
              result::InvalidArgument);
    EXPECT_EQ(module.GetRefCount(), 1u);
    bundle.reset();
    EXPECT_EQ(module.GetRefCount(), 0u);
}
