#include <gtest/gtest.h>

#include <qx/io/NullWriter.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/Logger.h>
#include <qx/log/XmlLogWriter.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/FakeStreams.h"

namespace {

using namespace qx;

using Sink = qxtest::FakeSink<qxtest::Chars>;

constexpr char Separator[] = "-------------------------\n";
constexpr char XmlHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<log>\n";

using Fields = std::vector<std::pair<std::u16string_view, Reference<Object>>>;

Reference<Object> text(const char16_t* units) { return makeReference<String>(units); }

Reference<log::LogEntry> entryOf(const Fields& fields) {
    auto entry = log::LogEntry::create();
    for (const auto& [name, value] : fields)
        entry->setField(String(name), value);
    return entry;
}

/// What writers are given that is not a LogEntry: the same fields behind another object.
class ForeignEntry : public qx::pcom::Implements<Object, log::ILogEntry> {
public:
    explicit ForeignEntry(log::ILogEntry* entry) : m_entry(entry) {}
    void setField(const String& name, const Object* value) override {
        m_entry->setField(name, value);
    }
    Reference<const Object> getField(const String& name) const override {
        return m_entry->getField(name);
    }
    bool hasField(const String& name) const override { return m_entry->hasField(name); }
    Reference<const collections::Set<String>> getFieldNames() const override {
        return m_entry->getFieldNames();
    }

private:
    Reference<log::ILogEntry> m_entry;
};

TEST(BasicLogWriter, WritesALineForEachFieldAndASeparator) {
    const struct {
        Fields fields;
        std::string lines;
    } cases[] = {
        {{}, ""},
        {{{u"level", makeReference<Integer32>(3)}}, "level=3\n"},
        {{{u"thread", makeReference<UInteger32>(0xFFFFFFFFu)}}, "thread=4294967295\n"},
        {{{u"text", text(u"two\nlines=<&>")}}, "text=two\nlines=<&>\n"},
        {{{u"", text(u"")}}, "=\n"},
        {{{u"none", nullptr}}, "none=\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lines);
        auto sink = makeReference<Sink>();
        auto writer = log::BasicLogWriter::create(sink);
        const auto entry = entryOf(c.fields);
        writer->process(entry);
        EXPECT_EQ(qxtest::textOf(sink->content), c.lines + Separator);
        EXPECT_EQ(sink->writes.size(), 1u);
        EXPECT_EQ(sink->flushes, 1);
        writer->process(makeReference<ForeignEntry>(entry));
        EXPECT_EQ(qxtest::textOf(sink->content), c.lines + Separator + c.lines + Separator);
        EXPECT_EQ(sink->flushes, 2);
    }
}

TEST(LogWriters, ShowFieldsInTheOrderOfTheNames) {
    const auto entry = entryOf({{u"level", makeReference<Integer32>(1)},
                                {u"text", text(u"t")},
                                {u"sequence", makeReference<Integer32>(2)},
                                {u"thread", makeReference<UInteger32>(3u)},
                                {u"name", text(u"n")},
                                {u"custom", text(u"c")}});
    std::string plain, xml;
    const auto names = entry->getFieldNames();
    for (const auto& name : *names) {
        const std::string key = name->toUtf8();
        const std::string value = entry->getField(*name)->toString().toUtf8();
        plain += key + "=" + value + "\n";
        xml += "    <" + key + "> " + value + " </" + key + ">\n";
    }
    auto sink = makeReference<Sink>();
    log::BasicLogWriter::create(sink)->process(entry);
    EXPECT_EQ(qxtest::textOf(sink->content), plain + Separator);
    sink->content.clear();
    log::XmlLogWriter::create(sink)->process(entry);
    EXPECT_EQ(qxtest::textOf(sink->content),
              XmlHead + ("  <entry>\n" + xml) + "  </entry>\n</log>\n");
}

TEST(XmlLogWriter, WritesNamesAndValuesAsTheyAre) {
    const struct {
        Fields fields;
        std::string lines;
    } cases[] = {
        {{}, ""},
        {{{u"text", text(u"a <b> & \"c\"")}}, "    <text> a <b> & \"c\" </text>\n"},
        {{{u"text lang=\"en\" x=\"1\"", text(u"hello")}},
         "    <text lang=\"en\" x=\"1\"> hello </text>\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lines);
        auto sink = makeReference<Sink>();
        auto writer = log::XmlLogWriter::create(sink);
        EXPECT_EQ(qxtest::textOf(sink->content), XmlHead);
        EXPECT_EQ(sink->flushes, 0);
        writer->process(entryOf(c.fields));
        EXPECT_EQ(sink->writes.size(), 3u);
        EXPECT_EQ(sink->flushes, 1);
        writer.reset();
        EXPECT_EQ(qxtest::textOf(sink->content),
                  XmlHead + ("  <entry>\n" + c.lines) + "  </entry>\n</log>\n");
        EXPECT_EQ(sink->flushes, 2);
    }
}

TEST(XmlLogWriter, SwallowsAFailureOfTheWriterOnlyInTheDestructor) {
    auto sink = makeReference<Sink>();
    auto writer = log::XmlLogWriter::create(sink);
    sink->failing = true;
    EXPECT_THROW(writer->process(qxtest::numberEntry(1)), io::IoException);
    writer.reset();
    EXPECT_EQ(qxtest::textOf(sink->content), XmlHead);
    EXPECT_THROW(log::XmlLogWriter::create(sink), io::IoException);
    EXPECT_EQ(sink->GetRefCount(), 1u);
}

TEST(LogWriters, RefuseNull) {
    const auto writer = log::BasicLogWriter::create(makeReference<Sink>());
    qxtest::expectThrowsResult(result::NullPointer, [&] { writer->process(nullptr); });
    qxtest::expectThrowsResult(result::NullPointer, [] { log::BasicLogWriter::create(nullptr); });
    qxtest::expectThrowsResult(result::NullPointer, [] { log::XmlLogWriter::create(nullptr); });
}

class CustomWriter : public log::AbstractLogWriter {
public:
    explicit CustomWriter(io::Writer* to) : AbstractLogWriter(to) {}
    void flush() override {
        calls += "flush ";
        AbstractLogWriter::flush();
    }
    std::string calls;

protected:
    String format(const log::ILogEntry*) override {
        calls += "format ";
        return takeText().append(u"custom");
    }
};

TEST(AbstractLogWriter, FormatsWritesAndFlushesByTheVirtualOperations) {
    auto sink = makeReference<Sink>();
    auto writer = makeReference<CustomWriter>(sink);
    writer->process(qxtest::numberEntry(1));
    EXPECT_EQ(writer->calls, "format flush ");
    EXPECT_EQ(qxtest::textOf(sink->content), "custom");
    EXPECT_EQ(sink->flushes, 1);
}

TEST(LogWriters, AllocateNothingInTheLongRun) {
    auto sink = makeReference<io::NullWriter>();
    const Reference<log::ILogProcessor> writers[] = {
        log::BasicLogWriter::create(sink),
        log::XmlLogWriter::create(sink),
        log::XmlLogWriter::create(sink, log::XmlLogWriter::Escaping::WellFormed),
    };
    for (const auto& writer : writers) {
        auto logger = log::Logger::create(String(u"logger"));
        logger->enableField(String(u"sequence"), true);
        logger->enableField(String(u"thread"), true);
        logger->addProcessor(writer);
        const String text(u"a text that is logged & written");
        logger->log(1, text);
        const int64_t before = qxtest::allocationCount();
        for (int i = 0; i < 100; ++i)
            logger->log(-i, text);
        EXPECT_EQ(qxtest::allocationCount(), before);
    }
}

} // namespace
