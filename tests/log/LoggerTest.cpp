#include <array>
#include <random>

#include <qx/qx.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/Items.h"
#include "tests/support/Sanitized.h"

using namespace qx;
using namespace qx::literals;
using qx::log::LogEntry;
using qx::log::Logger;
using namespace qxtest;

namespace {

/// The fields of the only entry that logging "hello" at level 3 makes.
FieldMap loggedBy(Logger& logger) {
    const auto recorder = makeReference<Recorder>();
    logger.setProcessor(recorder);
    logger.log(3, u"hello"_qs);
    EXPECT_EQ(recorder->entries.size(), 1u);
    return fieldMapOf(*recorder->entries.at(0));
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
TEST(Logger, MakesRealObjectsOfItsFieldsTheSameForAllThreadsAndBeyondTheCall) {
    const auto recorder = makeReference<Recorder>();
    const auto logger = loggerTo(recorder, u"me"_qs);
    const char16_t* const names[] = {u"level", u"sequence", u"thread",
                                     u"text",  u"name",     u"timestamp"};
    for (const auto* name : names)
        logger->enableField(String(name), true);
    for (int round = 0; round < 200; ++round) {
        const int32_t length =
            std::array{0, 1, 150, 192, 193, 5000}[static_cast<size_t>(round) % 6];
        std::u16string units(static_cast<size_t>(length), u'a');
        logger->log(-2'000'000'000, String(units.data(), String::AM_WRAP, length));
        units.assign(units.size(), u'b');
        const auto& entry = recorder->entries.back();
        std::vector<Reference<const Object>> seen[3];
        inThreads(3, [&](int thread) {
            for (const auto* name : names)
                seen[thread].push_back(entry->getField(String(name)));
        });
        ASSERT_EQ(seen[0], seen[1]);
        ASSERT_EQ(seen[0], seen[2]);
        EXPECT_TRUE(seen[0][0]->equals(Integer32(-2'000'000'000)));
        EXPECT_TRUE(seen[0][1]->equals(Integer32(round)));
        EXPECT_TRUE(seen[0][2]->equals(UInteger32(QXThreadCurrentId())));
        EXPECT_TRUE(seen[0][3]->equals(String(u'a', length)) && seen[0][4]->equals(u"me"_qs));
        EXPECT_NE(dynamic_cast<const log::TimeStamp*>(seen[0][5].get()), nullptr);
    }
}

TEST(Logger, CountsWhatItHandsOnAndLetsDerivedLoggersAddFields) {
    struct Tagged : Logger {
        using Logger::getLogEntry;
        using Logger::log;
        void addCustomFields(log::ILogEntry* entry) override {
            entry->setField(u"tag"_qs, new String(u"t"));
            if (entry->getField(u"level"_qs)->toString().equals(u"6"))
                entry->setField(u"level"_qs, new String(u"replaced"));
        }
    };
    const auto logger = makeReference<Tagged>();
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
    logger->log(6, u"last"_qs);

    std::vector<FieldMap> logged;
    for (const auto& entry : recorder->entries)
        logged.push_back(fieldMapOf(*entry));
    EXPECT_EQ(logged,
              (std::vector<FieldMap>{{{"level", "7"}, {"sequence", "0"}, {"tag", "t"}},
                                     {{"level", "1"}, {"sequence", "0"}},
                                     {{"level", "replaced"}, {"sequence", "3"}, {"tag", "t"}}}));
}

TEST(Logger, MayBeChangedAndDroppedInTheMiddleOfARound) {
    auto held = std::make_shared<int>(); // by the first processor
    const std::weak_ptr<int> watched = held;
    const auto before = makeReference<Recorder>(), after = makeReference<Recorder>();
    auto logger = Logger::create();
    bool isOuter = true;
    logger->addProcessor(new Doing([&, held = std::exchange(held, nullptr)](auto*) {
        if (std::exchange(isOuter, false))
            logger->log(2, u"inner round"_qs);
    }));
    logger->addProcessor(new Doing([&](auto*) {
        if (logger == nullptr)
            return;
        logger->setProcessor(after);
        logger->log(3, u"by the new processor"_qs);
        logger.reset();
        EXPECT_FALSE(watched.expired());
    }));
    logger->addProcessor(before);
    logger->log(1, u"outer round"_qs);
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(before->entries.size(), 2u);
    EXPECT_EQ(after->entries.size(), 1u);
}

/// Hands patterns and arguments to @p use (pattern, arguments...).
void useOften(auto use) {
    use(u"{0} of {1}", 3, u"name"_qs);
    use(u"{1}{0} {{}} {2}{3}", UINT64_MAX, INT64_MIN, true, u'\u00E9');
    use(u"{0:>6}|{1:.2f}|{2:<4}|{3:08X}", -5, 2.0 / 3, "b", 48879u);
    use(u"{0} {1} {2:>5}|{{0}} {00}", u"only"_qs, u"texts", std::u16string(u"{1}"));
    use(u"{0}{1}{2}{3}{4}{5}{6}{7}{8}{9}", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10); // many
    use(u"<{0}>", std::string(1500, 'x'));                                 // long
    use(u"{0} {1}", Integer32(7), makeReference<String>(u"object"));
    use(u"\xD83D{0}{1}", u'\xDE00', std::string("\u00E9\u65E5"));
}

/// An argument without a text.
struct Textless : Object {
    String toString() const override { throw Exception(u"no text"_qs); }
};

/// A text, and how often it was asked for.
struct Costly {
    String toString() const {
        ++*asked;
        return u"costly"_qs;
    }
    int* asked;
};

TEST(Logger, MakesTheTextsOfPatternsAsStringFormatDoesAndTellsMistakes) {
    const auto recorder = makeReference<Recorder>();
    const auto logged = [&](const auto&... all) {
        loggerTo(recorder)->log(1, all...);
        return recorder->entries.back()->getField(u"text"_qs)->toString().toUtf8();
    };
    useOften([&](const char16_t* pattern, const auto&... arguments) {
        EXPECT_EQ(logged(pattern, arguments...),
                  String::formatValues(pattern, {arguments...}).toUtf8());
    });
    EXPECT_EQ(logged("\u00E9 {0}", "\xFF"), "\u00E9 \uFFFD");
    EXPECT_EQ(logged("caf\xe9"), "caf\uFFFD");
    int asked = 0;
    EXPECT_EQ(logged(u"{9}!", 5, "\xFFz", Costly{&asked}),
              "bad format pattern \"{9}!\" at position 0: there is no argument 9; "
              "arguments: 5, \uFFFDz, costly");
    EXPECT_EQ(logged(u"{0", 5),
              "bad format pattern \"{0\" at position 2: \"}\" expected; arguments: 5");
    EXPECT_EQ(logged(u"{0} {1}", 1, Textless()), "1 no text");
}

TEST(Logger, AsksItsThresholdBeforeItMakesAnything) {
    using log::Level;
    int asked = 0;
    const auto recorder = makeReference<Recorder>();
    const auto logger = loggerTo(recorder);
    const auto logAll = [&] {
        for (const int level : {Level::Debug, Level::Info, Level::Warning})
            logger->log(level, u"{0}", Costly{&asked});
        return std::exchange(recorder->entries, {}).size();
    };
    EXPECT_EQ(logAll(), 3u);
    const std::pair<int, size_t> cases[] = {
        {Level::Info, 2}, {Level::Error, 0}, {INT32_MAX, 0}, {INT32_MIN, 3}};
    for (const auto& [threshold, count] : cases) {
        logger->setEnabled(false);
        logger->setThreshold(threshold);
        EXPECT_EQ(logAll(), 0u);
        logger->setEnabled(true);
        EXPECT_EQ(logger->getThreshold(), threshold);
        EXPECT_EQ(logAll(), count);
    }
    EXPECT_EQ(asked, 3 + 2 + 3);

    struct Own : Logger { // whose log does not look at the threshold
        using Logger::log;
        void log(int level, const String& text) override { logged.append(level).append(text); }
        String logged;
    } own;
    own.setThreshold(5);
    own.log(-1, u"{0} {{");
    EXPECT_EQ(own.logged, u"-1{0} {{");
    logger->setEnabled(false);
    const int64_t before = allocationCount();
    logger->log(Level::Info, u"nobody makes a text of this");
    EXPECT_EQ(allocationCount(), before);
}

/// A tree of processors over writers in UTF-8, or the same where every call goes the described way:
/// nothing shows what processors are, and log writers do not know what they write to.
struct Tree {
    struct Unknown : io::OutputStreamWriter {
        using OutputStreamWriter::OutputStreamWriter;
    };

    Tree(unsigned seed, bool isDescribed) : random(seed), isPlain(isDescribed) {
        logger = loggerTo(make(0), u"a \u00E9<"_qs);
        logger->enableField(u"level"_qs, seed % 4 != 0);
        logger->enableField(u"sequence"_qs, true);
        logger->enableField(u"thread"_qs, seed % 3 == 0);
    }

    unsigned pick(unsigned count) { return static_cast<unsigned>(random()) % count; }
    Reference<log::ILogProcessor> shown(Reference<log::ILogProcessor> processor) const {
        return isPlain ? Reference<log::ILogProcessor>(
                             new Doing([processor](auto* entry) { processor->process(entry); }))
                       : processor;
    }
    Reference<log::ILogProcessor> make(int depth) {
        const unsigned kind = pick(depth < 3 ? 6 : 3);
        if (kind < 3)
            return shown(makeWriter(kind));
        if (kind == 3)
            return shown(log::LevelFilter::create(make(depth + 1), static_cast<int>(pick(5))));
        if (kind == 4 && depth == 0) {
            log::AsyncOptions options;
            options.failure = log::AsyncOptions::Failure::CarryOn;
            queue = log::AsyncProcessor::create(make(1), 1, options);
            return shown(queue);
        }
        const auto several = log::MultiProcessor::create();
        for (unsigned count = pick(4); count > 0; --count)
            several->addProcessor(make(depth + 1));
        return shown(several);
    }
    Reference<log::ILogProcessor> makeWriter(unsigned kind) {
        using Escaping = log::XmlLogWriter::Escaping;
        const int32_t size = std::array{1, 200, 700, 8192}[pick(4)];
        sinks.push_back(new FakeSink<Bytes>);
        outs.push_back(isPlain ? new Unknown(sinks.back(), u"UTF-8", size)
                               : new io::OutputStreamWriter(sinks.back(), u"UTF-8", size));
        if (pick(2) == 0)
            outs.back() = new io::HeldFlushWriter(outs.back(), 1 << 30);
        writers.push_back(
            kind == 0 ? log::BasicLogWriter::create(outs.back())
                      : log::XmlLogWriter::create(outs.back(), kind == 1 ? Escaping::None
                                                                         : Escaping::WellFormed));
        return writers.back();
    }
    /// What @p use (tree) has for a result, and what can be seen after it.
    auto after(int number, auto&& use) {
        for (size_t i = 0; i < sinks.size(); ++i)
            sinks[i]->failing = (number + static_cast<int>(i)) % 9 == 5;
        const int32_t result = failureOf([&] { use(*this); });
        if (queue)
            queue->flush();
        std::vector<uint64_t> lost{queue ? queue->getFailedCount() : 0};
        std::vector<std::pair<std::string, std::vector<int32_t>>> written;
        for (size_t i = 0; i < sinks.size(); ++i) {
            lost.push_back(dynamic_cast<log::AbstractLogWriter&>(*writers[i]).getLostCount());
            written.emplace_back(textOf(sinks[i]->content), sinks[i]->writes);
            written.back().second.push_back(sinks[i]->flushes);
        }
        return std::tuple(result, lost, written);
    }

    std::vector<Reference<FakeSink<Bytes>>> sinks;
    std::vector<Reference<io::Writer>> outs;
    std::vector<Reference<log::ILogProcessor>> writers;
    Reference<log::AsyncProcessor> queue;
    Reference<Logger> logger;
    std::mt19937 random;
    const bool isPlain;
};

TEST(Processors, TakeRecordsAndBytesAsTheyTakeEntriesAndTexts) {
    for (unsigned seed = 0; seed < (Sanitized ? 40 : 150); ++seed) {
        SCOPED_TRACE(seed);
        Tree tree(seed, false), plain(seed, true);
        int number = 0;
        const auto compare = [&](auto&& use) {
            EXPECT_EQ(tree.after(number, use), plain.after(number, use)) << number;
            ++number;
        };
        const auto log = [&](const auto&... all) {
            compare([&](Tree& to) { to.logger->log(number % 5 - 1, all...); });
        };
        const std::u16string_view texts[] = {u"", u"Gr\u00FC\u00DFe & \uFFFF\U0001F600",
                                             u"half \xD83D pair", u"{0} {{ half a pair \xD83D"};
        for (const auto& text : texts) {
            useOften(log);
            for (const size_t length : {0u, 60u, 2000u})
                log(std::u16string(text).append(length, u'a'));
            log(u"<{0}{1}>", text, number);
            compare([&](Tree& to) { // not to the end of an entry
                for (const auto& out : to.outs)
                    out->write(number % 2 ? u"\xD83D" : u"whole");
            });
            const auto entry = entryWith(u"n\u00E1me x", new String(text)); // with an object
            compare([&](Tree& to) {
                for (const auto& writer : to.writers)
                    writer->process(entry);
            });
        }
        compare([](Tree& to) {
            for (const auto& out : to.outs)
                out->close();
        });
        log(u"closed");
    }
}

TEST(MultiProcessor, EndsTheRoundAtTheFirstFailureAndTakesFurtherProcessorsIntoIt) {
    const auto logger = Logger::create();
    const auto first = makeReference<FakeTarget>(), failing = makeReference<FakeTarget>();
    const auto recorder = makeReference<Recorder>();
    const auto writer = makeReference<FakeSink<Chars>>();
    const auto logAndCount = [&] {
        failureOf([&] { logger->log(u"text"_qs); });
        return std::exchange(recorder->entries, {}).size();
    };
    logger->addProcessor(first);
    logger->addProcessor(failing);
    logger->addProcessor(recorder);
    failing->failing = "all";
    EXPECT_EQ(logAndCount(), 0u);
    failing->failing = "none";
    EXPECT_EQ(logAndCount(), 1u) << "the lock was released";
    EXPECT_EQ(first->calls, 2);
    EXPECT_EQ(failureOf([&] { logger->setProcessor(nullptr); }), result::NullPointer);
    EXPECT_EQ(logAndCount(), 1u) << "a null processor changes nothing";

    const auto add = [&] { logger->addProcessor(recorder); };
    writer->meanwhile = add;
    logger->setProcessor(log::BasicLogWriter::create(writer));
    EXPECT_EQ(logAndCount(), 1u);
    logger->setProcessor(new Doing([&](auto*) { add(); }));
    EXPECT_EQ(logAndCount(), 1u);
}

// What counts does so without a guard of its own; the thread sanitizer and a lost count tell of two
// at once.

struct CountingTarget : qx::pcom::Implements<Object, log::ILevelLogger> {
    void log(int level, const String& text) override {
        if (level < 0)
            throw Exception(text);
        logged = std::to_string(level) + " " + text.toUtf8();
        ++levels;
    }
    int levels = 0;
    std::string logged;
};

TEST(Loggers, LetOneCallAtATimeThroughAlsoAfterAFailure) {
    constexpr int Threads = 4, Calls = 5000;
    const auto target = makeReference<CountingTarget>();
    const auto sink = makeReference<FakeSink<Chars>>();
    const auto sync = makeReference<log::SyncLogger>(target);
    int entries = 0;
    const auto logger = loggerTo(new Doing([&](auto*) { ++entries; }));
    const auto writer = log::BasicLogWriter::create(sink);
    const auto entry = numberEntry(1);
    EXPECT_THROW(sync->log(-1, u"bad"_qs), Exception);
    inThreads(Threads, [&](int) {
        for (int call = 0; call < Calls; ++call) {
            sync->log(1, u"x"_qs);
            logger->log(1, u"x"_qs);
            writer->process(entry);
        }
    });
    EXPECT_EQ(target->levels, Threads * Calls);
    EXPECT_EQ(entries, Threads * Calls);
    EXPECT_EQ(sink->writes.size(), size_t{Threads * Calls});
}

TEST(MultiProcessor, RefusesToHandEntriesToItself) {
    const auto outer = log::MultiProcessor::create(), inner = log::MultiProcessor::create();
    outer->addProcessor(inner);
    for (log::ILogProcessor* const own : {inner.get(), outer.get()})
        EXPECT_EQ(resultOf([&] { inner->addProcessor(own); }), result::InvalidArgument);
    const auto target = makeReference<FakeTarget>();
    inThreads(2, [&](int thread) { // one looks at what the other changes
        for (int i = 0; i < 1000; ++i)
            thread == 0 ? inner->addProcessor(target) : outer->addProcessor(inner);
    });
}

TEST(LevelFilter, PassesWhatReachesTheThresholdOrCannotBeJudged) {
    const auto target = makeReference<FakeTarget>();
    const auto filter = log::LevelFilter::create(target, 3);
    for (const int level : {2, 3, 4, -1})
        filter->process(numberEntry(level));
    filter->process(entryWith(u"text", new String(u"without level")));
    filter->process(entryWith(u"level", new String(u"high")));
    filter->process(entryWith(u"level", new Integer64(int64_t{-1} << 40)));
    filter->process(makeReference<ForeignEntry>(numberEntry(2)));
    filter->process(makeReference<ForeignEntry>(numberEntry(5)));
    Reference<log::ILogProcessor> far = filter; // further than records go
    for (int i = 0; i < 12; ++i) {
        const auto fanOut = log::MultiProcessor::create();
        fanOut->addProcessor(far);
        far = fanOut;
    }
    const auto logger = loggerTo(far);
    logger->log(2, u"below"_qs);
    filter->setThreshold(-1);
    filter->process(numberEntry(-1));
    EXPECT_EQ(target->values(),
              (std::vector<std::string>{"3", "4", "without level", "high", "5", "-1"}));
}

/// A component that answers with a given result.
struct FakeComponent : qx::pcom::Implements<ComObject, log::pcom::ILogProcessor> {
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
    EXPECT_EQ(failureOf([&] { processor->process(makeReference<ForeignEntry>(entry)); }),
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
    refused([] { static_cast<void>(makeReference<log::SyncLogger>(nullptr)); });
    refused([] { log::LevelFilter::create(nullptr, 0); });
    refused([] { log::AsyncProcessor::create(nullptr, 1); });
    refused([] { log::BasicLogWriter::create(nullptr); });
    refused([] { log::XmlLogWriter::create(nullptr); });
}

TEST(StringBundleLogger, PutsArgumentsInTheirPlacesAndLogsTheKeyWhenThereIsNoText) {
    const auto x = makeReference<String>(u"x"), y = makeReference<String>(u"y");
    const std::tuple<std::u16string, collections::List<Object>, const char*> cases[] = {
        {u"a {0} b {1} {0}", {x, y}, "7 a x b y x"},
        {u"a {0} b {1} {0}", {x}, "7 a {0} b {1} {0}"},        // an argument is missing
        {u"{0} {2}", {x, y, u"z"}, "7 x {2}"},                 // nothing behind a gap
        {u"{0}-{1}-{0}", {u"{1}{0}", y}, "7 {1}{0}-y-{1}{0}"}, // arguments are not searched
        {u"{{0}}", {x}, "7 {x}"},
        {u"{00} {+0} { 0} {0", {x}, "7 {00} {+0} { 0} {0"}, // no placeholders
        {u"{0}{18446744073709551616}{99999999999999999999999}",
         {x},
         "7 x{18446744073709551616}{99999999999999999999999}"},
        {u"{0}{1}{2}{3}{4}{5}{6}{7}{8}{9}{10}",
         {x, x, x, x, x, x, x, x, x, y, makeReference<Integer32>(-5)},
         "7 xxxxxxxxxy-5"},
        {u"<{0}>", {nullptr}, "7 <>"},
        {u"{0}{1}", {x, makeReference<Textless>()}, "7 {0}{1}"}, // all or nothing
    };
    const auto target = makeReference<CountingTarget>();
    for (const auto& [message, arguments, expected] : cases) {
        const auto bundle = makeReference<i18n::StringMapBundle>(
            new collections::StringHashMap{{u"key", new String(message)}});
        log::StringBundleLogger logger(bundle, target);
        logger.log(7, u"key"_qs, arguments);
        EXPECT_EQ(target->logged, expected);
        logger.log(1, u"key"_qs);
        EXPECT_EQ(target->logged, "1 " + String(message).toUtf8());
        logger.log(3, u"none {0}"_qs, arguments);
        EXPECT_EQ(target->logged, "3 none {0}") << "a key is no text to put arguments into";
        EXPECT_THROW(logger.log(-1, u"none"_qs), Exception);
        EXPECT_EQ(failureOf([&] { log::StringBundleLogger(bundle, nullptr); }),
                  result::NullPointer);
    }
}

using Names = std::vector<std::string>;

Names namesOf(const collections::Set<String>& set) {
    Names names;
    for (const auto& name : set)
        names.push_back(name->toUtf8());
    return names;
}

// The plain way is the described one: a map with 101 buckets, whose keys fill a hash set.
TEST(LogEntry, OrdersItsFieldsAsTheKeySetOfAMapDoesAndReleasesThem) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        auto entry = LogEntry::create(); // in the storage that another has left
        const std::u16string suffix(static_cast<size_t>(round % 2 * round), u'n');
        collections::StringHashMap model;
        // Few distinct names of few letters: names set twice, shared buckets.
        const auto count = static_cast<unsigned>(random() % (round % 3 ? 14 : 400));
        for (unsigned i = 0; i < count; ++i) {
            String name(u"f");
            name.append(static_cast<unsigned>(random()) % (2 * count)).append(suffix.c_str());
            const Reference<Item> value(random() % 4 == 0 ? nullptr : new Item(0));
            model.put(name, value);
            entry->setField(name, value);
        }
        const auto expected = namesOf(*model.createKeySet());
        ASSERT_EQ(namesOf(*entry->getFieldNames()), expected);
        Names visited;
        int held = 0;
        entry->forEachField([&](std::u16string_view name, const log::FieldValue& value) {
            const auto object = model.get(String(name));
            log::FieldText room;
            visited.push_back(String(name).toUtf8());
            EXPECT_EQ(String(value.text(room)), object ? object->toString() : String());
            EXPECT_EQ(entry->getField(String(name)).get(), object.get());
            EXPECT_TRUE(entry->hasField(String(name)));
            held += object != nullptr;
        });
        ASSERT_EQ(visited, expected);
        EXPECT_FALSE(entry->hasField(u"none"_qs));
        EXPECT_EQ(failureOf([&] { (void)entry->getField(u"none"_qs); }), result::EndOfFile);
        model.clear();
        EXPECT_EQ(Item::alive(), held);
        entry.reset();
        EXPECT_EQ(Item::alive(), 0);
    }
}

TEST(LogEntry, ServesComponents) {
    const auto entry = LogEntry::create();
    const auto face = interfaceOf<log::pcom::ILogEntry>(entry);
    const auto value = makeReference<Integer32>(7);
    Reference<IQXComparable> comparable;
    expectEach(result::Ok, {face->SetField(u"seven", value->GetUnknown()),
                            face->SetField(u"more", value->GetUnknown()), face->HasField(u"seven"),
                            face->GetField(u"seven", IQXComparable::Iid, comparable.putVoid())});
    EXPECT_EQ(face->HasField(u"eight"), 1);
    EXPECT_NE(comparable, nullptr);
    void* out = &out;
    EXPECT_EQ(face->GetField(u"seven", log::pcom::ILogEntry::Iid, &out), result::NoInterface);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(face->GetField(u"none", IQXComparable::Iid, &out), result::Fail);
    EXPECT_EQ(face->GetField(u"seven", IQXComparable::Iid, nullptr), result::NullPointer);

    Reference<log::pcom::IFieldIterator> iterator;
    ASSERT_EQ(face->GetFieldIterator(iterator.put()), result::Ok);
    Names names;
    for (String name; iterator->HasNext() == 0; names.push_back(name.toUtf8())) {
        EXPECT_EQ(iterator->Next(nullptr), result::NullPointer);
        ASSERT_EQ(iterator->Next(&name), result::Ok);
    }
    EXPECT_EQ(names, namesOf(*entry->getFieldNames()));
    String untouched(u"untouched");
    EXPECT_LT(iterator->Next(&untouched), 0);
    EXPECT_EQ(untouched, u"untouched"_qs);
}

} // namespace
