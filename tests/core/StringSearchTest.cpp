#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/platform/text.h>

using namespace qx;

namespace {

std::u16string lower(std::u16string text) {
    QXTextToLowerW(text.data(), static_cast<int32_t>(text.size()));
    return text;
}

} // namespace

// Texts from no unit to several wide steps, at every alignment, against the searches of a standard
// string, whose order is by unit, then by length.
TEST(StringSearch, AgreesWithAStandardStringWhereverItStarts) {
    std::mt19937 random(17);
    const auto below = [&](size_t limit) { return static_cast<int32_t>(random() % limit); };
    const std::u16string_view alphabet =
        u"aAbBcC[_\u0416\u0436\u00C9\u00E9\u7FFF\u8000\xD83D\xFFFF";
    for (int round = 0; round < 60'000; ++round) {
        const size_t kinds = round % 3 == 0 ? 2 : round % 3 == 1 ? 6 : alphabet.size();
        const auto textOf = [&](int32_t length) {
            std::u16string text;
            while (length-- > 0)
                text += alphabet[random() % kinds];
            return text;
        };
        const bool ignoreCase = random() % 2;
        const std::u16string memory = textOf(below(round % 4 == 0 ? 80 : 18));
        const auto own = std::u16string_view(memory).substr(std::min(random() % 8, memory.size()));
        const String text(own.data(), String::AM_WRAP, static_cast<int32_t>(own.size()));
        std::u16string other = textOf(below(4));
        if (round % 4 == 0) // a part of it
            other = own.substr(random() % (own.size() + 1), random() % 20);
        else if (round % 4 == 1) // all of it
            other = own;
        if (!other.empty() && round % 8 < 2) // but for one place or for case
            other[random() % other.size()] ^= 32;
        const auto length = text.getLength();
        const int32_t start = below(own.size() + 4) - 2, count = below(own.size() + 4) - 2,
                      otherStart = below(other.size() + 2);
        SCOPED_TRACE(testing::Message() << "round " << round);
        const TextView sought(other);
        std::u16string model(own), pattern = other;
        if (ignoreCase)
            model = lower(model), pattern = lower(pattern);
        const int order = model.compare(pattern);
        ASSERT_EQ(text.compare(sought, ignoreCase), order);
        ASSERT_EQ(text.equals(sought, ignoreCase), order == 0);
        const auto from = static_cast<size_t>(start < 0 ? length : std::min(start, length));
        const int part =
            model.substr(from, static_cast<size_t>(count))
                .compare(pattern.substr(std::min(static_cast<size_t>(otherStart), pattern.size())));
        ASSERT_EQ(text.regionCompare(start, count, sought, otherStart, ignoreCase), part);
        ASSERT_EQ(text.regionMatches(start, count, sought, otherStart, ignoreCase), part == 0);
        ASSERT_EQ(text.startsWith(sought, ignoreCase), model.starts_with(pattern));
        ASSERT_EQ(text.endsWith(sought, ignoreCase), model.ends_with(pattern));

        const auto first = static_cast<size_t>(std::max(start, 0));
        const auto last = static_cast<size_t>(start); // npos, when it is -1
        const auto place = [](size_t found) { return static_cast<int32_t>(found); };
        ASSERT_EQ(text.findFirstOf(sought, start, ignoreCase),
                  place(model.find_first_of(pattern, first)));
        ASSERT_EQ(text.findFirstNotOf(sought, start, ignoreCase),
                  place(model.find_first_not_of(pattern, first)));
        ASSERT_EQ(text.findLastOf(sought, start, ignoreCase),
                  place(model.find_last_of(pattern, last)));
        ASSERT_EQ(text.findLastNotOf(sought, start, ignoreCase),
                  place(model.find_last_not_of(pattern, last)));
        const bool none = pattern.empty();
        ASSERT_EQ(text.contains(sought, ignoreCase), !none && model.find(pattern) != model.npos);
        ASSERT_EQ(text.indexOf(sought, start, ignoreCase),
                  none ? -1 : place(model.find(pattern, first)));
        // The last place that ends at or before the start, which the end stands for when negative.
        const auto end = static_cast<size_t>(start < 0 ? length : start) + 1;
        ASSERT_EQ(text.lastIndexOf(sought, start, ignoreCase),
                  none || pattern.size() > end ? -1
                                               : place(model.rfind(pattern, end - pattern.size())));
        if (none)
            continue;
        ASSERT_EQ(text.indexOf(other[0], start, ignoreCase), place(model.find(pattern[0], first)));
        ASSERT_EQ(text.lastIndexOf(other[0], start, ignoreCase),
                  place(model.rfind(pattern[0], last)));
    }
    const String text(u"abcabc");
    EXPECT_EQ(text.indexOf(u"bcX", 2, 2), 4); // the first two units, from position 2 on
    EXPECT_EQ(text.indexOf(u"abc", INT32_MAX), -1);
    EXPECT_EQ(text.lastIndexOf(u'a', INT32_MAX), 3);
    EXPECT_EQ(text.regionCompare(0, 2, u"ABC", 2, 0, true), 0);
    EXPECT_TRUE(text.regionMatches(1, 2, u"bcd", 2, 0));
    EXPECT_EQ(text.findFirstOfCase(u"B"), -1);
    EXPECT_EQ(text.findFirstOfCase(u"b"), 1);
}

TEST(StringSearch, HashSamplesLongTexts) {
    std::u16string text;
    for (size_t length = 0; length < 300; text += static_cast<char16_t>(u'a' + length++ % 23)) {
        uint32_t hash = 0;
        for (size_t i = 0; i < length; i += length < 64 ? 1 : length / 32)
            hash = hash * 37 + text[i];
        ASSERT_EQ(String(text).hashCode(), hash) << length;
        ASSERT_EQ(String(text).toUpper().hashCode(true), hash);
    }
}
