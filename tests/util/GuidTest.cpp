#include <array>
#include <memory>
#include <sstream>
#include <unordered_set>

#include <qx/util/Guid.h>

#include "tests/support/ExpectResult.h"

using qx::GUID;
using qx::String;
using qx::util::Guid;

namespace {

constexpr GUID Sample{0x72038029, 0xFA65, 0x4255, {0xA9, 0x16, 0x1C, 0x56, 0x80, 0xAC, 0xFE, 0xBF}};
constexpr std::u16string_view SampleText = u"{72038029-FA65-4255-A916-1C5680ACFEBF}";

} // namespace

static_assert(sizeof(Guid) == sizeof(GUID) && std::is_trivially_copyable_v<Guid>);

TEST(Guid, ReadsItsTextAndRejectsEveryDamagedOne) {
    const auto more = std::u16string(SampleText) + u"x";
    EXPECT_EQ(Guid(String(more.data(), String::AM_WRAP, 38)), Sample);
    EXPECT_EQ((std::ostringstream() << Sample).str(), String(SampleText).toUtf8());
    std::vector<std::u16string> texts{
        u"",
        u"72038029-FA65-4255-A916-1C5680ACFEBF",
        std::u16string(SampleText) + u" ",
        u" " + std::u16string(SampleText),
        std::u16string(SampleText) + u'\0',
        std::u16string(SampleText) + std::u16string(u"\0x", 2),
    };
    for (std::size_t i = 0; i < SampleText.size(); ++i) {
        texts.emplace_back(SampleText).erase(i, 1);
        // neither digit, hyphen nor brace; the last is a digit only when cut to 8 bits
        for (const char16_t unit : {u'\0', u' ', u'G', u'g', u'@', u'/', u':', u'`', u'\u0141'})
            texts.emplace_back(SampleText)[i] = unit;
        texts.emplace_back(SampleText)[i] = SampleText[i] == u'-' ? u'0' : u'-';
    }
    for (const std::u16string& text : texts) {
        EXPECT_EQ(qxtest::descriptionOf([&] { Guid{String(text)}; }), "invalid GUID string")
            << testing::PrintToString(text);
    }
}

TEST(Guid, OrdersByFieldsFromFirstToLast) {
    // As the digits of the texts, where each may be larger or smaller than in the sample.
    std::vector<std::u16string> texts{std::u16string(SampleText)};
    for (std::size_t i = 1; i + 1 < SampleText.size(); ++i) {
        for (const char16_t digit : {u'0', u'F'})
            if (SampleText[i] != u'-')
                texts.emplace_back(SampleText)[i] = digit;
    }
    for (const auto& first : texts) {
        for (const auto& second : texts) {
            const auto order = first <=> second;
            const Guid left{String(first)}, right{String(second)};
            const GUID plain = right;
            ASSERT_EQ(Guid::compare(left, right) <=> 0, order);
            ASSERT_EQ(left <=> right, order);
            ASSERT_EQ(left <=> plain, order);
            ASSERT_EQ(left == right, order == 0);
            ASSERT_EQ(left == plain, order == 0);
        }
    }
}

TEST(Guid, GeneratedOnesAreDistinctAndRandom) {
    std::unordered_set<Guid> seen;
    std::array<unsigned, 8> everSet{};
    for (int i = 0; i < 1000; ++i) {
        const std::unique_ptr<Guid> guid(Guid::Generate());
        EXPECT_TRUE(seen.insert(*guid).second);
        const GUID plain = *guid;
        EXPECT_EQ(plain.Data3 >> 12, 4);        // version: random
        EXPECT_EQ(plain.Data4[0] & 0xC0, 0x80); // variant
        for (std::size_t k = 0; k < everSet.size(); ++k)
            everSet[k] |= plain.Data4[k];
        EXPECT_EQ(Guid(guid->toString()), *guid);
    }
    for (std::size_t k = 1; k < everSet.size(); ++k)
        EXPECT_EQ(everSet[k], 0xFFu) << k;
    EXPECT_EQ((std::unordered_set<GUID>{Sample, Sample, GUID{}}).size(), 2u);
    EXPECT_EQ(std::hash<GUID>()(Sample), std::hash<Guid>()(Sample));
}
