#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/platform/text.h>

using namespace qx;

namespace {

/// Slow plain search: the first place from @p start on, or the last that ends at or before it.
int32_t plainIndexOf(std::u16string_view text, std::u16string_view pattern, int32_t start) {
    for (size_t i = static_cast<size_t>(start); i + pattern.size() <= text.size(); ++i) {
        if (text.substr(i, pattern.size()) == pattern)
            return static_cast<int32_t>(i);
    }
    return -1;
}

int32_t plainLastIndexOf(std::u16string_view text, std::u16string_view pattern, int32_t start) {
    for (auto i = static_cast<int32_t>(text.size()) - 1; i >= 0; --i) {
        if (i + static_cast<int32_t>(pattern.size()) <= start + 1 &&
            text.substr(static_cast<size_t>(i), pattern.size()) == pattern)
            return i;
    }
    return -1;
}

std::u16string randomText(std::mt19937& random, size_t length, int alphabet) {
    std::u16string text(length, u'\0');
    for (auto& unit : text)
        unit = static_cast<char16_t>(u'a' +
                                     std::uniform_int_distribution<int>(0, alphabet - 1)(random));
    return text;
}

} // namespace

TEST(StringSearch, FindsWhatThePlainSearchFindsAtEveryLengthAndOffset) {
    std::mt19937 random(7);
    for (size_t length = 0; length <= 70; ++length) {
        for (const int alphabet : {1, 2, 26}) {
            const std::u16string memory = randomText(random, length + 8, alphabet);
            const auto offset = static_cast<size_t>(random() % 8); // every alignment in turn
            const auto model = std::u16string_view(memory).substr(offset, length);
            const String text(model.data(), String::AM_WRAP, static_cast<int32_t>(length));
            for (size_t patternLength = 1; patternLength <= 20; ++patternLength) {
                const std::u16string foreign = randomText(random, patternLength, alphabet);
                const std::u16string own(model.substr(random() % (length + 1), patternLength));
                for (const auto& pattern : {foreign, own}) {
                    if (pattern.empty())
                        continue;
                    const auto start = static_cast<int32_t>(random() % (length + 2));
                    ASSERT_EQ(text.indexOf(pattern, start), plainIndexOf(model, pattern, start));
                    ASSERT_EQ(text.indexOf(pattern, start, true),
                              plainIndexOf(model, pattern, start));
                    ASSERT_EQ(text.lastIndexOf(pattern, start),
                              plainLastIndexOf(model, pattern, start));
                    ASSERT_EQ(text.indexOf(pattern[0], start),
                              plainIndexOf(model, pattern.substr(0, 1), start));
                    ASSERT_EQ(text.contains(pattern), model.find(pattern) != model.npos);
                }
            }
        }
    }
}

TEST(StringSearch, AnswersTheOddCalls) {
    const String text(u"abcabc");
    EXPECT_EQ(text.indexOf(u""), -1);
    EXPECT_EQ(text.lastIndexOf(u""), -1);
    EXPECT_FALSE(text.contains(u""));
    EXPECT_TRUE(text.startsWith(u""));
    EXPECT_TRUE(text.endsWith(u""));
    EXPECT_EQ(text.indexOf(u"abc", -5), 0);
    EXPECT_EQ(text.indexOf(u"abc", 4), -1);
    EXPECT_EQ(text.indexOf(u"abc", INT32_MAX), -1);
    EXPECT_EQ(text.lastIndexOf(u"abc"), 3);
    EXPECT_EQ(text.lastIndexOf(u"abc", 4), 0); // the later one ends behind the start
    EXPECT_EQ(text.lastIndexOf(u"abc", 1), -1);
    EXPECT_EQ(text.lastIndexOf(u'a', INT32_MAX), 3);
    EXPECT_EQ(text.indexOf(u"bcX", 2, 2), 4); // the first two units, from position 2 on
    EXPECT_EQ(String().indexOf(u"a"), -1);
    EXPECT_EQ(String().lastIndexOf(u'a'), -1);
    EXPECT_EQ(text.indexOf(u"BCA", 0, true), 1);
    EXPECT_EQ(text.lastIndexOf(u"BC", -1, true), 4);
    EXPECT_EQ(text.indexOf(u'C', 3, true), 5);
    EXPECT_EQ(String(u"stra\u00DFe \u0416").indexOf(u"\u0436", 0, true), 7);
}

TEST(StringSearch, SetsAreSearchedFromBothEndsWithAndWithoutCase) {
    const String text(u"aXbYc\u4E00a");
    const struct {
        int32_t found;
        int32_t expected;
    } cases[] = {
        {text.findFirstOf(u"YX"), 1},          {text.findFirstOf(u"YX", 2), 3},
        {text.findFirstOf(u"yx"), -1},         {text.findFirstOf(u"yx", 0, true), 1},
        {text.findFirstOf(u"YX", 0, true), 1}, {text.findFirstOf(u"\u4E01\u4E00"), 5},
        {text.findFirstOf(u"\u4E01"), -1},     {text.findFirstOf(u""), -1},
        {text.findFirstOf(u"a", -3), 0},       {text.findFirstOf(u"a", 99), -1},
        {text.findFirstOfCase(u"x"), -1},      {text.findFirstOfCase(u"X"), 1},
        {text.findFirstNotOf(u"aX"), 2},       {text.findFirstNotOf(u"ax", 0, true), 2},
        {text.findFirstNotOf(u""), 0},         {text.findFirstNotOf(u"aXbYc\u4E00"), -1},
        {text.findLastOf(u"aX"), 6},           {text.findLastOf(u"aX", 5), 1},
        {text.findLastOf(u"x", 99, true), 1},  {text.findLastOf(u"q"), -1},
        {text.findLastNotOf(u"a"), 5},         {text.findLastNotOf(u"a\u4E00C", -1, true), 3},
        {text.findLastNotOf(u"aX", 1), -1},    {String().findFirstNotOf(u"a"), -1},
        {String().findLastNotOf(u"a"), -1},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].found, cases[i].expected) << "case " << i;
}

TEST(StringSearch, ComparesByUnitThenByLength) {
    const struct {
        const char16_t* left;
        const char16_t* right;
        bool ignoreCase;
        int expected;
    } cases[] = {
        {u"", u"", false, 0},
        {u"abc", u"abc", false, 0},
        {u"abc", u"abcd", false, -1},
        {u"abcde", u"ab", false, 3}, // the difference of the lengths
        {u"abd", u"abcdef", false, 1},
        {u"abc", u"abdef", false, -1},
        {u"\uFFFF", u"\U00010000", false, 1}, // by unit, not by code point
        {u"\u8000", u"\u7FFF", false, 1},     // unsigned
        {u"abc", u"ABC", false, 1},
        {u"abc", u"ABC", true, 0},
        {u"abc", u"ABCD", true, -1},
        {u"[", u"a", true, -1}, // as lower case: '[' lies between the two cases
        {u"\u0416\u00C9", u"\u0436\u00E9", true, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(String(c.left));
        EXPECT_EQ(String(c.left).compare(c.right, c.ignoreCase), c.expected);
        EXPECT_EQ(String(c.right).compare(c.left, c.ignoreCase), -c.expected);
        EXPECT_EQ(String(c.left).equals(c.right, c.ignoreCase), c.expected == 0);
    }
}

TEST(StringSearch, EveryDifferenceIsSeenAtEveryLength) {
    for (size_t length = 1; length <= 70; ++length) {
        const std::u16string model(length, u'm');
        const String text(model);
        for (size_t at = 0; at < length; ++at) {
            std::u16string changed = model;
            changed[at] = u'z';
            const String other(changed);
            ASSERT_EQ(text.compare(other), -1);
            ASSERT_EQ(other.compare(text), 1);
            ASSERT_EQ(text.compare(other, true), -1);
            ASSERT_FALSE(text == other);
            changed[at] = u'M';
            ASSERT_TRUE(text.equals(changed, true));
            ASSERT_EQ(text.compare(changed), 1);
        }
    }
}

TEST(StringSearch, RegionsAreCutToBothTexts) {
    const String text(u"abcdef");
    const struct {
        int order;
        int expected;
    } orders[] = {
        {text.regionCompare(2, 2, u"cd"), 0},
        {text.regionCompare(0, 3, u"abcd"), -1},
        {text.regionCompare(0, 3, u"abad"), 1},
        {text.regionCompare(-1, 5, u""), 0}, // from the end on nothing is left
        {text.regionCompare(99, -1, u"a"), -1},
        {text.regionCompare(3, -1, u"xxdef", 2), 0},
        {text.regionCompare(3, 99, u"xxdef", 2), 0},
        {text.regionCompare(3, 3, u"def", 9), 3}, // the other start is cut to its length
        {text.regionCompare(0, 2, u"ABC", 2, 0, true), 0},
        {text.regionCompare(1, 2, u"xBCD", 3, 1, true), 0},
    };
    for (size_t i = 0; i < std::size(orders); ++i)
        EXPECT_EQ(orders[i].order, orders[i].expected) << "case " << i;
    EXPECT_TRUE(text.regionMatches(1, 2, u"bc"));
    EXPECT_FALSE(text.regionMatches(1, 2, u"bcd"));
    EXPECT_TRUE(text.regionMatches(1, 2, u"bcd", 2, 0));
    EXPECT_TRUE(text.regionMatches(4, -1, u"EF", 0, true));
    EXPECT_TRUE(text.startsWith(u"ab") && !text.startsWith(u"b") && !text.startsWith(u"abcdefg"));
    EXPECT_TRUE(text.endsWith(u"EF", true) && !text.endsWith(u"EF") && !text.endsWith(u"aabcdef"));
}

TEST(StringSearch, HashSamplesLongTexts) {
    const auto plainHash = [](std::u16string_view text) {
        const int length = static_cast<int>(text.size());
        const int step = (length - 32) / 32 + 1;
        uint32_t hash = 0;
        for (int i = 0; i < length; i += step)
            hash = hash * 37 + text[static_cast<size_t>(i)];
        return hash;
    };
    std::mt19937 random(3);
    for (size_t length = 0; length < 300; ++length) {
        const std::u16string text = randomText(random, length, 26);
        ASSERT_EQ(String(text).hashCode(), plainHash(text)) << length;
        std::u16string upper = text;
        QXTextToUpperW(upper.data(), static_cast<int32_t>(length));
        ASSERT_EQ(String(text).hashCode(true), String(upper).hashCode(true));
        ASSERT_EQ(String(text).hashCode(true), plainHash(text));
    }
    std::u16string text(64, u'a');
    const uint32_t hash = String(text).hashCode();
    text[1] = u'b'; // at 64 units only the even places count
    EXPECT_EQ(String(text).hashCode(), hash);
    text[2] = u'b';
    EXPECT_NE(String(text).hashCode(), hash);
}
