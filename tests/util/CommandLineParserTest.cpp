#include <vector>

#include <qx/util/config/CommandLineParser.h>

#include "tests/support/DataRows.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/TestLocale.h"

using qx::String;
using qx::util::CommandLineParser;
using qxtest::expectEach;
using qxtest::rowsOf;

namespace {

/// The elements as text: "name:<value><value>" for an option, "<value>" for a parameter.
std::string elementsOf(const CommandLineParser& parser) {
    std::string text;
    for (int32_t i = 0, parameters = 0; i < parser.getElementCount(); ++i) {
        const auto element = parser.getElement(i);
        EXPECT_EQ(element->getPosition(), i);
        text += i == 0 ? "" : " ";
        if (parameters < parser.getParameterCount() && parser.getParameter(parameters) == element)
            ++parameters;
        else
            text += element->getName().toUtf8() + ":";
        for (const String& value : element->values())
            text += "<" + value.toUtf8() + ">";
    }
    return text;
}

CommandLineParser parserWithOptions() {
    CommandLineParser parser;
    parser.defineOption(u"two", 2);
    parser.defineOption(u"one", 1, u"5");
    parser.defineOption(u"all", 1000, u"");
    parser.defineOption(u"none", -1, u"a,\"b, c\" ,d");
    return parser;
}

} // namespace

TEST(CommandLineParser, TakesALineApart) {
    auto parser = parserWithOptions();
    for (const auto& row : rowsOf("options/lines.txt", '|')) {
        SCOPED_TRACE(row[1]);
        parser.parse(String::fromUtf8(row[1]));
        EXPECT_EQ(elementsOf(parser), row[0]);
        int32_t parameters = 0;
        for (const auto& parameter : parser.parameters())
            EXPECT_EQ(parameter, parser.getParameter(parameters++));
        EXPECT_EQ(parameters, parser.getParameterCount());
        const auto all = parser.elements();
        for (int32_t i = 1; i <= parser.getElementCount(); ++i)
            EXPECT_EQ(*(all.end() - i), parser.getElement(parser.getElementCount() - i));
    }
}

TEST(CommandLineParser, TakesArgumentsOfAProgramAsTheyAreOrMakesALineOfThem) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{}, ""},
        {{"-prog"}, ""},
        {{"prog", "a b", "", "\"c\"", "/etc/x"}, "<a b> <> <\"c\"> </etc/x>"},
        {{"prog", "-two", "", "a b", "-"}, "two:<><a b> <->"},
        {{"prog", "-one", "--", "-v"}, "one: <-v>"},
        {{"prog", "--two", "a", "--", "b", "--"}, "two:<a> <b> <-->"},
        {{"prog", "--two=a b,c", "-one", "-one=a,\"b"}, "two:<a b><c> one: one:<a,\"b>"},
        {{"prog", nullptr, "--"}, "<>"},
    };
    auto parser = parserWithOptions();
    for (const auto& [arguments, elements] : cases) {
        parser.parseArguments(static_cast<int>(arguments.size()), arguments.data());
        EXPECT_EQ(elementsOf(parser), elements);
    }
    const qxtest::TestLocale locale("C.UTF-8");
    const char* const bad[] = {"prog", "\xE4.dat"}; // no text: an error that changes nothing
    expectEach(qx::result::UnmappableCharacter,
               {[&] { parser.parseArguments(2, bad); }, [&] { parser.parse(2, bad); }});
    EXPECT_EQ(elementsOf(parser), std::rbegin(cases)->second);
    const char* const argv[] = {"my prog", "-two", "a b", "", "\"c d\"", "-one=x y,z"};
    parser.parse(6, argv);
    // The empty argument is lost, and quotes that the line itself adds close early.
    EXPECT_EQ(elementsOf(parser), "<my prog> two:<a b><> <c> <d\"\"> one:<x y><z>");
    parser.parse(-1, argv);
    EXPECT_EQ(parser.getElementCount(), 0);
}

TEST(CommandLineParser, FindsTheLastOccurrenceOfAnOption) {
    auto parser = parserWithOptions();
    parser.parse(String(u"-v=1 -x -V=2 -v=3 -\u00c4=4 -\u00e4=5 -V=6"));
    EXPECT_EQ(parser.getValueString(u"v", 0), u"3");
    EXPECT_EQ(parser.getValueString(u"V", 0), u"6");
    EXPECT_EQ(parser.getValueString(u"\u00c4", 0), u"4");
    EXPECT_FALSE(parser.isPresent(u"X"));
    parser.setIgnoreCase(true); // without parsing again
    EXPECT_EQ(parser.getValueString(u"v", 0), u"6");
    EXPECT_EQ(parser.getValueString(u"\u00c4", 0), u"5");
    EXPECT_TRUE(parser.isPresent("X"));
}

TEST(CommandLineParser, DefinitionsSurviveAndReplaceEachOther) {
    CommandLineParser parser;
    std::u16string units = u"O"; // of which the definition has a copy
    parser.defineOption(u"o", 1);
    parser.defineOption(String(units.data(), String::AM_WRAP, 1), 2, u"x");
    units = u"?";
    parser.parse(String(u"-o a b"));
    EXPECT_EQ(elementsOf(parser), "o:<a> <b>");
    parser.setIgnoreCase(true);
    parser.parse(String(u"-o a b"));
    EXPECT_EQ(elementsOf(parser), "o:<a><b>");
    parser.parse(String());
    EXPECT_EQ(parser.getValueString(u"o", 0), u"x");
    EXPECT_EQ(parser.getOption(u"o")->getPosition(), -1);
    parser.defineOption(u"O", 0, u"");
    EXPECT_EQ(parser.getOption(u"O")->getValueCount(), 0); // empty defaults are defaults
    parser.defineOption(u"O", 0);
    EXPECT_EQ(parser.getOption(u"O"), nullptr);
    struct Doubled : CommandLineParser::Element { // has its own values once more
        Doubled() : Element(u"x", 0) { addValue(u"a"), addValue(u"b"), copyValues(*this); }
    };
    EXPECT_EQ(Doubled().getValueString(3), u"b");
}

TEST(CommandLineParser, ReportsWhatIsNotThereAndCopiesAreIndependent) {
    auto parser = parserWithOptions();
    parser.parse(String(u"prog -one abc"));
    const qx::Reference<const CommandLineParser::Element> option = parser.getOption(u"one");
    expectEach("Invalid vector index",
               {[&] { parser.getElement(-1); }, [&] { parser.getElement(2); },
                [&] { parser.getParameter(1); }, [&] { option->getValueString(1); },
                [&] { option->getValueLong(-1); }});
    expectEach("Option not present: two", {[&] { parser.getValueLong(u"two", 0); }});
    expectEach("Unable to convert string to long", {[&] { option->getValueLong(0); }});
    expectEach("Unable to convert string to double", {[&] { option->getValueDouble(0); }});
    CommandLineParser copy(parser);
    copy.defineOption(u"more", 1);
    copy.parse(String(u"-more x"));
    EXPECT_EQ(elementsOf(parser), "<prog> one:<abc>");
    parser = copy;
    EXPECT_EQ(option->getValueString(0), u"abc"); // outlives its parse
    parser.parse(String(u"-more y"));
    EXPECT_EQ(elementsOf(copy), "more:<x>");
}

TEST(CommandLineParser, ReadsNumbersAtTheStartOfValues) {
    CommandLineParser parser;
    const qxtest::TestLocale locale("de_DE", "ISO-8859-1");   // whose point is a comma
    parser.parse(String(u"-n=0x1Fz,017,-2147483649,2.5e1x")); // the third is the nearest limit
    EXPECT_EQ(parser.getValueLong(u"n", 0) + parser.getValueLong(u"n", 1), 31 + 15);
    EXPECT_EQ(parser.getValueLong(u"n", 2), INT32_MIN);
    EXPECT_EQ(parser.getValueDouble(u"n", 3), 25);
}

TEST(CommandLineParser, ExplainsItsOptions) {
    CommandLineParser parser;
    EXPECT_EQ(parser.usage(), u"");
    parser.defineOption(u"o", 2, nullptr, u"output files");
    parser.defineOption(u"port", 1, u"80 443", u"where to listen");
    parser.defineOption(u"exceptionally-long", 3, nullptr, u"takes much");
    parser.defineOption(u"quiet", 0);
    parser.defineOption(u"all", 99, u"x");
    EXPECT_EQ(parser.usage().toUtf8(),
              "  --all VALUE ... (99)  (default: x)\n"
              "  --exceptionally-long VALUE VALUE VALUE\n"
              "                        takes much\n"
              "  -o VALUE VALUE        output files\n"
              "  --port VALUE          where to listen (default: 80, 443)\n"
              "  --quiet\n");
}

TEST(CommandLineParser, FindsMistakes) {
    const std::pair<const char16_t*, const char*> cases[] = {
        {u"prog a -one 1 -none b", ""},
        {u"prog -v -x", "Unknown option -v"},
        {u"prog --other", "Unknown option --other"},
        {u"prog -two a", "Option --two takes 2 values, not 1"},
        {u"-one=", "Option --one takes 1 value, not 0"},
        {u"-quiet=1", "Option --quiet takes no value"},
        {u"-quiet -none -one 1", ""},
    };
    auto parser = parserWithOptions();
    parser.defineOption(u"quiet", 0);
    for (const auto& [line, mistake] : cases) {
        parser.parse(String(line));
        EXPECT_EQ(parser.findMistake().toUtf8(), mistake);
    }
}
