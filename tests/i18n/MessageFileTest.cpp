#include <qx/i18n/MessageFile.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace qx::literals;
using i18n::MessageFile;

namespace {

using Messages = std::vector<std::pair<std::u16string, std::u16string>>;
using Mistakes = std::vector<std::string>;

Messages messagesOf(const MessageFile& file) {
    Messages messages;
    for (const auto& [key, text, line] : file.messages())
        messages.emplace_back(key.view(), text.view());
    return messages;
}

Mistakes mistakesOf(const MessageFile& file) {
    Mistakes mistakes;
    for (const auto& [line, reason] : file.mistakes())
        mistakes.push_back(std::to_string(line) + ": " + reason.toUtf8());
    return mistakes;
}

TEST(MessageFile, ReadsWhatItsGrammarSays) {
    const std::pair<std::string_view, Messages> cases[] = {
        {"", {}},
        {"\n  \t\n# a = b\n \t# c = d\\\n", {}}, // a comment is not continued
        {"a=1\nb=2", {{u"a", u"1"}, {u"b", u"2"}}},
        {" \ta\t =  1 2 \t\r\n", {{u"a", u"1 2"}}},
        {"a=\nb= \t\nc=\\ ", {{u"a", u""}, {u"b", u""}, {u"c", u" "}}},
        {"a = \\  1 \\ ", {{u"a", u"  1  "}}},
        {"a b=c=d#e", {{u"a b", u"c=d#e"}}},
        {"a\\=b = 1\n\\#c = 2\n\\ d = 3", {{u"a=b", u"1"}, {u"#c", u"2"}, {u" d", u"3"}}},
        {"a=\\n\\r\\t\\\\n\\#\\=", {{u"a", u"\n\r\t\\n#="}}},
        {"\\u006b = \\u00e4\\u20AC\\uD83D\\uDE00", {{u"k", u"ä€😀"}}},
        {"schlüssel = Grüße 😀", {{u"schlüssel", u"Grüße 😀"}}},
        {"\xEF\xBB\xBF"
         "a=1",
         {{u"a", u"1"}}},
        // continuations: blanks before the "\" count, those of the next line do not
        {"a = one \\\n   two\\\r\n\t, three\nb=1", {{u"a", u"one two, three"}, {u"b", u"1"}}},
        {"a = \\\n   # no comment\nb = \\\\\nc = \\\\\\\nd",
         {{u"a", u"# no comment"}, {u"b", u"\\"}, {u"c", u"\\d"}}},
        {"key\\\n.rest = 1\na = 1\\\n\nb = 2", {{u"key.rest", u"1"}, {u"a", u"1"}, {u"b", u"2"}}},
        {"\\\na = 1", {{u"a", u"1"}}},
    };
    for (const auto& [bytes, messages] : cases) {
        SCOPED_TRACE(bytes);
        const MessageFile file(bytes);
        EXPECT_EQ(messagesOf(file), messages);
        EXPECT_EQ(mistakesOf(file), Mistakes{});
    }
}

// Each file has the good message "z=9" behind what is wrong.
TEST(MessageFile, TellsEveryMistakeAndGoesOn) {
    using namespace std::string_view_literals;
    const std::pair<std::string_view, Mistakes> cases[] = {
        {"\n\nnonsense\n", {"3: no \"=\""}},
        {" = text\n", {"1: no key before the \"=\""}},
        {"a = \\q\nb = \\N\n", {"1: the unknown escape \\q", "2: the unknown escape \\N"}},
        {"a = \\u12G4\nb = \\u123\n",
         {"1: \\u without four hexadecimal digits", "2: \\u without four hexadecimal digits"}},
        {"a = \\u0000\n", {"1: \\u0000, which no text can hold"}},
        {"a = \\uD83D!\nb = \\uDE00\nc = \\uD83D\\uD83D\n",
         {"1: \\uD83D, which is half a character", "2: \\uDE00, which is half a character",
          "3: \\uD83D, which is half a character"}},
        {"a = 1\\\n\\q\\\n2\nb = \\q\n",
         {"2: the unknown escape \\q", "4: the unknown escape \\q"}},
        {"a = \xFF\n# \xC3(\nb = \xC0\x80\xED\xA0\x80\n",
         {"1: not UTF-8", "2: not UTF-8", "3: not UTF-8"}},
        // what continues a bad line is no message of its own
        {"a = \xFF\\\nb = 1\n", {"1: not UTF-8"}},
        {"a = 1\r2\n\0=\n\x7F\n"sv,
         {"1: the control character U+000D", "2: the control character U+0000",
          "3: the control character U+007F"}},
        {"a = 1\nb = 1\n a\\\n= 2\na = 3\n",
         {"3: the key a was there in line 1", "5: the key a was there in line 1"}},
    };
    for (const auto& [bytes, mistakes] : cases) {
        SCOPED_TRACE(bytes);
        const MessageFile file(std::string(bytes) + "z=9");
        EXPECT_EQ(mistakesOf(file), mistakes);
        ASSERT_FALSE(file.messages().empty());
        EXPECT_EQ(file.messages().back().key, u"z"_qs);
    }
    EXPECT_EQ(mistakesOf(MessageFile("a=1\nb=\\")),
              Mistakes{"2: nothing follows the \"\\\" at the end"});
    std::string wrong;
    for (int line = 0; line <= MessageFile::MostMistakes; ++line)
        wrong += "x\n";
    EXPECT_EQ(MessageFile(wrong).mistakes().size(), size_t{MessageFile::MostMistakes});
}

TEST(MessageFile, MakesBundlesOfGoodFilesOnly) {
    const qxtest::TemporaryFolder folder;
    const String path = String::fromUtf8(folder.path("Msg.de.messages"));
    EXPECT_EQ(qxtest::failureOf([&] { (void)MessageFile::read(path); }), result::NotFound);
    qxtest::writeFile(folder.path("Msg.de.messages"), "a = 1\nb =\n");
    const auto locale = makeReference<i18n::Locale>(u"de");
    const auto bundle = MessageFile::read(path).createBundle(locale);
    EXPECT_EQ(bundle->getString(u"a"), u"1"_qs);
    EXPECT_THROW((void)bundle->getString(u"b"), Exception);
    EXPECT_EQ(bundle->getLocale(), locale);

    const auto halfAFile = [] { (void)MessageFile("a = 1\nb").createBundle(); };
    EXPECT_EQ(qxtest::failureOf(halfAFile), result::Corrupt);
    EXPECT_EQ(qxtest::descriptionOf(halfAFile), "line 2: no \"=\"");
    qxtest::writeFile(folder.path("Msg.de.messages"), std::string(MessageFile::LargestFile, '\n'));
    EXPECT_TRUE(MessageFile::read(path).messages().empty());
    qxtest::writeFile(folder.path("Msg.de.messages"),
                      std::string(MessageFile::LargestFile + 1, '\n'));
    EXPECT_EQ(qxtest::failureOf([&] { (void)MessageFile::read(path); }), result::FileTooLarge);
}

} // namespace
