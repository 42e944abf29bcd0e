#include <array>
#include <cstdlib>
#include <ctime>

#ifdef QX_TEST_HAVE_EXPAT
#include <expat.h>
#endif

#include "tests/log/ProcessorFakes.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/Sanitized.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestLocale.h"
#include "tests/support/WithoutDescriptors.h"

namespace {

using namespace qx;
using namespace qxtest;
using namespace qx::literals;
using qx::log::TimeStamp;

using Sink = FakeSink<Chars>;

void setZone(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
}

constexpr char Separator[] = "-------------------------\n";
constexpr char XmlHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<log>\n";

/// An entry with all fields that a logger sets, and a text of that length.
Reference<log::ILogEntry> stampedEntry(int length) {
    struct Opened : log::Logger {
        Opened() : Logger(String(u"name")) {}
        using Logger::getLogEntry;
    };
    const auto logger = makeReference<Opened>();
    for (const auto* field : {u"name", u"sequence", u"thread", u"timestamp"})
        logger->enableField(String(field), true);
    return logger->getLogEntry(-1, String(std::u16string(static_cast<size_t>(length), u'x')));
}

/// Expects the fields of the entry in the order of the names, also from behind another object.
void expectWritten(log::ILogEntry* entry) {
    std::string lines, elements = "  <entry>\n";
    for (const auto& [name, value] : fieldsOf(*entry)) {
        lines += name + "=" + value + "\n";
        elements += "    <" + name + "> " + value + " </" + name.substr(0, name.find(' ')) + ">\n";
    }
    lines += Separator;
    elements += "  </entry>\n";
    SCOPED_TRACE(lines);

    const auto sink = makeReference<Sink>(), xml = makeReference<Sink>();
    const auto foreign = makeReference<ForeignEntry>(entry);
    const auto writer = log::BasicLogWriter::create(sink);
    writer->process(entry);
    EXPECT_EQ(sink->writes.size(), 1u);
    EXPECT_EQ(sink->flushes, 1);
    writer->process(foreign);
    EXPECT_EQ(textOf(sink->content), lines + lines);

    auto xmlWriter = log::XmlLogWriter::create(xml);
    EXPECT_EQ(textOf(xml->content), XmlHead);
    EXPECT_EQ(xml->flushes, 0);
    xmlWriter->process(entry);
    EXPECT_EQ(xml->writes.size(), 3u);
    EXPECT_EQ(xml->flushes, 1);
    xmlWriter->process(foreign);
    xmlWriter.reset();
    EXPECT_EQ(textOf(xml->content), XmlHead + elements + elements + "</log>\n");
    EXPECT_EQ(xml->flushes, 3);
}

TEST(LogWriters, WriteNamesAndValuesAsTheyAreInTheOrderOfTheNames) {
    expectWritten(log::LogEntry::create());
    expectWritten(entryWith(u"text", new String(u"two\nlines=<&> \"c\"")));
    expectWritten(entryWith(u"", new String(u"")));
    expectWritten(entryWith(u"none", nullptr));
    expectWritten(entryWith(u"custom lang=\"en\" x=\"1\"", new String(u"c")));

    expectWritten(stampedEntry(5000));
}

TEST(LineLogWriter, WritesEveryEntryAsOneLineThatNoOtherLooksLike) {
    using log::Level;
    const std::tuple<int, std::u16string, std::u16string, const char*> cases[] = {
        {Level::Info, u"net", u"all is well", "INFO net - | all is well"},
        {Level::Fatal, u"", u"", "FATAL - - | "},
        {7, u"a b=\\", u"a b=\\n", "7 a\\u0020b=\\\\ - | a b=\\\\n"},
        {Level::Error, u"-\n", u"x\n2024 INFO\r\t\x7F\x85 \u2028\u2029",
         "ERROR -\\n - | x\\n2024 INFO\\r\\t\\u007F\\u0085 \\u2028\\u2029"},
        {Level::Info, u"\u202A", u"\u202E\u202F\u2065", "INFO \\u202A - | \\u202E\u202F\u2065"},
        {Level::Info, u"\u2066", u"\u2069\u206A", "INFO \\u2066 - | \\u2069\u206A"},
        {Level::Trace, u"\u00FC\xD800", u"\u00E9\u2014\U0001F600\xDC00\xD800",
         "TRACE \u00FC\\uD800 - | \u00E9\u2014\U0001F600\\uDC00\\uD800"},
    };
    const auto bytes = makeReference<FakeSink<Bytes>>(); // through the buffer of a writer
    const auto chars = makeReference<io::StringWriter>();
    const Reference<log::ILogProcessor> writers[] = {log::LineLogWriter::create(bytes),
                                                     log::LineLogWriter::create(chars)};
    const auto lines = [&] { // without their times
        std::string text = textOf(std::exchange(bytes->content, {}));
        EXPECT_TRUE(chars->toString().toUtf8().ends_with(text.substr(text.find(' '))));
        return text.substr(text.find(' ') + 1);
    };
    const auto process = [&](log::ILogEntry* entry) {
        for (const auto& writer : writers)
            writer->process(entry);
        return lines();
    };
    for (const auto& [level, name, text, expected] : cases) {
        for (const auto& writer : writers)
            loggerTo(writer, String(name))->log(level, text);
        EXPECT_EQ(lines(), std::string(expected) + "\n");
    }
    EXPECT_EQ(process(entryWith(u"a=1 b", new String(u"x y=z"))),
              "- - - a\\u003D1\\u0020b=x\\u0020y=z | -\n");
    const auto foreign = makeReference<ForeignEntry>(numberEntry(Level::Warning));
    foreign->setField(u"thread"_qs, new UInteger32(12));
    EXPECT_EQ(process(foreign), "WARNING - 12 | -\n");
    foreign->names = nullptr;
    EXPECT_EQ(failureOf([&] { process(foreign); }), result::NullPointer);
    const auto nullName = makeReference<collections::pcom::HashSet>();
    nullName->add(nullptr);
    foreign->names = makeReference<collections::Set<String>>(nullName.get());
    EXPECT_EQ(process(foreign), "- - - | -\n");

    constexpr char Central[] = "CET-1CEST,M3.5.0,M10.5.0/3";
    const std::tuple<const char*, STRUCT_QX_TIME, const char*> times[] = {
        {Central, {2024, 7, 0, 1, 12, 0, 5, 7}, "2024-07-01T12:00:05.007+02:00"},
        {Central, {2024, 1, 0, 1, 0, 0, 0, 999}, "2024-01-01T00:00:00.999+01:00"},
        {"NST3:30", {12024, 12, 0, 31, 23, 59, 59, 0}, "12024-12-31T23:59:59.000-03:30"},
        {"UTC0", {1999, 12, 0, 31, 23, 59, 59, 90}, "1999-12-31T23:59:59.090+00:00"},
    };
    for (const auto& [zone, time, expected] : times) {
        setZone(zone);
        writers[0]->process(entryWith(u"timestamp", new TimeStamp(time)));
        EXPECT_EQ(textOf(std::exchange(bytes->content, {})),
                  expected + std::string(" - - - | -\n"));
    }
}

TEST(XmlLogWriter, SwallowsAFailureOfTheWriterOnlyInTheDestructor) {
    auto sink = makeReference<Sink>();
    auto writer = log::XmlLogWriter::create(sink);
    sink->failing = true;
    EXPECT_THROW(writer->process(numberEntry(1)), io::IoException);
    writer.reset();
    EXPECT_EQ(textOf(sink->content), XmlHead);
    EXPECT_THROW(log::XmlLogWriter::create(sink), io::IoException);
    EXPECT_EQ(sink->GetRefCount(), 1u);
}

TEST(AbstractLogWriter, FormatsWritesAndFlushesByTheVirtualOperations) {
    struct CustomWriter : log::AbstractLogWriter {
        explicit CustomWriter(io::Writer* to) : AbstractLogWriter(to) {}
        void flush() override { ++flushes; }
        String format(const log::ILogEntry*) override { return takeText().append(u"custom\xD83D"); }
        int flushes = 0;
    };
    const auto sink = makeReference<Sink>();
    const auto writer = makeReference<CustomWriter>(sink);
    writer->process(numberEntry(1));
    EXPECT_EQ(textOf(sink->content), "custom\xFD") << "cut off: U+FFFD";
    EXPECT_EQ(writer->flushes - sink->flushes, 1);
}

TEST(TimeStamp, LogsTheDecimalNumberOfItsFieldsAndCountsSecondsFrom1970) {
    constexpr uint16_t most = 0xFFFF; // whatever fits is taken
    EXPECT_EQ(TimeStamp(STRUCT_QX_TIME{2024, 1, 3, 31, 23, 59, 58, 7}).toLog(),
              u"20240131235958.007"_qs);
    EXPECT_EQ(TimeStamp(STRUCT_QX_TIME{}).toLog(), u"0.000"_qs);
    EXPECT_EQ(TimeStamp(STRUCT_QX_TIME{most, most, most, most, most, most, most, most}).toLog(),
              u"661969696969100.535"_qs);
    const std::tuple<int64_t, String, int> cases[] = {
        {0, u"19700101000000.000"_qs, 4},
        {-1, u"19691231235959.000"_qs, 3},
        {951782400, u"20000229000000.000"_qs, 2},     // the leap day of a full century
        {-2203977600, u"19000228000000.000"_qs, 3},   // and a year that has none
        {-11644473600, u"16010101000000.000"_qs, 1},  // the first one
        {910670515199, u"308271231235959.000"_qs, 5}, // the last one
    };
    for (const auto& [seconds, log, dayOfWeek] : cases) {
        SCOPED_TRACE(seconds);
        STRUCT_QX_TIME time;
        EXPECT_EQ(QXTimeFromPosix(seconds, &time), result::Ok);
        EXPECT_EQ(time.dayOfWeek, dayOfWeek);
        EXPECT_EQ(TimeStamp(seconds).toLog(), log);
    }
    for (const int64_t seconds :
         {int64_t{-11644473601}, int64_t{910670515200}, INT64_MIN, INT64_MIN + 1, INT64_MAX})
        EXPECT_EQ(failureOf([&] { TimeStamp{seconds}; }), result::InvalidArgument) << seconds;
    EXPECT_EQ(failureOf([] { TimeStamp{UINT64_MAX}; }), result::InvalidArgument);
    // Every integer is seconds, a truth value is the choice of a clock.
    EXPECT_EQ(TimeStamp(short{1}).toLog(), TimeStamp(1ull).toLog());
    EXPECT_GT(TimeStamp(true).toLog().compare(u"2020"), 0);
    EXPECT_GT(TimeStamp(false).toLog().compare(u"2020"), 0);
}

TEST(TimeStamp, FollowsTheTimeZoneAtOnce) {
    const std::pair<const char*, int> zonesAndMinutesAhead[] = {
        {"AAA-5", 300}, {"AAA-10:30", 630}, {"AAA-10:30BBB-12:30,0/0,J365/25", 750}, {"UTC0", 0}};
    for (const auto& [zone, ahead] : zonesAndMinutesAhead) {
        setZone(zone);
        STRUCT_QX_TIME utc, there;
        expectEach(result::Ok, {QXTimeGetSystem(&utc), QXTimeGetLocal(&there)});
        const int minutes = (there.hour - utc.hour) * 60 + there.minute - utc.minute;
        EXPECT_LE((minutes - ahead + 2 * 24 * 60) % (24 * 60), 1) << zone;
    }
}

TEST(LogFile, LosesNothingForWantOfDescriptors) {
    if (Sanitized)
        GTEST_SKIP() << "the sanitizers need descriptors of their own";
    const CurrentFolder folder;
    const std::string path = folder.path("log"), link = "link";
    writeFile(path, "cut");
    std::filesystem::create_symlink("log", link); // which stays
    Reference<log::LogFile> file;
    const log::LogFileOptions options{.limit = 1, .kept = 3};
    withoutDescriptors([&] { file = makeReference<log::LogFile>(link, options); }, 1);
    std::filesystem::current_path("/");
    withFileSizeLimit(3, [&] { EXPECT_THROW(file->write("lost\n"), ResultException); });
    const auto writeLine = [&](char c) { file->write(std::string(1 << 13, c) + '\n'); };
    writeLine('a');
    writeLine('b');
    writeLine('c');
    withoutDescriptors([&] { writeLine('d'); });
    std::filesystem::create_symlink("nowhere", path + ".0");
    writeLine('e');
    EXPECT_EQ(readFile(path + ".3"), "cut\n") << "it costs no full file";
    std::filesystem::remove(path + ".0");
    writeLine('f');
    EXPECT_EQ(readFile(path + ".1").size(), 3u * 8193);
}

TEST(LogFile, FlushesNothingThatTheDiskHasLost) {
    const TemporaryFolder folder;
    log::LogFile file(folder.path("log"), {.limit = 1, .waitsForDisk = true});
    file.write("lost\n");
    for (const int round :
         {0, 1, 2, 3}) { // full, opened anew for an earlier request and later ones
        const FailingCalls calls(round % 2 == 0 ? 0 : FailingCalls::Never, EIO);
        if (round > 1)
            file.requestReopen();
        file.write("next\n");
        if (round == 0)
            file.requestReopen();
        EXPECT_EQ(failureOf([&] { file.flush(); }) < 0, round < 3) << round;
    }
}

TEST(TimeStamp, IsWrittenAsTheLocaleDoes) {
    const STRUCT_QX_TIME time{2024, 3, 0, 5, 16, 4, 9, 0}; // a Tuesday, whatever it says
    const std::array<const char*, 4> cases[] = {
        // locale and code set (null for a locale that every system has), short and long text
        {"C", nullptr, "03/05/2024 16:04:09", "Tuesday, March 5, 2024 16:04:09"},
        {"en_US", "ISO-8859-1", "03/05/2024 04:04:09 PM", "Tuesday, March 5, 2024 04:04:09 PM"},
        {"en_GB", "ISO-8859-1", "05/03/2024 16:04:09", "Tuesday, 5 March 2024 16:04:09"},
        {"de_DE", "ISO-8859-1", "05.03.2024 16:04:09", "Dienstag, 5. M\u00e4rz 2024 16:04:09"},
        {"ca_ES", "UTF-8", "5/3/2024 16:04:09", "dimarts, 5 de mar\u00e7 de 2024 16:04:09"},
        {"hy_AM", "UTF-8", "03/05/2024 16:04:09", // in halves of a day that have no names
         "\u0535\u0580\u0565\u0584\u0577\u0561\u0562\u0569\u056b, \u0574\u0561\u0580\u057f\u056b "
         "5, 2024 "
         "16:04:09"},
        {"lzh_TW", "UTF-8", // has the century already
         "\u5eff\u5eff\u56db\u5e74\u4e09\u6708\u4e94\u65e5 "
         "\u5341\u516d\u6642\u56db\u5206\u4e5d\u79d2",
         "2024 \u4e09\u6708 5, \u9031\u4e8c \u5341\u516d\u6642\u56db\u5206\u4e5d\u79d2"},
    };
    for (const auto& [name, codeSet, shortText, longText] : cases) {
        SCOPED_TRACE(name);
        const TestLocale locale = codeSet ? TestLocale(name, codeSet) : TestLocale(name);
        if (!locale.isSet())
            continue;
        for (int twice = 0; twice < 2; ++twice) { // from the system, and as it was the last time
            EXPECT_EQ(TimeStamp(time).toString().toUtf8(), shortText);
            EXPECT_EQ(TimeStamp(time).toString(true).toUtf8(), longText);
        }
    }
}

TEST(TimeText, RefusesWhatIsNoTimeAndWhatDoesNotFit) {
    const STRUCT_QX_TIME good{2024, 2, 4, 29, 23, 59, 59, 999};
    char16_t text[QX_TIME_TEXT_UNITS];
    const int32_t units = QXTimeGetTimeText(&good, text, QX_TIME_TEXT_UNITS);
    ASSERT_GT(units, 0);
    EXPECT_EQ(text[units - 1], u'\0');
    EXPECT_EQ(QXTimeGetTimeText(&good, text, units), units);
    EXPECT_TRUE(QXTimeGetTimeText(&good, text, units - 1) == 0 && text[0] == 0);
    EXPECT_EQ(QXTimeGetDateText(nullptr, 0, text, QX_TIME_TEXT_UNITS), 0);
    EXPECT_EQ(QXTimeGetDateText(&good, 0, nullptr, QX_TIME_TEXT_UNITS), 0);

    const STRUCT_QX_TIME bad[] = {
        {1600, 1, 0, 1, 0, 0, 0, 0},  {30828, 1, 0, 1, 0, 0, 0, 0},   {2023, 2, 0, 29, 0, 0, 0, 0},
        {2024, 0, 0, 1, 0, 0, 0, 0},  {2024, 13, 0, 1, 0, 0, 0, 0},   {2024, 4, 0, 31, 0, 0, 0, 0},
        {2024, 1, 0, 0, 0, 0, 0, 0},  {2024, 1, 0, 1, 24, 0, 0, 0},   {2024, 1, 0, 1, 0, 60, 0, 0},
        {2024, 1, 0, 1, 0, 0, 60, 0}, {2024, 1, 0, 1, 0, 0, 0, 1000},
    };
    for (const auto& time : bad)
        EXPECT_EQ(failureOf([&] { (void)TimeStamp(time).toString(); }), result::InvalidArgument)
            << TimeStamp(time).toLog().toUtf8();
}

#ifdef QX_TEST_HAVE_EXPAT

// The documents of the escaping writer as another parser reads them.

/// The only element of the third level: its name, "<" and its attribute where it has one, and text.
struct Document {
    int depth = 0;
    std::string name, text;

    static Document& of(void* data) { return *static_cast<Document*>(data); }
    static void start(void* data, const char* name, const char** attributes) {
        if (++of(data).depth != 3)
            return;
        of(data).name += name;
        if (!attributes[0])
            return;
        EXPECT_STREQ(attributes[0], "name");
        EXPECT_EQ(attributes[2], nullptr);
        of(data).name += std::string("<") + attributes[1];
    }
    static void end(void* data, const char*) { --of(data).depth; }
    static void addText(void* data, const char* bytes, int length) {
        if (of(data).depth == 3)
            of(data).text.append(bytes, static_cast<size_t>(length));
    }
};

/// The document with one field, which has to be well-formed.
Document written(std::u16string_view name, std::u16string_view value) {
    const auto bytes = makeReference<io::ByteArrayOutputStream>();
    const auto out = makeReference<io::OutputStreamWriter>(bytes, u"UTF-8");
    log::XmlLogWriter::create(out, log::XmlLogWriter::Escaping::WellFormed)
        ->process(entryWith(name, new String(value)));
    Document document;
    XML_Parser parser = XML_ParserCreateNS(nullptr, ' ');
    XML_SetUserData(parser, &document);
    XML_SetElementHandler(parser, &Document::start, &Document::end);
    XML_SetCharacterDataHandler(parser, &Document::addText);
    const auto* const text = reinterpret_cast<const char*>(bytes->getBytes());
    EXPECT_EQ(XML_Parse(parser, text, bytes->getSize(), 1), XML_STATUS_OK)
        << XML_ErrorString(XML_GetErrorCode(parser)) << " in "
        << std::string_view(text, static_cast<std::size_t>(bytes->getSize()));
    XML_ParserFree(parser);
    return document;
}

TEST(XmlEscaping, MakesLegalElementNamesAndKeepsTheOthersInAnAttribute) {
    const std::pair<std::u16string_view, const char*> namesAndElements[] = {
        {u"a-b.c_9", "a-b.c_9"},
        {u"text lang=\"en\"", "text<text lang=\"en\""},
        {u"a b='<' b='", "a<a b='<' b='"}, // broken attributes
        {u"", "_<"},
        {u"9lives", "_9lives<9lives"},
        {u"-x", "_-x<-x"},
        {u"AZaz@[`{:/", "AZaz______<AZaz@[`{:/"},
        {u"a\r\n\t\u00DF>b", "a_____b<a\r\n\t\u00DF>b"},
        {u"\xD800", "__<\uFFFD"},
    };
    for (const auto& [name, element] : namesAndElements) {
        const Document document = written(name, u"v");
        EXPECT_EQ(document.name, element);
        EXPECT_EQ(document.text, " v ");
    }
}

TEST(XmlEscaping, EveryUnitComesBackOrBecomesTheReplacementCharacter) {
    std::u16string every, allowed;
    for (uint32_t unit = 0; unit < 0x10000; ++unit) {
        const bool isKept = (unit >= 0x20 && unit < 0xD800) || (unit >= 0xE000 && unit < 0xFFFE) ||
                            unit == u'\t' || unit == u'\n' || unit == u'\r';
        every += {static_cast<char16_t>(unit), u'.'}; // keeps surrogates apart
        allowed += {isKept ? static_cast<char16_t>(unit) : u'\uFFFD', u'.'};
    }
    const std::u16string pairs = u"\U00010000\U0001F600\U0010FFFF]]>&lt;<![CDATA[<!--";
    every += pairs + u"\xDC00\xD83D\xD83D\xDE00\xDE00";
    allowed += pairs + u"\uFFFD\uFFFD\U0001F600\uFFFD";
    const std::string expected = String(std::u16string_view(allowed)).toUtf8();
    EXPECT_EQ(written(u"text", every).text, " " + expected + " ");
    const std::string name = written(every, u"").name;
    EXPECT_EQ(name.substr(name.find('<') + 1), expected);
}

#endif

} // namespace
