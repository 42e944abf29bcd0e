#include <array>
#include <compare>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
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

TEST(Guid, TextFormRoundTrips) {
    EXPECT_EQ(Guid(Sample).toString(), SampleText);
    EXPECT_EQ(Guid(String(SampleText)), Sample);
    EXPECT_EQ(Guid(String(u"{72038029-fa65-4255-a916-1c5680acfebf}")), Sample);
    EXPECT_EQ(Guid().toString(), u"{00000000-0000-0000-0000-000000000000}");
    const GUID plain = Guid(String(SampleText));
    EXPECT_EQ(plain.Data4[7], 0xBF);
    std::ostringstream out;
    out << plain << Guid();
    EXPECT_EQ(out.str(), "{72038029-FA65-4255-A916-1C5680ACFEBF}"
                         "{00000000-0000-0000-0000-000000000000}");
}

TEST(Guid, RejectsEveryDamagedText) {
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
    // Ascending; each differs from the one before in an earlier place than the next does.
    const GUID ascending[] = {
        {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
        {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0xFF}},
        {0, 0, 0, {0x80, 0, 0, 0, 0, 0, 0, 0}},
        {0, 0, 0xFF00, {0, 0, 0, 0, 0, 0, 0, 0}},
        {0, 1, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
        {0, 0x0100, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
        {1, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
        {0x80000000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}}, // unsigned: above all of the above
    };
    for (const GUID& first : ascending) {
        for (const GUID& second : ascending) {
            SCOPED_TRACE(testing::Message() << &first - ascending << ' ' << &second - ascending);
            const auto order = &first <=> &second;
            const Guid left(first), right(second);
            EXPECT_EQ(Guid::compare(left, right) <=> 0, order);
            EXPECT_EQ(left == right, order == 0);
            EXPECT_EQ(left < right, order < 0);
            // with the plain structure on either side
            EXPECT_EQ(left == second, order == 0);
            EXPECT_EQ(left > second, order > 0);
            EXPECT_EQ(first <= right, order <= 0);
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
}

TEST(Guid, HashSpreadsIdentifiersThatCountUp) {
    // in the first and in the last field
    std::set<std::size_t> low;
    for (uint32_t i = 0; i < 1024; ++i) {
        GUID last{};
        last.Data4[6] = static_cast<uint8_t>(i >> 8);
        last.Data4[7] = static_cast<uint8_t>(i);
        for (const GUID& guid : {GUID{i, 0, 0, {}}, last})
            low.insert(std::hash<Guid>()(Guid(guid)) % 4096);
    }
    EXPECT_GT(low.size(), 1024u);
    EXPECT_EQ((std::unordered_set<GUID>{Sample, Sample, GUID{}}).size(), 2u);
    EXPECT_EQ(std::hash<GUID>()(Sample), std::hash<Guid>()(Sample));
}
