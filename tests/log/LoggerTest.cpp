#include <functional>
#include <map>
#include <thread>

#include <qx/qx.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/MapBundle.h"

using namespace qx;
using namespace qx::literals;
using qx::log::Logger;
using qxtest::failureOf;
using qxtest::FakeTarget;
using qxtest::loggerTo;
using qxtest::numberEntry;

namespace {

/// Keeps what it is handed, and does not look at it: a value gets its object when it is first asked
/// for.
class Recorder : public qx::pcom::Implements<Object, log::ILogProcessor> {
public:
    void process(const log::ILogEntry* entry) override {
        if (fails)
            throw IllegalStateException(u"refused");
        entries.emplace_back(entry);
    }
    std::vector<Reference<const log::ILogEntry>> entries;
    bool fails = false;
};

using FieldMap = std::map<std::string, std::string>;

FieldMap fieldsOf(const log::ILogEntry& entry) {
    const auto fields = qxtest::fieldsOf(entry);
    return {fields.begin(), fields.end()};
}

/// The fields of the only entry that logging "hello" at level 3 makes.
FieldMap loggedBy(Logger& logger) {
    const auto recorder = makeReference<Recorder>();
    logger.setProcessor(recorder);
    logger.log(3, u"hello"_qs);
    EXPECT_EQ(recorder->entries.size(), 1u);
    return fieldsOf(*recorder->entries.at(0));
}

TEST(Logger, StartsWithLevelAndTextAndItsNameAndSwitchesFieldsByNamesInAnyCase) {
    EXPECT_EQ(loggedBy(*Logger::create()), (FieldMap{{"level", "3"}, {"text", "hello"}}));
    const auto logger = Logger::create(u"me"_qs);
    EXPECT_EQ(loggedBy(*logger), (FieldMap{{"level", "3"}, {"text", "hello"}, {"name", "me"}}));
    for (const auto* name : {u"LEVEL", u"tExt", u"Name", u"NAMES", u"", u"lev"})
        logger->enableField(String(name), false);
    EXPECT_EQ(loggedBy(*logger), FieldMap());
    logger->enableField(u"Thread"_qs, true);
    logger->enableField(u"SEQUENCE"_qs, true);
    EXPECT_EQ(loggedBy(*logger),
              (FieldMap{{"thread", std::to_string(QXThreadCurrentId())}, {"sequence", "2"}}));
    logger->enableField(u"TIMESTAMP"_qs, true);
    EXPECT_EQ(loggedBy(*logger).count("timestamp"), 1u);
}

// Two queues behind one logger: their workers read the same entry.
TEST(Logger, MakesRealObjectsOfItsFieldsTheSameForAllThreads) {
    const auto recorder = makeReference<Recorder>();
    const auto logger = loggerTo(recorder, u"me"_qs);
    const char16_t* const names[] = {u"level", u"sequence", u"thread",
                                     u"text",  u"name",     u"timestamp"};
    for (const auto* name : names)
        logger->enableField(String(name), true);
    for (int round = 0; round < 200; ++round) {
        logger->log(-2'000'000'000, u"hello"_qs);
        const auto& entry = recorder->entries.back();
        std::vector<Reference<const Object>> seen[3];
        std::vector<std::jthread> threads;
        for (auto& objects : seen)
            threads.emplace_back([&] {
                for (const auto* name : names)
                    objects.push_back(entry->getField(String(name)));
            });
        threads.clear();
        ASSERT_EQ(seen[0], seen[1]);
        ASSERT_EQ(seen[0], seen[2]);
        EXPECT_TRUE(seen[0][0]->equals(Integer32(-2'000'000'000)));
        EXPECT_TRUE(seen[0][1]->equals(Integer32(round)));
        EXPECT_TRUE(seen[0][2]->equals(UInteger32(QXThreadCurrentId())));
        EXPECT_TRUE(seen[0][3]->equals(u"hello"_qs) && seen[0][4]->equals(u"me"_qs));
        EXPECT_NE(dynamic_cast<const log::TimeStamp*>(seen[0][5].get()), nullptr);
    }
}

TEST(Logger, CountsWhatItHandsOn) {
    class Opened : public Logger {
    public:
        using Logger::getLogEntry;
        using Logger::log;
    };
    const auto logger = makeReference<Opened>();
    const auto recorder = makeReference<Recorder>();
    logger->addProcessor(recorder);
    logger->enableField(u"sequence"_qs, true);
    logger->enableField(u"text"_qs, false);
    logger->setDefaultLevel(7);
    const auto prepared = logger->getLogEntry(1, u""_qs);
    logger->log(u"first"_qs);
    logger->setEnabled(false);
    logger->log(5, u"not logged"_qs);
    logger->log(u"not logged"_qs);
    logger->log(prepared.get()); // passes a disabled logger, and counts
    logger->setEnabled(true);
    recorder->fails = true;
    EXPECT_THROW(logger->log(5, u"refused, yet counted"_qs), Exception);
    recorder->fails = false;
    logger->log(5, u"last"_qs);

    std::vector<FieldMap> logged;
    for (const auto& entry : recorder->entries)
        logged.push_back(fieldsOf(*entry));
    EXPECT_EQ(logged, (std::vector<FieldMap>{{{"level", "7"}, {"sequence", "0"}},
                                             {{"level", "1"}, {"sequence", "0"}},
                                             {{"level", "5"}, {"sequence", "3"}}}));
}

/// Does something when it is first called.
class Doing : public qx::pcom::Implements<Object, log::ILogProcessor> {
public:
    Doing(std::function<void()> what, bool* isGone = nullptr)
        : m_what(std::move(what)), m_isGone(isGone) {}
    ~Doing() override {
        if (m_isGone)
            *m_isGone = true;
    }
    void process(const log::ILogEntry*) override {
        if (const auto what = std::exchange(m_what, nullptr))
            what();
    }

private:
    std::function<void()> m_what;
    bool* const m_isGone;
};

TEST(Logger, MayBeChangedAndDroppedInTheMiddleOfARound) {
    bool isGone = false;
    const auto before = makeReference<Recorder>(), after = makeReference<Recorder>();
    auto logger = Logger::create();
    const auto dropAll = [&] {
        logger->setProcessor(after);
        logger->log(3, u"by the new processor"_qs);
        logger.reset();
        EXPECT_FALSE(isGone);
    };
    logger->addProcessor(new Doing([&] { logger->log(2, u"inner round"_qs); }, &isGone));
    logger->addProcessor(new Doing(dropAll));
    logger->addProcessor(before);
    logger->log(1, u"outer round"_qs);
    EXPECT_TRUE(isGone);
    EXPECT_EQ(before->entries.size(), 2u);
    EXPECT_EQ(after->entries.size(), 1u);
}

TEST(Logger, LetsDerivedLoggersAddFields) {
    class Tagged : public Logger {
    protected:
        void addCustomFields(log::ILogEntry* entry) override {
            entry->setField(u"tag"_qs, new String(u"t"));
            entry->setField(u"level"_qs, new String(u"replaced"));
        }
    };
    EXPECT_EQ(loggedBy(*makeReference<Tagged>()),
              (FieldMap{{"level", "replaced"}, {"text", "hello"}, {"tag", "t"}}));
}

TEST(Logger, KeepsTextsBeyondTheCall) {
    const auto recorder = makeReference<Recorder>();
    const auto logger = loggerTo(recorder);
    for (const size_t length : {0u, 1u, 150u, 192u, 193u, 5000u}) {
        std::u16string units(length, u'a');
        logger->log(0, String(units.data(), String::AM_WRAP, static_cast<int32_t>(length)));
        units.assign(length, u'b');
        EXPECT_EQ(recorder->entries.back()->getField(u"text"_qs)->toString(),
                  String(std::u16string(length, u'a')));
    }
}

TEST(MultiProcessor, EndsTheRoundAtTheFirstFailure) {
    const auto logger = Logger::create();
    const Reference<FakeTarget> targets[] = {new FakeTarget, new FakeTarget, new FakeTarget};
    for (const auto& target : targets)
        logger->addProcessor(target);
    targets[1]->failing = "all";
    EXPECT_THROW(logger->log(u"text"_qs), Exception);
    targets[1]->failing = "none";
    logger->log(u"text"_qs); // the lock was released
    EXPECT_EQ(targets[0]->calls, 2);
    EXPECT_EQ(targets[2]->calls, 1);
    EXPECT_EQ(failureOf([&] { logger->setProcessor(nullptr); }), result::NullPointer);
    logger->log(u"text"_qs);
    EXPECT_EQ(targets[2]->calls, 2) << "a null processor changes nothing";
}

TEST(MultiProcessor, TakesFurtherProcessorsIntoTheRoundThatItIsIn) {
    class AddingWriter : public io::NullWriter {
    public:
        using NullWriter::write;
        void write(const char16_t*, int32_t) override { add(); }
        std::function<void()> add;
    };
    const auto logger = Logger::create();
    const auto recorder = makeReference<Recorder>();
    const auto writer = makeReference<AddingWriter>();
    const auto add = [&] { logger->addProcessor(recorder); };
    writer->add = add;
    logger->addProcessor(log::BasicLogWriter::create(writer));
    logger->addProcessor(new Doing(add));
    logger->log(u"text"_qs);
    EXPECT_EQ(recorder->entries.size(), 2u);
    writer->add = add;
    logger->setProcessor(log::BasicLogWriter::create(writer));
    logger->log(u"text"_qs);
    EXPECT_EQ(recorder->entries.size(), 3u);
}

// What counts does so without a guard of its own; the thread sanitizer and a lost count tell of two
// at once.

class CountingTarget : public qx::pcom::Implements<Object, log::ILevelLogger, log::ILogProcessor> {
public:
    void log(int level, const String& text) override {
        if (level < 0)
            throw Exception(text);
        logged = std::to_string(level) + " " + text.toUtf8();
        ++levels;
    }
    void process(const log::ILogEntry*) override { ++entries; }
    int levels = 0, entries = 0;
    std::string logged;
};

TEST(Loggers, LetOneCallAtATimeThroughAlsoAfterAFailure) {
    constexpr int Threads = 4, Calls = 5000;
    const auto target = makeReference<CountingTarget>();
    const auto sink = makeReference<qxtest::FakeSink<qxtest::Chars>>();
    const auto sync = makeReference<log::SyncLogger>(target);
    const auto logger = loggerTo(target);
    const auto writer = log::BasicLogWriter::create(sink);
    const auto entry = numberEntry(1);
    EXPECT_THROW(sync->log(-1, u"bad"_qs), Exception);
    std::vector<std::jthread> threads;
    for (int i = 0; i < Threads; ++i)
        threads.emplace_back([&] {
            for (int call = 0; call < Calls; ++call) {
                sync->log(1, u"x"_qs);
                logger->log(1, u"x"_qs);
                writer->process(entry);
            }
        });
    threads.clear();
    EXPECT_EQ(target->levels, Threads * Calls);
    EXPECT_EQ(target->entries, Threads * Calls);
    EXPECT_EQ(sink->writes.size(), size_t{Threads * Calls});
}

TEST(LevelFilter, PassesWhatReachesTheThresholdOrCannotBeJudged) {
    const auto target = makeReference<FakeTarget>();
    const auto filter = log::LevelFilter::create(target, 3);
    for (const int level : {2, 3, 4, -1})
        filter->process(numberEntry(level));
    filter->process(qxtest::entryWith(u"text", new String(u"without level")));
    filter->process(qxtest::entryWith(u"level", new String(u"high")));
    filter->process(qxtest::entryWith(u"level", new Integer64(int64_t{-1} << 40)));
    filter->process(makeReference<qxtest::ForeignEntry>(numberEntry(2)));
    filter->process(makeReference<qxtest::ForeignEntry>(numberEntry(5)));
    const auto logger = loggerTo(filter);
    logger->log(2, u"below"_qs);
    filter->setThreshold(-1);
    filter->process(numberEntry(-1));
    EXPECT_EQ(target->values(),
              (std::vector<std::string>{"3", "4", "without level", "high", "5", "-1"}));
}

/// A component that answers with a given result.
class FakeComponent : public qx::pcom::Implements<ComObject, log::pcom::ILogProcessor> {
public:
    int32_t Process(log::pcom::ILogEntry* entry) override {
        ++calls;
        hasLevel = entry->HasField(u"level") == 0;
        return answer;
    }
    int32_t answer = 0;
    int calls = 0;
    bool hasLevel = false;
};

TEST(PcomProcessor, HandsOnTheComponentFaceAndThrowsItsFailure) {
    const auto component = makeReference<FakeComponent>();
    const auto processor = log::pcom::PcomProcessor::create(component);
    const auto entry = numberEntry(7);
    for (const int32_t answer : {result::Ok, 1, result::AccessDenied}) {
        component->answer = answer;
        EXPECT_EQ(failureOf([&] { processor->process(entry); }), std::min(answer, 0));
    }
    EXPECT_TRUE(component->hasLevel);
    EXPECT_EQ(entry->GetRefCount(), 1u) << "the interface is released also after a failure";
    EXPECT_EQ(failureOf([&] { processor->process(makeReference<qxtest::ForeignEntry>(entry)); }),
              result::NoInterface);
    EXPECT_EQ(component->calls, 3);
}

TEST(Processors, RefuseNull) {
    const auto bridge = log::pcom::PcomProcessor::create(makeReference<FakeComponent>());
    const Reference<log::ILogProcessor> processors[] = {
        bridge, log::LevelFilter::create(bridge, 0), log::AsyncProcessor::create(bridge, 0),
        log::BasicLogWriter::create(makeReference<io::NullWriter>())};
    const auto refused = [](auto use) { EXPECT_EQ(failureOf(use), result::NullPointer); };
    for (const auto& processor : processors)
        refused([&] { processor->process(nullptr); });
    refused([] { makeReference<log::SyncLogger>(nullptr); });
    refused([] { log::LevelFilter::create(nullptr, 0); });
    refused([] { log::AsyncProcessor::create(nullptr, 1); });
    refused([] { log::BasicLogWriter::create(nullptr); });
    refused([] { log::XmlLogWriter::create(nullptr); });
}

/// An argument without a text.
class Textless : public Object {
public:
    String toString() const override { throw Exception(u"no text"_qs); }
};

using Arguments = std::vector<Reference<Object>>;

Reference<collections::List<Object>> listOf(const Arguments& arguments) {
    const auto wrapped = makeReference<collections::pcom::ArrayList>();
    for (const auto& argument : arguments)
        wrapped->add(argument ? argument->GetUnknown() : nullptr);
    return makeReference<collections::List<Object>>(wrapped.get());
}

Reference<Object> boxed(const char16_t* units) { return makeReference<String>(units); }

TEST(StringBundleLogger, PutsArgumentsInTheirPlaces) {
    const auto x = boxed(u"x"), y = boxed(u"y"), z = boxed(u"z"), braces = boxed(u"{1}{0}");
    Arguments eleven;
    std::u16string elevenPlaces;
    for (int i = 0; i < 11; ++i) {
        eleven.push_back(makeReference<Integer32>(i + 100));
        elevenPlaces += u"{" + std::u16string(String().append(i).view()) + u"}";
    }
    const struct {
        std::u16string message;
        Arguments arguments;
        const char* expected;
    } cases[] = {
        {u"a {0} b {1} {0}", {x, y}, "7 a x b y x"},
        {u"a {0} b {1} {0}", {x}, "7 a {0} b {1} {0}"}, // an argument is missing
        {u"{0}", {}, "7 {0}"},
        {u"{0} {2}", {x, y, z}, "7 x {2}"}, // nothing behind a gap
        {u"{1} {2}", {x, y, z}, "7 {1} {2}"},
        {u"{0}-{1}-{0}", {braces, y}, "7 {1}{0}-y-{1}{0}"}, // arguments are not searched
        {u"{{0}}", {x}, "7 {x}"},
        {u"{00} {+0} { 0} {0", {x}, "7 {00} {+0} { 0} {0"}, // no placeholders
        {u"{0}{18446744073709551616}{99999999999999999999999}",
         {x},
         "7 x{18446744073709551616}{99999999999999999999999}"},
        {elevenPlaces, eleven, "7 100101102103104105106107108109110"},
        {u"<{0}>", {nullptr}, "7 <>"},
        {u"{0}{1}", {x, makeReference<Textless>()}, "7 {0}{1}"}, // all or nothing
    };
    for (const auto& c : cases) {
        const auto target = makeReference<CountingTarget>();
        const auto bundle =
            makeReference<qxtest::MapBundle>(qxtest::MapBundle::Texts{{u"key", c.message}});
        makeReference<log::StringBundleLogger>(bundle, target)
            ->log(7, u"key"_qs, *listOf(c.arguments));
        EXPECT_EQ(target->logged, c.expected);
    }
}

TEST(StringBundleLogger, LogsTheKeyWhenThereIsNoText) {
    const auto target = makeReference<CountingTarget>();
    const auto bundle =
        makeReference<qxtest::MapBundle>(qxtest::MapBundle::Texts{{u"key", u"text {0}"}});
    const auto logger = makeReference<log::StringBundleLogger>(bundle, target);
    const auto list = listOf({boxed(u"x")});
    logger->log(1, u"key"_qs);
    EXPECT_EQ(target->logged, "1 text {0}");
    logger->log(2, u"none {0}"_qs);
    EXPECT_EQ(target->logged, "2 none {0}");
    logger->log(3, u"none {0}"_qs, *list);
    EXPECT_EQ(target->logged, "3 none {0}") << "a key is no text to put arguments into";
    EXPECT_THROW(logger->log(-1, u"key"_qs), Exception);
    EXPECT_THROW(logger->log(-1, u"key"_qs, *list), Exception);
    EXPECT_EQ(failureOf([&] { makeReference<log::StringBundleLogger>(bundle, nullptr); }),
              result::NullPointer);
}

} // namespace
