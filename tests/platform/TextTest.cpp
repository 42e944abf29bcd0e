#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <qx/core/String.h>
#include <qx/platform/result.h>
#include <qx/platform/text.h>

#include "tests/support/TestLocale.h"

namespace {

using namespace qx;
using qxtest::TestLocale;

constexpr char NotMade[] = "the system cannot make the locale";
using Limits = std::numeric_limits<int64_t>;

TEST(CText, SearchesUpToAndIncludingTheTerminator) {
    char16_t text[] = u"abca";
    EXPECT_EQ(QXStrChrW(text, u'a'), text);
    EXPECT_EQ(QXStrChrW(text, u'c'), text + 2);
    EXPECT_EQ(QXStrChrW(text, 0), text + 4);
    EXPECT_EQ(QXStrChrW(text, u'x'), nullptr);
    EXPECT_EQ(QXStrLenW_32(text), 4);
}

TEST(CText, ComparesUnitsAsUnsigned) {
    EXPECT_LT(QXStrCmpW(u"ab", u"abc"), 0);
    EXPECT_GT(QXStrCmpW(u"\uFFFD", u"a"), 0);
    EXPECT_GT(QXStrCmpW(u"\uE000", u"😀"), 0); // by unit, not by code point
    EXPECT_EQ(QXStrCmpW(u"", u""), 0);
}

TEST(CText, BoundedCopyPadsAndMayLeaveNoTerminator) {
    char16_t to[6];
    const auto fill = [&to] { std::fill(std::begin(to), std::end(to), u'#'); };
    fill();
    QXStrNCpyW(to, u"ab", 5);
    EXPECT_EQ(std::u16string(to, 6), std::u16string(u"ab\0\0\0#", 6));
    fill();
    EXPECT_EQ(QXStrNCpyW(to, u"abc", 3), to);
    EXPECT_EQ(std::u16string(to, 6), u"abc###");
    fill();
    QXStrNCpyW(to, u"abc", 0);
    EXPECT_EQ(to[0], u'#');
    EXPECT_EQ(std::u16string(QXStrCpyW(to, u"abcd")), u"abcd");
}

TEST(CText, TokenizerSkipsRunsAndCanBeResumed) {
    char16_t text[] = u",,a,;b;";
    char16_t other[] = u"x y";
    char16_t* context = nullptr;
    char16_t* otherContext = nullptr;
    EXPECT_EQ(std::u16string(QXStrTokW(text, u",;", &context)), u"a");
    EXPECT_EQ(std::u16string(QXStrTokW(other, u" ", &otherContext)), u"x");
    EXPECT_EQ(std::u16string(QXStrTokW(nullptr, u",;", &context)), u"b");
    EXPECT_EQ(QXStrTokW(nullptr, u",;", &context), nullptr);
    EXPECT_EQ(QXStrTokW(nullptr, u",;", &context), nullptr);
    EXPECT_EQ(std::u16string(QXStrTokW(nullptr, u"", &otherContext)), u"y");
}

std::u16string wide(const std::string& text) { return {text.begin(), text.end()}; }

/// Pieces of numbers in all forms, as they come.
std::string randomText(std::minstd_rand& random) {
    static const std::vector<std::string> pieces = [] {
        std::istringstream all("0,1,7,08,35,9,0x,0X,a,F,g,G,zZ,x,/,:,@,[,`,{,+,-,., ,\t\r\n\v\f,"
                               "e,E-,p,P-,inf,INITY,NaN,1e308,1e309,1e-400,0x1p1024,0x1p-1074,"
                               "e999999999999999999999,e-99999,.0000,9223372036854775807,"
                               "9223372036854775808,9223372036854775809,18446744073709551616,"
                               "9007199254740993,4.9406564584124654e-324,2.2250738585072011e-308");
        std::vector<std::string> split;
        for (std::string piece; std::getline(all, piece, ',');)
            split.push_back(piece);
        return split;
    }();
    std::string text;
    for (size_t left = random() % 6; left > 0; --left)
        text += pieces[random() % pieces.size()];
    return text;
}

TEST(IntegerText, ReadsLikeStrtol) {
    std::minstd_rand random(1);
    for (int i = 0; i < 100'000; ++i) {
        const std::string text = randomText(random);
        for (const int32_t radix : {0, 2, 8, 10, 16, 35, 36}) {
            SCOPED_TRACE(testing::Message() << '"' << text << "\" by " << radix);
            char* plainEnd = nullptr;
            const int64_t value = std::strtoll(text.c_str(), &plainEnd, radix);
            const std::u16string units = wide(text) + u'\u0661'; // a digit, but none of ours
            char16_t* end = nullptr;
            ASSERT_EQ(QXStrToLW(units.c_str(), &end, radix), value);
            ASSERT_EQ(end - units.c_str(), plainEnd - text.c_str());
        }
    }
    EXPECT_EQ(QXStrToLW(u"\u00A01", nullptr, 10), 0); // no white space of ours
    for (const int32_t noRadix : {1, 37, -10}) {
        const char16_t text[] = u"7";
        char16_t* end = nullptr;
        EXPECT_EQ(QXStrToLW(text, &end, noRadix), 0);
        EXPECT_EQ(end, text);
    }
}

TEST(IntegerText, UnsignedNumbersSaturateAndNegateModulo) {
    const uint32_t largest = std::numeric_limits<uint32_t>::max();
    for (const char16_t* text : {u"4294967295", u"4294967296", u"5000000000", u"-1", u"-5000000000",
                                 u"18446744073709551616", u"-99999999999999999999"})
        EXPECT_EQ(QXStrToULW(text, nullptr, 10), largest);
    EXPECT_EQ(QXStrToULW(u"-4294967295", nullptr, 10), 1u);
    EXPECT_EQ(QXStrToULW(u"FFFFFFFE", nullptr, 16), largest - 1);
}

TEST(IntegerText, NarrowNumbersStopAtTheir32BitLimits) {
    EXPECT_EQ(QXStrToIW(u"2147483647"), INT32_MAX);
    EXPECT_EQ(QXStrToIW(u"2147483648"), INT32_MAX);
    EXPECT_EQ(QXStrToIW(u"-2147483648"), INT32_MIN);
    EXPECT_EQ(QXStrToIW(u"-2147483649"), INT32_MIN);
    EXPECT_EQ(QXStrToIW(u"99999999999999999999"), INT32_MAX);
    EXPECT_EQ(QXStrToIW(u"0x10"), 0);
}

TEST(IntegerText, EveryRadixRoundTripsInUpperCase) {
    for (int32_t radix = 2; radix <= 36; ++radix) {
        for (const int64_t value : {Limits::min(), int64_t{-36}, int64_t{0}, int64_t{35},
                                    int64_t{123456789}, Limits::max()}) {
            char16_t wide[66];
            char narrow[66];
            const std::u16string text = QXLToStrW(value, wide, radix);
            EXPECT_EQ(QXStrToLW(wide, nullptr, radix), value) << radix;
            EXPECT_EQ(text.find_first_of(u"abcdefghijklmnopqrstuvwxyz"), text.npos);
            const std::string same = QXLToStrA(value, narrow, radix);
            EXPECT_EQ(text, std::u16string(same.begin(), same.end()));
        }
    }
    char16_t buffer[66] = u"x";
    EXPECT_EQ(*QXLToStrW(5, buffer, 1), 0);
    EXPECT_EQ(*QXLToStrW(5, buffer, 37), 0);
    EXPECT_EQ(std::u16string(QXLToStrW(-255, buffer, 16)), u"-FF");
}

void expectReadLikeStrtod(const std::string& text) {
    SCOPED_TRACE(text.substr(0, 60));
    char* plainEnd = nullptr;
    const double expected = std::strtod(text.c_str(), &plainEnd);
    const std::u16string units = wide(text);
    char16_t* end = nullptr;
    const double value = QXStrToDW(units.c_str(), &end);
    if (!std::isnan(expected)) {
        EXPECT_EQ(value, expected);
        EXPECT_EQ(std::signbit(value), std::signbit(expected));
    } else {
        EXPECT_TRUE(std::isnan(value));
    }
    EXPECT_EQ(end - units.c_str(), plainEnd - text.c_str());
}

TEST(RealText, ReadsLikeStrtod) {
    std::minstd_rand random(2);
    for (int i = 0; i < 100'000 && !testing::Test::HasFailure(); ++i)
        expectReadLikeStrtod(randomText(random));
    const std::string zeros(2000, '0');
    expectReadLikeStrtod("9007199254740993." + zeros + "1"); // just above halfway
    expectReadLikeStrtod("0." + zeros + "1e2001");
    expectReadLikeStrtod("1" + zeros + "e-2000");
    expectReadLikeStrtod(zeros + "7");
    expectReadLikeStrtod("0x1" + zeros + "p-8000");
    expectReadLikeStrtod(std::string(400, '9'));
    EXPECT_EQ(QXStrToDW(u"\u0130nf", nullptr), 0); // a letter that is "i" in lower case
}

TEST(RealText, DoesNotDependOnTheLocale) {
    const TestLocale german("de_DE", "ISO-8859-1");
    if (!german.isSet())
        GTEST_SKIP() << NotMade;
    ASSERT_EQ(std::stod("1,5"), 1.5) << "the locale is in force";
    EXPECT_EQ(QXStrToDW(u"1.5", nullptr), 1.5);
    EXPECT_EQ(QXStrToDW(u"1,5", nullptr), 1);
    EXPECT_EQ(QXToUpperW(u'ä'), u'Ä');
}

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

TEST(UnicodeToAnsi, WritesUtf8AndKeepsWholeCharactersWhenTheBufferIsShort) {
    const TestLocale utf8("C.UTF-8");
    ASSERT_TRUE(utf8.isSet());
    const std::u16string text = u"a\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF";
    const std::string bytes = "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                              "\xF4\x8F\xBF\xBF";
    for (int32_t capacity = 1; capacity <= std::ssize(bytes) + 2; ++capacity) {
        const auto cut = narrow(text, capacity);
        auto end = std::min(static_cast<size_t>(capacity) - 1, bytes.size());
        EXPECT_EQ(cut.result, end == bytes.size() ? result::Ok : result::BufferTooSmall);
        while ((bytes[end] & 0xC0) == 0x80) // amid a character
            --end;
        EXPECT_EQ(cut.bytes, bytes.substr(0, end)) << capacity;
    }
    char buffer[3] = "#";
    EXPECT_EQ(QXUnicodeToAnsi(u"", 0, buffer, 0), result::BufferTooSmall);
    EXPECT_EQ(QXUnicodeToAnsi(u"", -2, buffer, 1), result::InvalidArgument);
    EXPECT_STREQ(buffer, "#");
    EXPECT_EQ(QXUnicodeToAnsi(u"ab", -1, buffer, 3), result::Ok);
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(QXUnicodeToAnsi(u"a", 1, nullptr, 1), result::NullPointer);
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
