#include <ranges>
#include <vector>

#include <qx/util/StringTokenizer.h>

#include "tests/support/ExpectResult.h"

using qx::String;
using qx::util::StringTokenizer;
using Tokens = std::vector<std::u16string>;

TEST(StringTokenizer, SplitsAtDelimiters) {
    const std::tuple<const char16_t*, const char16_t*, bool, Tokens> cases[] = {
        {u"a,,b", u",", false, {u"a", u"b"}},
        {u"a,,b", u",", true, {u"a", u",", u",", u"b"}},
        {u",a,", u",", false, {u"a"}},
        {u",a,", u",", true, {u",", u"a", u","}},
        {u",;,", u",;", false, {}},
        {u",;", u",;", true, {u",", u";"}},
        {u"", u",", false, {}},
        {u"ab", u"", true, {u"ab"}}, // nothing separates
        {u" one\r\n\ttwo\fthree", nullptr, false, {u"one", u"two", u"three"}},
        {u"a\vb", nullptr, false, {u"a\vb"}}, // vertical tab is no delimiter
    };
    for (const auto& [text, delimiters, returnsThem, tokens] : cases) {
        SCOPED_TRACE(String(text).toUtf8() + (returnsThem ? " with them" : ""));
        Tokens asked, unasked;
        StringTokenizer careful(text, delimiters, returnsThem);
        while (careful.hasMoreTokens() && careful.hasMoreTokens()) {
            EXPECT_EQ(careful.getTokenCount() + static_cast<int32_t>(asked.size()),
                      static_cast<int32_t>(tokens.size()));
            asked.emplace_back(careful.nextToken().view());
        }
        EXPECT_EQ(asked, tokens);
        StringTokenizer bold(text, delimiters, returnsThem);
        for (int32_t left = bold.getTokenCount(); left > 0; --left)
            unasked.emplace_back(bold.nextToken().view());
        EXPECT_EQ(unasked, tokens);
        EXPECT_EQ(bold.getTokenCount(), 0);
    }
}

TEST(StringTokenizer, NewDelimitersReplaceTheOldOnesForGood) {
    std::u16string units = u"key=a b;c d"; // of which the tokenizer has a copy
    StringTokenizer tokenizer(String(units.data(), String::AM_WRAP), u" ");
    units = u"? ? ? ? ? ?";
    ASSERT_TRUE(tokenizer.hasMoreTokens()); // looked ahead with the old ones
    EXPECT_EQ(tokenizer.nextToken(u"="), u"key");
    EXPECT_EQ(tokenizer.nextToken(u";"), u"=a b"); // the position was at the "="
    EXPECT_EQ(tokenizer.nextToken(), u"c d");
    StringTokenizer blanks(String(u"  ;x"), u" ");
    ASSERT_TRUE(blanks.hasMoreTokens()); // would start at the ";"
    EXPECT_EQ(blanks.nextToken(u";"), u"  ");
}

TEST(StringTokenizer, IsTheRangeOfItsTokensThatAreLeft) {
    static_assert(std::ranges::input_range<StringTokenizer>);
    StringTokenizer rest(u" a  b c ");
    rest.nextToken();
    Tokens tokens;
    for (const String& token : rest)
        tokens.emplace_back(token.view());
    EXPECT_EQ(tokens, (Tokens{u"b", u"c"}));
    EXPECT_EQ(rest.begin(), rest.end());
    EXPECT_FALSE(rest.hasMoreTokens());
    const auto beyond = [&] { rest.nextToken(); };
    qxtest::expectEach("No such element", {beyond, beyond});
    EXPECT_EQ(rest.nextToken(u";"), u" ") << "the end leaves what is left";
}
