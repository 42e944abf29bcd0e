#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/log/LevelFilter.h>
#include <qx/log/SyncLogger.h>
#include <qx/log/pcom/ILogEntry.h>
#include <qx/log/pcom/PcomProcessor.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/ExpectResult.h"

namespace {

using namespace qx;
using qxtest::expectThrowsResult;
using qxtest::FakeTarget;

/// Counts without a guard of its own; the thread sanitizer and a lost count tell of two at once.
class CountingLogger : public qx::pcom::Implements<Object, log::ILevelLogger> {
public:
    void log(int level, const String& text) override {
        if (level < 0)
            throw Exception(text);
        sum += level;
    }
    int sum = 0;
};

TEST(SyncLogger, LetsOneCallAtATimeThrough) {
    auto target = makeReference<CountingLogger>();
    auto logger = makeReference<log::SyncLogger>(target);
    constexpr int Threads = 4, Calls = 5000;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < Threads; ++i)
            threads.emplace_back([&] {
                for (int call = 0; call < Calls; ++call)
                    logger->log(1, String(u"x"));
            });
    }
    EXPECT_EQ(target->sum, Threads * Calls);
}

TEST(SyncLogger, IsFreeAgainAfterAFailure) {
    auto target = makeReference<CountingLogger>();
    auto logger = makeReference<log::SyncLogger>(target);
    EXPECT_THROW(logger->log(-1, String(u"bad")), Exception);
    std::jthread([&] { logger->log(2, String(u"good")); }).join();
    EXPECT_EQ(target->sum, 2);
}

TEST(LevelFilter, PassesWhatReachesTheThresholdOrCannotBeJudged) {
    auto target = makeReference<FakeTarget>();
    auto filter = log::LevelFilter::create(target, 3);
    for (const int level : {2, 3, 4, -1})
        filter->process(qxtest::numberEntry(level));
    filter->process(qxtest::textEntry(u"without level"));
    auto odd = log::LogEntry::create();
    odd->setField(String(u"level"), makeReference<String>(u"high"));
    filter->process(odd);
    odd->setField(String(u"level"), makeReference<Integer64>(int64_t{-1} << 40));
    filter->process(odd);
    filter->setThreshold(-1);
    filter->process(qxtest::numberEntry(-1));
    EXPECT_EQ(target->values(),
              (std::vector<std::string>{"3", "4", "without level", "high", "-1"}));
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

/// An entry that is no component.
class PlainEntry : public qx::pcom::Implements<Object, log::ILogEntry> {
public:
    void setField(const String&, const Object*) override {}
    Reference<const Object> getField(const String&) const override { return nullptr; }
    bool hasField(const String&) const override { return false; }
    Reference<const collections::Set<String>> getFieldNames() const override { return nullptr; }
};

TEST(PcomProcessor, HandsOnTheComponentFaceAndThrowsItsFailure) {
    auto component = makeReference<FakeComponent>();
    auto processor = log::pcom::PcomProcessor::create(component);
    const auto entry = qxtest::numberEntry(7);
    processor->process(entry);
    EXPECT_TRUE(component->hasLevel);
    component->answer = 1; // a success
    processor->process(entry);
    component->answer = result::AccessDenied;
    expectThrowsResult(result::AccessDenied, [&] { processor->process(entry); });
    EXPECT_EQ(component->calls, 3);
    EXPECT_EQ(entry->GetRefCount(), 1u) << "the interface is released also after a failure";

    expectThrowsResult(result::NoInterface,
                       [&] { processor->process(makeReference<PlainEntry>()); });
    EXPECT_EQ(component->calls, 3);
}

TEST(Processors, RefuseNull) {
    const auto component = makeReference<FakeComponent>();
    const auto bridge = log::pcom::PcomProcessor::create(component);
    const auto filter = log::LevelFilter::create(bridge, 0);
    expectThrowsResult(result::NullPointer, [&] { bridge->process(nullptr); });
    expectThrowsResult(result::NullPointer, [&] { filter->process(nullptr); });
    expectThrowsResult(result::NullPointer, [] { makeReference<log::SyncLogger>(nullptr); });
    expectThrowsResult(result::NullPointer, [] { log::LevelFilter::create(nullptr, 0); });
}

} // namespace
