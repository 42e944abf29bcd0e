#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Implements.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>
#include <qx/log/LogEntry.h>
#include <qx/log/Logger.h>
#include <qx/log/TimeStamp.h>
#include <qx/platform/native.h>
#include <qx/platform/result.h>

#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qx::literals;
using qx::log::Logger;

namespace {

/// Keeps what it is handed.
class Recorder : public qx::pcom::Implements<Object, log::ILogProcessor> {
public:
    void process(const log::ILogEntry* entry) override {
        if (fails)
            throw Exception(u"refused"_qs);
        entries.push_back(entry);
    }

    std::vector<Reference<const log::ILogEntry>> entries;
    bool fails = false;
};

using Fields = std::map<std::string, std::string>;

Fields fieldsOf(const log::ILogEntry& entry) {
    Fields fields;
    const auto names = entry.getFieldNames();
    for (const auto& name : *names)
        fields[name->toUtf8()] = entry.getField(*name)->toString().toUtf8();
    return fields;
}

/// The fields of the only entry that logging "hello" at level 3 makes.
Fields loggedBy(Logger& logger) {
    const auto recorder = makeReference<Recorder>();
    logger.setProcessor(recorder);
    logger.log(3, u"hello"_qs);
    EXPECT_EQ(recorder->entries.size(), 1u);
    return fieldsOf(*recorder->entries.at(0));
}

} // namespace

TEST(Logger, StartsWithLevelAndTextAndItsName) {
    EXPECT_EQ(loggedBy(*Logger::create()), (Fields{{"level", "3"}, {"text", "hello"}}));
    EXPECT_EQ(loggedBy(*Logger::create(u"me"_qs)),
              (Fields{{"level", "3"}, {"text", "hello"}, {"name", "me"}}));
}

TEST(Logger, SwitchesFieldsByNamesInAnyCase) {
    const auto logger = Logger::create(u"me"_qs);
    for (const auto* name : {u"LEVEL", u"tExt", u"Name", u"NAMES", u"", u"lev"})
        logger->enableField(String(name), false);
    EXPECT_EQ(loggedBy(*logger), Fields());
    logger->enableField(u"Thread"_qs, true);
    logger->enableField(u"SEQUENCE"_qs, true);
    EXPECT_EQ(loggedBy(*logger),
              (Fields{{"thread", std::to_string(QXThreadCurrentId())}, {"sequence", "1"}}));
    logger->enableField(u"TIMESTAMP"_qs, true);
    EXPECT_EQ(loggedBy(*logger).count("timestamp"), 1u);
}

TEST(Logger, MakesRealObjectsOfItsFields) {
    const auto logger = Logger::create(u"me"_qs);
    for (const auto* name : {u"sequence", u"thread", u"timestamp"})
        logger->enableField(String(name), true);
    const auto recorder = makeReference<Recorder>();
    logger->setProcessor(recorder);
    logger->log(-2'000'000'000, u"hello"_qs);
    const auto& entry = *recorder->entries.at(0);
    const auto value = [&](const char16_t* name) { return entry.getField(String(name)); };
    EXPECT_EQ(*dynamic_cast<const Integer32*>(value(u"level").get()), -2'000'000'000);
    EXPECT_EQ(*dynamic_cast<const Integer32*>(value(u"sequence").get()), 0);
    EXPECT_EQ(*dynamic_cast<const UInteger32*>(value(u"thread").get()), QXThreadCurrentId());
    EXPECT_EQ(*dynamic_cast<const String*>(value(u"text").get()), u"hello"_qs);
    EXPECT_EQ(*dynamic_cast<const String*>(value(u"name").get()), u"me"_qs);
    EXPECT_NE(dynamic_cast<const log::TimeStamp*>(value(u"timestamp").get()), nullptr);
    EXPECT_EQ(value(u"level").get(), value(u"level").get()) << "the same object each time";
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
    logger->setDefaultLevel(7);
    const auto prepared = logger->getLogEntry(1, u"prepared"_qs);

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

    ASSERT_EQ(recorder->entries.size(), 3u);
    EXPECT_EQ(fieldsOf(*recorder->entries[0]),
              (Fields{{"level", "7"}, {"text", "first"}, {"sequence", "0"}}));
    EXPECT_EQ(fieldsOf(*recorder->entries[1]).at("sequence"), "0");
    EXPECT_EQ(fieldsOf(*recorder->entries[2]).at("sequence"), "3");
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
              (Fields{{"level", "replaced"}, {"text", "hello"}, {"tag", "t"}}));
}

TEST(Logger, KeepsTextsBeyondTheCall) {
    const auto logger = Logger::create();
    const auto recorder = makeReference<Recorder>();
    logger->setProcessor(recorder);
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
    const auto first = makeReference<Recorder>();
    const auto failing = makeReference<Recorder>();
    const auto last = makeReference<Recorder>();
    failing->fails = true;
    for (const auto& processor : {first, failing, last})
        logger->addProcessor(processor);
    EXPECT_THROW(logger->log(u"text"_qs), Exception);
    failing->fails = false;
    logger->log(u"text"_qs); // the lock was released
    EXPECT_EQ(first->entries.size(), 2u);
    EXPECT_EQ(last->entries.size(), 1u);
    qxtest::expectThrowsResult(result::NullPointer, [&] { logger->setProcessor(nullptr); });
    logger->log(u"text"_qs);
    EXPECT_EQ(last->entries.size(), 2u) << "a null processor changes nothing";
}

// Two queues behind one logger: their workers read the same entry.
TEST(Logger, GivesAllThreadsTheSameObjectOfAField) {
    const auto logger = Logger::create(u"me"_qs);
    logger->enableField(u"timestamp"_qs, true);
    const auto recorder = makeReference<Recorder>();
    logger->setProcessor(recorder);
    for (int round = 0; round < 200; ++round) {
        logger->log(round, u"hello"_qs);
        const auto& entry = recorder->entries.back();
        std::vector<Reference<const Object>> seen[3];
        std::vector<std::string> texts(std::size(seen));
        {
            std::vector<std::jthread> threads;
            for (size_t i = 0; i < std::size(seen); ++i) {
                threads.emplace_back([&, i] {
                    for (const auto* name : {u"level", u"text", u"name", u"timestamp"})
                        seen[i].push_back(entry->getField(String(name)));
                    texts[i] = seen[i].back()->toString().toUtf8();
                });
            }
        }
        ASSERT_EQ(seen[0], seen[1]);
        ASSERT_EQ(seen[0], seen[2]);
        ASSERT_EQ(texts[0], texts[1]);
    }
}

TEST(Logger, ServesManyThreads) {
    const auto logger = Logger::create(u"shared"_qs);
    logger->enableField(u"thread"_qs, true);
    const auto recorder = makeReference<Recorder>();
    logger->setProcessor(recorder);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&, i] {
                for (int n = 0; n < 2000; ++n)
                    logger->log(i, String(u"text ").append(n));
            });
        }
    }
    std::map<std::string, int> next;
    for (const auto& entry : recorder->entries) {
        const auto fields = fieldsOf(*entry);
        ASSERT_EQ(fields.at("text"), "text " + std::to_string(next[fields.at("level")]++));
    }
    EXPECT_EQ(recorder->entries.size(), 8000u);
}
