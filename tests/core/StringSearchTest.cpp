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

/// By unit, then by length.
int plainCompare(std::u16string_view left, std::u16string_view right) {
    const auto [ours, theirs] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    if (ours == left.end() || theirs == right.end())
        return static_cast<int>(left.size()) - static_cast<int>(right.size());
    return *ours < *theirs ? -1 : 1;
}

std::u16string lower(std::u16string text) {
    QXTextToLowerW(text.data(), static_cast<int32_t>(text.size()));
    return text;
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

TEST(StringSearch, AgreesWithPlainSearchesAndOrdersWhereverTheyStart) {
    std::mt19937 random(17);
    const auto below = [&](int limit) {
        return std::uniform_int_distribution<int>(0, limit - 1)(random);
    };
    const std::u16string_view alphabet =
        u"abcABC[_\u0416\u0436\u00C9\u00E9\u7FFF\u8000\xD83D\xFFFF";
    const auto textOf = [&](int length, int kinds) {
        std::u16string text;
        while (length-- > 0)
            text += alphabet[static_cast<size_t>(below(kinds))];
        return text;
    };
    for (int round = 0; round < 30'000; ++round) {
        const bool ignoreCase = below(2);
        const int kinds = below(2) ? 6 : 16;
        std::u16string units = textOf(below(round % 8 == 0 ? 70 : 9), kinds);
        std::u16string other = textOf(below(4), kinds);
        if (round % 4 == 0 && !units.empty()) { // differs in one place or in case only
            other = units;
            other[static_cast<size_t>(below(static_cast<int>(other.size())))] ^= 32;
        }
        const String text(units);
        const auto length = text.getLength();
        const int start = below(length + 4) - 2, count = below(length + 4) - 2,
                  otherStart = below(static_cast<int>(other.size()) + 2);
        SCOPED_TRACE(testing::Message() << "round " << round);
        const TextView sought(other);
        std::u16string model = units, pattern = other;
        if (ignoreCase)
            model = lower(model), pattern = lower(pattern);
        const int order = plainCompare(model, pattern);
        ASSERT_EQ(text.compare(sought, ignoreCase), order);
        ASSERT_EQ(text.equals(sought, ignoreCase), order == 0);
        const auto from = static_cast<size_t>(start < 0 ? length : std::min(start, length));
        const auto most = count < 0 ? model.npos : static_cast<size_t>(count);
        const int part = plainCompare(
            model.substr(from, most),
            pattern.substr(std::min<size_t>(static_cast<size_t>(otherStart), pattern.size())));
        ASSERT_EQ(text.regionCompare(start, count, sought, otherStart, ignoreCase), part);
        ASSERT_EQ(text.regionMatches(start, count, sought, otherStart, ignoreCase), part == 0);
        ASSERT_EQ(text.startsWith(sought, ignoreCase), model.starts_with(pattern));
        ASSERT_EQ(text.endsWith(sought, ignoreCase), model.ends_with(pattern));

        const auto first = static_cast<size_t>(std::max(start, 0));
        const auto last = start < 0 ? model.npos : static_cast<size_t>(start);
        const auto place = [](size_t found) { return static_cast<int32_t>(found); };
        ASSERT_EQ(text.findFirstOf(sought, start, ignoreCase),
                  place(model.find_first_of(pattern, first)));
        ASSERT_EQ(text.findFirstNotOf(sought, start, ignoreCase),
                  place(model.find_first_not_of(pattern, first)));
        ASSERT_EQ(text.findLastOf(sought, start, ignoreCase),
                  place(model.find_last_of(pattern, last)));
        ASSERT_EQ(text.findLastNotOf(sought, start, ignoreCase),
                  place(model.find_last_not_of(pattern, last)));
        const int32_t end = start < 0 ? length : start;
        const bool none = pattern.empty();
        ASSERT_EQ(text.indexOf(sought, start, ignoreCase),
                  none ? -1 : plainIndexOf(model, pattern, std::max(start, 0)));
        ASSERT_EQ(text.lastIndexOf(sought, start, ignoreCase),
                  none ? -1 : plainLastIndexOf(model, pattern, end));
        if (none)
            continue;
        ASSERT_EQ(text.indexOf(other[0], start, ignoreCase), place(model.find(pattern[0], first)));
        ASSERT_EQ(text.lastIndexOf(other[0], start, ignoreCase),
                  place(model.rfind(pattern[0], last)));
    }
}

TEST(StringSearch, TakesUnitsWithALengthAndStartsFarBehindTheText) {
    const String text(u"abcabc");
    EXPECT_EQ(text.indexOf(u"bcX", 2, 2), 4); // the first two units, from position 2 on
    EXPECT_FALSE(text.contains(u""));
    EXPECT_EQ(text.indexOf(u"abc", INT32_MAX), -1);
    EXPECT_EQ(text.lastIndexOf(u'a', INT32_MAX), 3);
    EXPECT_EQ(text.regionCompare(0, 2, u"ABC", 2, 0, true), 0);
    EXPECT_TRUE(text.regionMatches(1, 2, u"bcd", 2, 0));
    EXPECT_EQ(text.findFirstOfCase(u"B"), -1);
    EXPECT_EQ(text.findFirstOfCase(u"b"), 1);
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
}
