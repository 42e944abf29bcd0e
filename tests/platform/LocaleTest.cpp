#include <gtest/gtest.h>
#include <string>

#include <qx/core/String.h>
#include <qx/platform/result.h>
#include <qx/platform/text.h>

#include "tests/support/TestLocale.h"

namespace {

using namespace qx;
using qxtest::TestLocale;

constexpr char NotMade[] = "the system cannot make the locale";

std::u16string defaultEncoding() {
    char16_t name[40];
    EXPECT_EQ(QXGetDefaultCharEncoding(name, 40), result::Ok);
    return name;
}

std::u16string defaultLocale() {
    char16_t name[40];
    EXPECT_EQ(QXGetDefaultLocale(name, 40), result::Ok);
    return name;
}

struct Narrowed {
    int32_t result;
    std::string bytes;
};

Narrowed narrow(const std::u16string& text, int32_t capacity = 64) {
    std::string buffer(static_cast<size_t>(capacity) + 1, '#');
    const int32_t result =
        QXUnicodeToAnsi(text.data(), static_cast<int32_t>(text.size()), buffer.data(), capacity);
    EXPECT_EQ(buffer[static_cast<size_t>(capacity)], '#') << "written beyond the capacity";
    return {result, buffer.c_str()};
}

TEST(DefaultLocale, NamesTheLanguageAndCodeSet) {
    for (const char* const plain : {"C", "POSIX", "C.UTF-8"}) {
        const TestLocale locale(plain);
        ASSERT_TRUE(locale.isSet());
        EXPECT_EQ(defaultEncoding(), u"UTF-8") << plain;
        EXPECT_EQ(defaultLocale(), u"en_US") << plain;
    }
    // No codec serves the second.
    for (const std::string codeSet : {"ISO-8859-1", "ISO-8859-15"}) {
        const TestLocale german("de_DE", codeSet);
        if (!german.isSet())
            GTEST_SKIP() << NotMade;
        const bool isServed = codeSet == "ISO-8859-1";
        EXPECT_EQ(defaultEncoding(), isServed ? u"ISO-8859-1" : u"UTF-8");
        EXPECT_EQ(defaultLocale(), u"de_DE");
        EXPECT_EQ(narrow(u"ä").bytes, isServed ? "\xE4" : "ä");
        EXPECT_EQ(qx::String("ä").getLength(), isServed ? 2 : 1);
    }
}

TEST(DefaultLocale, RefusesAShortBuffer) {
    const TestLocale plain("C");
    char16_t name[6] = u"#####";
    EXPECT_EQ(QXGetDefaultLocale(name, 5), result::BufferTooSmall);
    EXPECT_EQ(name[0], 0);
    EXPECT_EQ(QXGetDefaultLocale(name, 6), result::Ok);
    EXPECT_EQ(QXGetDefaultLocale(name, 0), result::BufferTooSmall);
    EXPECT_EQ(QXGetDefaultCharEncoding(nullptr, 40), result::NullPointer);
}

TEST(UnicodeToAnsi, WritesUtf8) {
    const TestLocale utf8("C.UTF-8");
    ASSERT_TRUE(utf8.isSet());
    const std::u16string text = u"a\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF";
    const auto whole = narrow(text);
    EXPECT_EQ(whole.result, result::Ok);
    EXPECT_EQ(whole.bytes, "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                           "\xF4\x8F\xBF\xBF");
    char buffer[8];
    EXPECT_EQ(QXUnicodeToAnsi(u"ab", -1, buffer, 8), result::Ok);
    EXPECT_STREQ(buffer, "ab");
}

TEST(UnicodeToAnsi, KeepsWholeCharactersWhenTheBufferIsShort) {
    const TestLocale utf8("C.UTF-8");
    const std::u16string text = u"aé€😀";
    const std::string bytes = "aé€😀";
    for (int32_t capacity = 1; capacity <= 12; ++capacity) {
        const auto cut = narrow(text, capacity);
        const bool fits = static_cast<size_t>(capacity) > bytes.size();
        EXPECT_EQ(cut.result, fits ? result::Ok : result::BufferTooSmall) << capacity;
        const size_t room = static_cast<size_t>(capacity) - 1;
        const size_t expected = room >= 10 ? 10 : room >= 6 ? 6 : room >= 3 ? 3 : room >= 1 ? 1 : 0;
        EXPECT_EQ(cut.bytes, bytes.substr(0, expected)) << capacity;
    }
    EXPECT_EQ(QXUnicodeToAnsi(u"a", 1, nullptr, 1), result::NullPointer);
    char one = '#';
    EXPECT_EQ(QXUnicodeToAnsi(u"", 0, &one, 0), result::BufferTooSmall);
    EXPECT_EQ(QXUnicodeToAnsi(u"", -2, &one, 1), result::InvalidArgument);
    EXPECT_EQ(one, '#');
}

TEST(UnicodeToAnsi, RefusesLoneSurrogates) {
    const TestLocale utf8("C.UTF-8");
    for (const std::u16string& lone :
         {std::u16string{0xD800}, std::u16string{0xDC00}, std::u16string{0xDFFF, 0xD800},
          std::u16string{0xDBFF, u'a'}}) {
        const auto refused = narrow(u"ok" + lone);
        EXPECT_EQ(refused.result, result::UnmappableCharacter);
        EXPECT_EQ(refused.bytes, "ok");
    }
}

TEST(UnicodeToAnsi, KnowsTheLimitsOfASmallCodeSet) {
    const TestLocale latin("de_DE", "ISO-8859-1");
    if (!latin.isSet())
        GTEST_SKIP() << NotMade;
    EXPECT_EQ(narrow(u"\u0080ÿ").bytes, "\x80\xFF");
    const auto refused = narrow(u"n\u0100");
    EXPECT_EQ(refused.result, result::UnmappableCharacter);
    EXPECT_EQ(refused.bytes, "n");
    EXPECT_EQ(narrow(u"abc", 3).result, result::BufferTooSmall);
    EXPECT_EQ(narrow(u"abc", 3).bytes, "ab");
}

} // namespace
