#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include <qx/platform/text.h>

#include "tests/support/TestLocale.h"

namespace {

using Limits = std::numeric_limits<int64_t>;
constexpr double Infinity = std::numeric_limits<double>::infinity();

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

TEST(IntegerText, ReadsLikeStrtol) {
    const struct {
        const char16_t* text;
        int32_t radix;
        int64_t value;
        ptrdiff_t unitsRead;
    } cases[] = {
        {u"0", 10, 0, 1},
        {u" \t\r\n\v\f-42x", 10, -42, 9},
        {u"+7", 10, 7, 2},
        {u"", 10, 0, 0},
        {u"  ", 10, 0, 0}, // no digit: nothing is read, the space neither
        {u"-", 10, 0, 0},
        {u"- 1", 10, 0, 0},
        {u"+-1", 10, 0, 0},
        {u"\u00A01", 10, 0, 0}, // no white space of ours
        {u"\u0661", 10, 0, 0},  // an Arabic digit
        {u"12", 2, 1, 1},
        {u"zZ", 36, 1295, 2},
        {u"Z", 35, 0, 0},
        {u"0x1F", 0, 31, 4},
        {u"0X1f", 16, 31, 4},
        {u"-0x10", 0, -16, 5},
        {u"0x", 0, 0, 1}, // only the zero
        {u"0xg", 16, 0, 1},
        {u"0x1", 10, 0, 1},
        {u"017", 0, 15, 3},
        {u"08", 0, 0, 1},
        {u"9223372036854775807", 10, Limits::max(), 19},
        {u"9223372036854775808", 10, Limits::max(), 19},
        {u"-9223372036854775807", 10, -Limits::max(), 20},
        {u"-9223372036854775808", 10, Limits::min(), 20},
        {u"-9223372036854775809", 10, Limits::min(), 20},
        {u"18446744073709551616", 10, Limits::max(), 20}, // 2^64
        {u"-99999999999999999999999", 10, Limits::min(), 24},
        {u"7", 1, 0, 0}, // no radix
        {u"7", 37, 0, 0},
        {u"7", -10, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::u16string(c.text)));
        char16_t* end = nullptr;
        EXPECT_EQ(QXStrToLW(c.text, &end, c.radix), c.value);
        EXPECT_EQ(end - c.text, c.unitsRead);
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

std::u16string repeated(const char16_t* head, char16_t unit, size_t count, const char16_t* tail) {
    return head + std::u16string(count, unit) + tail;
}

TEST(RealText, ReadsLikeStrtod) {
    const struct {
        std::u16string text;
        double value;
        ptrdiff_t unitsRead;
    } cases[] = {
        {u"1.5", 1.5, 3},
        {u" +.5", .5, 4},
        {u"5.", 5, 2},
        {u"-0", -0.0, 2},
        {u".", 0, 0},
        {u"-.e1", 0, 0},
        {u"x", 0, 0},
        {u"1e", 1, 1}, // no whole exponent
        {u"1e+", 1, 1},
        {u"1E-2x", .01, 4},
        {u"1.5.5", 1.5, 3},
        {u"1,5", 1, 1}, // whatever the locale's point is
        {u"0x1.8p1", 3, 7},
        {u"0x.8", .5, 4},
        {u"0x", 0, 1},
        {u"0xp1", 0, 1},
        {u"-InF", -Infinity, 4},
        {u"infinity!", Infinity, 8},
        {u"infinit", Infinity, 3},
        {u"\u0130nf", 0, 0}, // a letter that is "i" in lower case
        {u"1e308", 1e308, 5},
        {u"1e309", Infinity, 5},
        {u"-1e309", -Infinity, 6},
        {u"1e999999999999999999999", Infinity, 23},
        {u"1e-999999999999999999999", 0, 24},
        {u"4.9406564584124654e-324", 4.9406564584124654e-324, 23}, // the smallest
        {u"1e-400", 0, 6},
        {u"0x1p1024", Infinity, 8},
        {u"0x1p-1074", 4.9406564584124654e-324, 9},
        {u"0x1p-2000", 0, 9},
        {u"0e99999", 0, 7},
        {u"2.2250738585072011e-308", 2.2250738585072011e-308, 23},
        {u"9007199254740993", 9007199254740992, 16},      // halfway: to even
        {u"9007199254740993.0000", 9007199254740992, 21}, //
        {repeated(u"9007199254740993.", u'0', 2000, u"1"), 9007199254740994, 2018}, // just above
        {repeated(u"0.", u'0', 2000, u"1e2001"), 1, 2008},
        {repeated(u"1", u'0', 2000, u"e-2000"), 1, 2007},
        {repeated(u"", u'0', 3000, u"7"), 7, 3001},
        {repeated(u"0x1", u'0', 2000, u"p-8000"), 1, 2009},
        {repeated(u"", u'9', 400, u""), Infinity, 400},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.text.substr(0, 40)));
        char16_t* end = nullptr;
        const double value = QXStrToDW(c.text.c_str(), &end);
        EXPECT_EQ(value, c.value);
        EXPECT_EQ(std::signbit(value), std::signbit(c.value));
        EXPECT_EQ(end - c.text.c_str(), c.unitsRead);
    }
    char16_t* end = nullptr;
    EXPECT_TRUE(std::isnan(QXStrToDW(u"NaN", &end)));
}

TEST(RealText, DoesNotDependOnTheLocale) {
    const qxtest::TestLocale german("de_DE", "ISO-8859-1");
    if (!german.isSet())
        GTEST_SKIP() << "the system cannot make a German locale";
    ASSERT_EQ(std::stod("1,5"), 1.5) << "the locale is in force";
    EXPECT_EQ(QXStrToDW(u"1.5", nullptr), 1.5);
    EXPECT_EQ(QXStrToDW(u"1,5", nullptr), 1);
    EXPECT_EQ(QXToUpperW(u'ä'), u'Ä');
}

} // namespace
