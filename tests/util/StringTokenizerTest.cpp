#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/util/StringTokenizer.h>

using qx::String;
using qx::util::StringTokenizer;
using Tokens = std::vector<std::u16string>;

namespace {

std::u16string units(const String& text) {
    return std::u16string(text.getData(), static_cast<std::size_t>(text.getLength()));
}

} // namespace

TEST(StringTokenizer, SplitsAtDelimiters) {
    const struct {
        const char16_t* text;
        const char16_t* delimiters;
        bool returnDelims;
        Tokens tokens;
    } cases[] = {
        {u"a,,b", u",", false, {u"a", u"b"}},
        {u"a,,b", u",", true, {u"a", u",", u",", u"b"}},
        {u",a,", u",", false, {u"a"}},
        {u",a,", u",", true, {u",", u"a", u","}},
        {u",;,", u",;", false, {}},
        {u",;", u",;", true, {u",", u";"}},
        {u"", u",", false, {}},
        {u"", u",", true, {}},
        {u"ab", u"", false, {u"ab"}}, // nothing separates
        {u"ab", u"", true, {u"ab"}},
        {u" one\r\n\ttwo\fthree", nullptr, false, {u"one", u"two", u"three"}},
        {u"a\vb", nullptr, false, {u"a\vb"}}, // vertical tab is no delimiter
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::u16string(c.text)) +
                     (c.returnDelims ? " with delimiters" : ""));
        Tokens asked;
        StringTokenizer careful(String(c.text), c.delimiters, c.returnDelims);
        while (careful.hasMoreTokens() && careful.hasMoreTokens()) {
            EXPECT_EQ(careful.getTokenCount() + static_cast<int32_t>(asked.size()),
                      static_cast<int32_t>(c.tokens.size()));
            asked.push_back(units(careful.nextToken()));
        }
        EXPECT_EQ(asked, c.tokens);

        Tokens unasked;
        StringTokenizer bold(String(c.text), c.delimiters, c.returnDelims);
        for (int32_t left = bold.getTokenCount(); left > 0; --left)
            unasked.push_back(units(bold.nextToken()));
        EXPECT_EQ(unasked, c.tokens);
        EXPECT_EQ(bold.getTokenCount(), 0);
    }
}

TEST(StringTokenizer, NewDelimitersReplaceTheOldOnesForGood) {
    StringTokenizer tokenizer(String(u"key=a b;c d"), u" ");
    ASSERT_TRUE(tokenizer.hasMoreTokens()); // looked ahead with the old ones
    EXPECT_EQ(units(tokenizer.nextToken(u"=")), u"key");
    EXPECT_EQ(units(tokenizer.nextToken(u";")), u"=a b"); // the position was at the "="
    EXPECT_EQ(units(tokenizer.nextToken()), u"c d");
}

TEST(StringTokenizer, LookAheadIsForgottenWhenDelimitersChange) {
    StringTokenizer tokenizer(String(u"  ;x"), u" ");
    ASSERT_TRUE(tokenizer.hasMoreTokens()); // would start at the ";"
    EXPECT_EQ(units(tokenizer.nextToken(u";")), u"  ");
}

TEST(StringTokenizer, EndThrowsAndLeavesWhatIsLeft) {
    StringTokenizer tokenizer(String(u"a,"), u",");
    tokenizer.nextToken();
    EXPECT_FALSE(tokenizer.hasMoreTokens());
    for (int i = 0; i < 2; ++i)
        try {
            tokenizer.nextToken();
            FAIL() << "delivered a token";
        } catch (const qx::Exception& e) {
            EXPECT_EQ(units(e.getDescription()), u"No such element");
        }
    EXPECT_EQ(units(tokenizer.nextToken(u";")), u",");
}
