#include <array>
#include <list>
#include <map>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestLocale.h"

using namespace qx;
using namespace qx::literals;
using namespace qx::i18n;
using namespace qxtest;
using collections::StringHashMap;

namespace {

constexpr char NotFound[] = "Resource not found";

TEST(Locale, TakesNamesApart) {
    const std::array<const char16_t*, 5> rows[] = {
        // text, language, country, variant, name
        {u"de_CH.UTF-8@euro", u"de", u"CH", u"euro", u"de_CH@euro"},
        {u"de", u"de", u"", u"", u"de"},
        {u"de@euro", u"de", u"", u"euro", u"de@euro"},
        {u"de.a_b@c_d.e", u"de", u"", u"c_d.e", u"de@c_d.e"}, // no country behind the point
        {u"a_b_c", u"a", u"b_c", u"", u"a_b_c"},
        {u"_CH", u"", u"CH", u"", u"_CH"},
        {nullptr, u"", u"", u"", u""},
    };
    for (const auto& row : rows) {
        const Locale locale(row[0]);
        const String parts[] = {locale.getLanguage(), locale.getCountry(), locale.getVariant()};
        EXPECT_TRUE(std::equal(parts, std::end(parts), row.begin() + 1)) << locale.toString();
        EXPECT_EQ(locale.toString(), row[4]);
    }
    EXPECT_EQ(Locale(u"de", nullptr, u"x").toString(), u"de@x"_qs);
    const TestLocale plain("C");
    EXPECT_EQ(Locale::getDefault()->toString(), u"en_US"_qs);
}

TEST(Locale, IsAnObjectAndAComponentByItsName) {
    const auto locale = makeReference<Locale>(u"de_CH@euro");
    const Locale same(u"de", u"CH", u"euro"), other(u"de_AT");
    EXPECT_TRUE(locale->equals(same) && *locale == same && *locale > other);
    EXPECT_EQ(locale->hashCode(), same.hashCode());
    EXPECT_EQ(std::hash<Locale>()(*locale), std::hash<Locale>()(same));
    EXPECT_FALSE(locale->equals(Locale(u"DE_CH@euro")) || locale->equals(String(u"de_CH@euro")));
    EXPECT_GT(locale->compareTo(other), 0);
    EXPECT_THROW((void)locale->compareTo(String(u"de_CH@euro")), CastFailedException);
    EXPECT_EQ(locale->getClass()->getName(), std::u16string(u"CQXLocale"));

    const auto face = interfaceOf<IQXLocale>(locale);
    String text;
    EXPECT_EQ(face->GetCountry(&text), result::Ok);
    EXPECT_EQ(text, u"CH"_qs);
    EXPECT_EQ(face->ToString(&text), result::Ok);
    EXPECT_EQ(face->ToString(nullptr), result::NullPointer);
    expectEach(result::Fail,
               {face->GetDisplayName(&text), face->GetDisplayCountryLoc(face.get(), &text)});
    EXPECT_EQ(descriptionOf([] { (void)Locale(u"de").getDisplayName(); }), "");
    EXPECT_EQ(text, u"de_CH@euro"_qs);
}

TEST(BundleName, IsTakenApartAndPutTogether) {
    const std::array<const char16_t*, 3> rows[] = {
        // name, base name (null: no name of a bundle), locale
        {u"Orbelle.Msg.StringBundle.de_CH@euro", u"Msg", u"de_CH@euro"},
        {u"ORBELLE.a.b.stringbundle.", u"a.b", u""},
        {u"Orbelle.x.StringBundle.y.StringBundle.z", u"x.StringBundle.y", u"z"},
        {u"Orbelle.StringBundle.de", nullptr, nullptr},
        {u"Orbelle..StringBundle.de", nullptr, nullptr},
        {u"Maker.Msg.StringBundle.de", nullptr, nullptr},
        {u"", nullptr, nullptr},
    };
    for (const auto& [full, base, locale] : rows) {
        SCOPED_TRACE(String(full).toUtf8());
        const auto name = BundleName::fromComponentName(full);
        ASSERT_EQ(name.has_value(), base != nullptr);
        if (!name)
            continue;
        EXPECT_EQ(name->baseName, String(base));
        EXPECT_EQ(name->localeName, String(locale));
        EXPECT_TRUE(name->componentName().equals(full, true));
    }
    // The identifiers are in registries: they never change. Calculated by another implementation.
    const auto idOf = [](const char16_t* base, const char16_t* locale) {
        return util::Guid(BundleName{base, locale}.classId()).toString();
    };
    EXPECT_EQ(idOf(u"Service", u"de_CH"), u"{949CDBAF-CE98-3E6F-9FE5-E4CF501F0D5B}"_qs);
    EXPECT_EQ(idOf(u"SERVICE", u"DE_ch"), u"{949CDBAF-CE98-3E6F-9FE5-E4CF501F0D5B}"_qs);
    EXPECT_EQ(idOf(u"Größe", u"de"), u"{85B95D05-5B71-30EA-856D-58317951ED35}"_qs);
}

/// A bundle of these texts that leaves it to its base to number them.
Reference<StringBundle> bundleOf(const std::map<const char16_t*, const char16_t*>& texts,
                                 Locale* locale = nullptr) {
    struct Bundle : StringMapBundle {
        using StringMapBundle::StringMapBundle;
        int32_t GetCount(int32_t* count) override { return StringBundle::GetCount(count); }
        int32_t GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) override {
            return StringBundle::GetResource(index, key, text);
        }
    };
    const auto map = makeReference<StringHashMap>();
    for (const auto& [key, text] : texts)
        map->put(key, new String(text));
    return makeReference<Bundle>(map, locale);
}

TEST(StringBundle, AsksItsParentsForWhatItHasNot) {
    const auto child = bundleOf({{u"own", u"1"}, {u"empty", u""}});
    const auto parent = bundleOf({{u"own", u"hidden"}, {u"empty", u"2"}, {u"none", u""}});
    EXPECT_THROW((void)child->getString(u"empty"_qs), Exception);
    child->setParent(parent);
    EXPECT_EQ(child->getString(u"own"_qs), u"1"_qs);
    EXPECT_EQ(child->getString(u"empty"_qs), u"2"_qs);
    for (const auto* key : {u"none", u"nowhere"})
        EXPECT_EQ(descriptionOf([&] { (void)child->getString(key); }), NotFound);
    EXPECT_EQ(failureOf([&] { parent->setParent(child); }), result::InvalidArgument);
    EXPECT_EQ(parent->getParent(), nullptr);
}

/// What a bundle says as a component, by number, is what it says by key.
void expectResources(StringBundle& bundle, int32_t expectedCount) {
    const auto face = interfaceOf<IQXResourceBundle>(&bundle);
    int32_t count = -1;
    EXPECT_EQ(face->GetCount(&count), result::Ok);
    EXPECT_EQ(count, expectedCount);
    String key, text;
    for (int32_t i = 0; i < count; ++i) {
        EXPECT_EQ(face->GetResource(i, &key, &text), result::Ok);
        EXPECT_EQ(text, bundle.lookupString(key));
    }
    for (const int32_t index : {-1, count})
        EXPECT_EQ(face->GetResource(index, &key, &text), result::InvalidArgument);
    expectEach(result::NullPointer,
               {face->GetResource(0, nullptr, &text), face->GetCount(nullptr)});
}

TEST(StringBundle, ServesComponents) {
    const auto locale = makeReference<Locale>(u"de");
    const auto bundle = bundleOf({{u"a", u"hello"}, {u"b", u"world"}}, locale);
    expectResources(*bundle, 2);
    const auto face = interfaceOf<IQXResourceBundle>(bundle);
    // A text that fills the room has no 0 unit behind it.
    for (const int32_t room : {0, 4, 5, 6, 9}) {
        std::u16string units(10, u'#');
        int32_t length = room;
        EXPECT_EQ(face->LoadStringW(u"a", units.data(), &length), result::Ok);
        EXPECT_EQ(length, std::min(room, 6));
        const auto copied = static_cast<size_t>(std::min(room, 5));
        EXPECT_EQ(units.substr(0, copied), u"hello"_qs.view().substr(0, copied));
        EXPECT_EQ(units[static_cast<size_t>(room)], u'#');
    }
    char16_t unit;
    for (const auto& [key, room] : {std::pair{u"none", 5}, std::pair{u"a", -1}}) {
        int32_t length = room;
        EXPECT_LT(face->LoadStringW(key, &unit, &length), 0);
        EXPECT_EQ(length, 0);
    }
    String text;
    EXPECT_EQ(face->LoadCharBuffer(u"b", &text), result::Ok);
    EXPECT_EQ(text, u"world"_qs);
    EXPECT_EQ(face->LoadCharBuffer(nullptr, &text), result::NullPointer);
    Reference<IQXLocale> found;
    ASSERT_EQ(face->GetLocale(found.put()), result::Ok);
    EXPECT_EQ(found.get(), static_cast<IQXLocale*>(locale.get()));
}

TEST(StringMapBundle, IsTheSameAsAComponentAndMakesItsKeysOnce) {
    const auto texts = makeReference<StringHashMap>();
    texts->put(u"hello", new String(u"Grüß Gott"));
    texts->put(u"empty", new String());
    texts->put(u"number", new Integer32(7)); // no text, yet printable
    const auto bundle = makeReference<StringMapBundle>(texts, makeReference<Locale>(u"de"));
    const auto component = makeReference<ComStringBundle>(bundle);
    EXPECT_EQ(component->getLocale(), nullptr); // is told, not asked for
    for (const StringBundle* each :
         {static_cast<StringBundle*>(bundle.get()), static_cast<StringBundle*>(component.get())}) {
        EXPECT_EQ(each->getString(u"hello"), u"Grüß Gott"_qs);
        EXPECT_EQ(each->getString(u"number"), u"7"_qs);
        // Not the text of the key up to the 0 unit.
        for (const String& none : {u"none"_qs, u"empty"_qs, String(u"hello\0x", 7)})
            EXPECT_THROW((void)each->getString(none), Exception);
        EXPECT_EQ(each->lookupString(String(u"hello, not all", String::AM_WRAP, 5)),
                  u"Grüß Gott"_qs);
    }
    EXPECT_EQ(bundle->getKeys(), bundle->getKeys());
    texts->put(u"late", new String(u"served, not listed"));
    EXPECT_EQ(bundle->getString(u"late"), u"served, not listed"_qs);
    EXPECT_TRUE(component->getKeys()->equals(*bundle->getKeys()));
    expectResources(*bundle, 3);
    expectResources(*component, 3);
    expectEach(result::NullPointer,
               {[] { StringMapBundle none(nullptr); }, [] { ComStringBundle none(nullptr); }});
}

TEST(ComStringBundle, TakesFailuresForMissingTextsSaveTheLackOfMemory) {
    struct FailingBundle : StringBundle {
        explicit FailingBundle(int32_t code) : StringBundle(nullptr), m_code(code) {}
        String lookupString(const String&) const override { throw ResultException(m_code); }
        Reference<const collections::Collection<String>> getKeys() const override {
            return m_code < 0 ? throw ResultException(m_code) : m_keys;
        }
        int32_t m_code;
        Reference<const collections::Collection<String>> m_keys;
    };
    const ComStringBundle corrupt(makeReference<FailingBundle>(result::Corrupt));
    const ComStringBundle poor(makeReference<FailingBundle>(result::OutOfMemory));
    EXPECT_TRUE(corrupt.lookupString(u"key").isEmpty());
    EXPECT_EQ(failureOf([&] { (void)corrupt.getKeys(); }), result::Corrupt);
    const auto faulty = makeReference<FailingBundle>(result::Ok);
    int32_t count = 1;
    EXPECT_EQ(faulty->GetCount(&count), result::Fail);
    faulty->m_keys = new collections::Set<String>{nullptr};
    String text;
    EXPECT_EQ(faulty->GetResource(0, &text, &text), result::Fail);
    EXPECT_EQ(failureOf([&] { (void)poor.lookupString(u"key"); }), result::OutOfMemory);
}

constexpr CompiledText s_german[] = {{u"yes", u"ja"}, {u"no", u"nein"}};
constexpr CompiledText s_swiss[] = {{u"no", u"nei"}, {u"empty", u""}};
constexpr CompiledBundle s_de{u"de", s_german, 2, nullptr};
constexpr CompiledBundle s_deCh{u"de_CH", s_swiss, 2, &s_de};
constexpr CompiledBundle s_none{u"xx", nullptr, 0, nullptr};

TEST(CompiledBundle, HasTheTextsOfItsParentsAndIsCountedByItsModule) {
    const auto compiled = createBundle(s_deCh);
    EXPECT_EQ(compiled->getString(u"no"), u"nei"_qs);
    EXPECT_EQ(compiled->getString(u"yes"), u"ja"_qs);
    EXPECT_THROW((void)compiled->getString(u"empty"), Exception);
    EXPECT_EQ(compiled->getLocale()->toString(), u"de_CH"_qs);
    EXPECT_EQ(compiled->getParent()->getLocale()->toString(), u"de"_qs);
    EXPECT_TRUE(createBundle(s_none)->getKeys()->isEmpty());

    const GUID id = BundleName{u"Msg", u"de_CH"}.classId();
    pcom::ClassData table[2];
    table[0].clsid = &id;
    table[0].creatorParameter = reinterpret_cast<uintptr_t>(&s_deCh);
    table[0].createFactory = &createBundleFactory;
    pcom::Module module(table);
    Reference<IQXClassFactory> factory;
    ASSERT_EQ(module.GetClassObject(id, IQXClassFactory::Iid, factory.putVoid()), result::Ok);
    Reference<IQXResourceBundle> bundle;
    ASSERT_EQ(factory->CreateInstance(nullptr, IQXResourceBundle::Iid, bundle.putVoid()),
              result::Ok);
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

/// Offers a component for texts of the base name "Msg", or one that cannot be made.
struct Offer {
    explicit Offer(const char16_t* locale, bool works = true)
        : id(BundleName{u"Msg", locale}.classId()) {
        QXComRegisterClassFactory((u"Orbelle.Msg.StringBundle."_qs + locale).getData(), &id,
                                  works ? &create : &fail);
    }
    ~Offer() { QXComRevokeClassFactory(&id); }
    Offer(const Offer&) = delete;
    Offer& operator=(const Offer&) = delete;

    static int32_t create(const GUID* iid, void** object) {
        return bundleOf({{u"key", u"text"}})->QueryInterface(*iid, object);
    }
    static int32_t fail(const GUID*, void**) { return result::Fail; }

    const GUID id;
};

TEST(StringBundle, IsLookedForFromTheSpecificToTheGeneral) {
    const TestLocale process("nn_NO", "ISO-8859-1");
    if (!process.isSet())
        GTEST_SKIP() << "the system cannot make the locale";
    const std::pair<const char16_t*, std::vector<const char16_t*>> rows[] = {
        // the locale (null: none is given), and where texts are looked for, save for "de"
        {u"de_CH.UTF-8@euro", {u"de_CH@euro", u"de_CH", u"nn_NO", u"nn", u"en_US", u"en"}},
        {u"xx@a_b", {u"xx@a_b", u"xx", u"nn_NO"}}, // "_" of a variant is no country
        {nullptr, {u"nn_NO", u"nn", u"en_US", u"en"}},
    };
    const Offer broken(u"de", false), unrelated(u"de_AT");
    for (const auto& [name, places] : rows) {
        const Locale locale(name);
        const Locale* const given = name ? &locale : nullptr;
        EXPECT_THROW((void)StringBundle::getBundle(u"Msg", given), Exception);
        std::list<Offer> offers;
        for (auto place = places.rbegin(); place != places.rend(); ++place) {
            SCOPED_TRACE(locale.toString().toUtf8() + " finds " + String(*place).toUtf8());
            offers.emplace_back(*place);
            const auto bundle = StringBundle::getBundle(u"Msg", given);
            EXPECT_EQ(bundle->getLocale()->toString(), String(*place));
            EXPECT_EQ(bundle->getString(u"key"), u"text"_qs);
            EXPECT_EQ(bundle->getParent(), nullptr);
        }
    }
    const Offer offer(u"en");
    // The last is no name for the component of its first three units.
    for (const String& base : {u"Other"_qs, String(), String(u"Msg\0x", 5)})
        EXPECT_EQ(descriptionOf([&] { (void)StringBundle::getBundle(base); }), NotFound);
}

using Messages = std::vector<std::pair<std::u16string, std::u16string>>;
using Mistakes = std::vector<std::string>;

Messages messagesOf(const MessageFile& file) {
    Messages messages;
    for (const auto& [key, text, line] : file.messages())
        messages.emplace_back(key.view(), text.view());
    return messages;
}

Mistakes mistakesOf(const MessageFile& file) {
    Mistakes mistakes;
    for (const auto& [line, reason] : file.mistakes())
        mistakes.push_back(std::to_string(line) + ": " + reason.toUtf8());
    return mistakes;
}

TEST(MessageFile, ReadsWhatItsGrammarSays) {
    const std::pair<std::string_view, Messages> cases[] = {
        {"", {}},
        {"\n  \t\n# a = b\n \t# c = d\\\n", {}}, // a comment is not continued
        {" \ta b\t =  1 2=3#4 \t\r\nc=5", {{u"a b", u"1 2=3#4"}, {u"c", u"5"}}},
        {"a=\nb= \t\nc=\\ ", {{u"a", u""}, {u"b", u""}, {u"c", u" "}}},
        {"a = \\  1 \\ ", {{u"a", u"  1  "}}},
        {"a\\=b = 1\n\\#c = 2\n\\ d = 3", {{u"a=b", u"1"}, {u"#c", u"2"}, {u" d", u"3"}}},
        {"a=\\n\\r\\t\\\\n\\#\\=", {{u"a", u"\n\r\t\\n#="}}},
        {"\\u006b = \\u00e4\\u20AC\\uD83D\\uDE00", {{u"k", u"ä€😀"}}},
        {"schlüssel = Grüße 😀", {{u"schlüssel", u"Grüße 😀"}}},
        {"\xEF\xBB\xBF"
         "a=1",
         {{u"a", u"1"}}},
        // continuations: blanks before the "\" count, those of the next line do not
        {"a = one \\\n   two\\\r\n\t, three\nb=1", {{u"a", u"one two, three"}, {u"b", u"1"}}},
        {"a = \\\n   # no comment\nb = \\\\\nc = \\\\\\\nd",
         {{u"a", u"# no comment"}, {u"b", u"\\"}, {u"c", u"\\d"}}},
        {"key\\\n.rest = 1\na = 1\\\n\nb = 2", {{u"key.rest", u"1"}, {u"a", u"1"}, {u"b", u"2"}}},
    };
    for (const auto& [bytes, messages] : cases) {
        SCOPED_TRACE(bytes);
        const MessageFile file(bytes);
        EXPECT_EQ(messagesOf(file), messages);
        EXPECT_EQ(mistakesOf(file), Mistakes{});
    }
}

// Each file has the good message "z=9" behind what is wrong.
TEST(MessageFile, TellsEveryMistakeAndGoesOn) {
    using namespace std::string_view_literals;
    const std::pair<std::string_view, Mistakes> cases[] = {
        {"\n = text\nnonsense\n", {"2: no key before the \"=\"", "3: no \"=\""}},
        {"a = \\q\nb = \\N\n", {"1: the unknown escape \\q", "2: the unknown escape \\N"}},
        {"a = \\u12G4\nb = \\u123\n",
         {"1: \\u without four hexadecimal digits", "2: \\u without four hexadecimal digits"}},
        {"a = \\u0000\n", {"1: \\u0000, which no text can hold"}},
        {"a = \\uD83D!\nb = \\uDE00\nc = \\uD83D\\uD83D\n",
         {"1: \\uD83D, which is half a character", "2: \\uDE00, which is half a character",
          "3: \\uD83D, which is half a character"}},
        {"a = 1\\\n\\q\\\n2\nb = \\q\n",
         {"2: the unknown escape \\q", "4: the unknown escape \\q"}},
        {"# \xC3(\nb = \xC0\x80\xED\xA0\x80\n", {"1: not UTF-8", "2: not UTF-8"}},
        // what continues a bad line is no message of its own
        {"a = \xFF\\\nb = 1\n", {"1: not UTF-8"}},
        {"a = 1\r2\n\0=\n\x7F\n"sv,
         {"1: the control character U+000D", "2: the control character U+0000",
          "3: the control character U+007F"}},
        {"a = 1\nb = 1\n a\\\n= 2\na = 3\n",
         {"3: the key a was there in line 1", "5: the key a was there in line 1"}},
    };
    for (const auto& [bytes, mistakes] : cases) {
        SCOPED_TRACE(bytes);
        const MessageFile file(std::string(bytes) + "z=9");
        EXPECT_EQ(mistakesOf(file), mistakes);
        ASSERT_FALSE(file.messages().empty());
        EXPECT_EQ(file.messages().back().key, u"z"_qs);
    }
    EXPECT_EQ(mistakesOf(MessageFile("a=1\nb=\\")),
              Mistakes{"2: nothing follows the \"\\\" at the end"});
    std::string wrong;
    for (int line = 0; line <= MessageFile::MostMistakes; ++line)
        wrong += "x\n";
    EXPECT_EQ(MessageFile(wrong).mistakes().size(), size_t{MessageFile::MostMistakes});
}

TEST(MessageFile, MakesBundlesOfGoodFilesOnly) {
    const TemporaryFolder folder;
    const String path = String::fromUtf8(folder.path("Msg.de.messages"));
    EXPECT_EQ(failureOf([&] { (void)MessageFile::read(path); }), result::NotFound);
    writeFile(folder.path("Msg.de.messages"), "a = 1\nb =\n");
    const auto locale = makeReference<Locale>(u"de");
    const auto bundle = MessageFile::read(path).createBundle(locale);
    EXPECT_EQ(bundle->getString(u"a"), u"1"_qs);
    EXPECT_THROW((void)bundle->getString(u"b"), Exception);
    EXPECT_EQ(bundle->getLocale(), locale);

    const auto halfAFile = [] { (void)MessageFile("a = 1\nb").createBundle(); };
    EXPECT_EQ(failureOf(halfAFile), result::Corrupt);
    EXPECT_EQ(descriptionOf(halfAFile), "line 2: no \"=\"");
    writeFile(folder.path("Msg.de.messages"), std::string(MessageFile::LargestFile, '\n'));
    EXPECT_TRUE(MessageFile::read(path).messages().empty());
    writeFile(folder.path("Msg.de.messages"), std::string(MessageFile::LargestFile + 1, '\n'));
    EXPECT_EQ(failureOf([&] { (void)MessageFile::read(path); }), result::FileTooLarge);
}

} // namespace
