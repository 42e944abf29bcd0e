#include <qx/log/AsyncProcessor.h>

#include <algorithm>
#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Thread.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ExpectResult.h"

namespace {

using namespace qx;
using log::AsyncOptions;
using log::AsyncProcessor;
using qxtest::expectThrowsResult;
using qxtest::FakeTarget;
using qxtest::numberEntry;
using Values = std::vector<std::string>;

Values numbers(int begin, int end) {
    Values values;
    for (int number = begin; number < end; ++number)
        values.push_back(std::to_string(number));
    return values;
}

void put(AsyncProcessor& processor, int begin, int end) {
    for (int number = begin; number < end; ++number)
        processor.process(numberEntry(number));
}

template <class Condition>
void await(Condition condition) {
    while (!condition())
        exec::Thread::sleep(1);
}

/// A target that a worker is in the middle of an entry with.
Reference<AsyncProcessor> busyProcessor(FakeTarget& target, const AsyncOptions& options = {}) {
    target.gate.close();
    auto processor = AsyncProcessor::create(&target, 1, options);
    processor->process(numberEntry(0));
    await([&] { return target.calls == 1; });
    return processor;
}

TEST(AsyncProcessor, HandsOnInOrderWithOneWorker) {
    auto target = makeReference<FakeTarget>();
    auto processor = AsyncProcessor::create(target, 1);
    constexpr int Count = 2000;
    put(*processor, 0, Count);
    EXPECT_TRUE(processor->flush());
    EXPECT_EQ(target->values(), numbers(0, Count));
    EXPECT_EQ(processor->getQueuedCount(), 0u);
    put(*processor, Count, Count + 10);
    processor.reset();
    EXPECT_EQ(target->values(), numbers(0, Count + 10));
}

TEST(AsyncProcessor, WithoutWorkersTheDestructorHandsOn) {
    for (const int threadCount : {0, -1}) {
        auto target = makeReference<FakeTarget>();
        auto processor = AsyncProcessor::create(target, threadCount);
        put(*processor, 0, 100);
        EXPECT_EQ(processor->getWorkerCount(), 0);
        EXPECT_EQ(processor->getQueuedCount(), 100u);
        EXPECT_FALSE(processor->flush());
        EXPECT_EQ(target->calls, 0);
        processor.reset();
        EXPECT_EQ(target->values(), numbers(0, 100));
        EXPECT_EQ(target->GetRefCount(), 1u);
    }
}

TEST(AsyncProcessor, SeveralWorkersCallTheTargetAtOnce) {
    constexpr int Workers = 3;
    auto target = makeReference<FakeTarget>();
    target->gate.close();
    auto processor = AsyncProcessor::create(target, Workers);
    put(*processor, 0, Workers);
    await([&] { return target->calls == Workers; }); // hangs if they did not
    target->gate.open();
    EXPECT_TRUE(processor->flush());
    const auto values = target->values();
    EXPECT_EQ(std::set<std::string>(values.begin(), values.end()).size(), size_t{Workers});
}

TEST(AsyncProcessor, AThrowingTargetEndsAWorkerAndTheDrainGoesOn) {
    auto target = makeReference<FakeTarget>();
    target->failing = "all";
    auto processor = AsyncProcessor::create(target, 2);
    put(*processor, 0, 5);
    await([&] { return processor->getWorkerCount() == 0; });
    EXPECT_EQ(target->calls, 2);
    EXPECT_EQ(processor->getFailedCount(), 2u);
    EXPECT_EQ(processor->getQueuedCount(), 3u);
    EXPECT_FALSE(processor->flush());
    target->failing = "3";
    processor.reset();
    EXPECT_EQ(target->values(), (Values{"2", "4"}));
}

TEST(AsyncProcessor, TheOtherWorkersCarryOn) {
    auto target = makeReference<FakeTarget>();
    target->failing = "0";
    auto processor = AsyncProcessor::create(target, 2);
    put(*processor, 0, 50);
    EXPECT_TRUE(processor->flush());
    await([&] { return processor->getWorkerCount() == 1; });
    EXPECT_EQ(target->values(), numbers(1, 50));
}

TEST(AsyncProcessor, TheDestructorDoesNotWaitForATargetThatHangs) {
    auto target = makeReference<FakeTarget>();
    std::atomic<bool> destroyed{false};
    target->destroyed = &destroyed;
    auto processor = busyProcessor(*target);
    put(*processor, 1, 3);
    qxtest::BlockingThread destroyer([&] { processor.reset(); }); // hands on beside the worker
    await([&] { return target->calls == 2; });
    target->gate.open();
    destroyer.join();
    await([&] { return target->values().size() == 3; });
    target.reset();
    await([&] { return destroyed.load(); }); // by the worker, if that is the last
}

TEST(AsyncProcessor, TheTargetGoesWithTheProcessor) {
    std::atomic<bool> destroyed{false};
    auto target = makeReference<FakeTarget>();
    target->destroyed = &destroyed;
    auto processor = AsyncProcessor::create(target, 2);
    target.reset();
    put(*processor, 0, 10);
    processor.reset();
    EXPECT_TRUE(destroyed);
}

TEST(AsyncProcessor, FlushWaitsForWhatWasQueuedBeforeIt) {
    auto target = makeReference<FakeTarget>();
    auto processor = busyProcessor(*target);
    bool isFlushed = false;
    qxtest::BlockingThread flusher([&] { isFlushed = processor->flush(); });
    flusher.awaitBlocked();
    EXPECT_FALSE(flusher.isFinished());
    target->gate.open();
    flusher.join();
    EXPECT_TRUE(isFlushed);
    EXPECT_EQ(target->values(), numbers(0, 1));
}

/// Flushes the processor that it is the target of and logs to it.
class ReentrantTarget : public qx::pcom::Implements<Object, log::ILogProcessor> {
public:
    void process(const log::ILogEntry* entry) override {
        if (++calls > 2)
            return;
        isFlushed = processor->flush();
        processor->process(entry);
        processor->process(entry);
    }
    AsyncProcessor* processor = nullptr;
    std::atomic<int> calls{0};
    std::atomic<bool> isFlushed{true};
};

TEST(AsyncProcessor, ATargetMayLogAndDoesNotWaitForItself) {
    auto target = makeReference<ReentrantTarget>();
    AsyncOptions options;
    options.capacity = 1;
    auto processor = AsyncProcessor::create(target, 1, options);
    target->processor = processor;
    processor->process(numberEntry(1));
    await([&] { return target->calls == 5; });
    EXPECT_FALSE(target->isFlushed);
    EXPECT_TRUE(processor->flush());
}

TEST(AsyncProcessor, AFullQueueFollowsItsPolicy) {
    using Overflow = AsyncOptions::Overflow;
    const struct {
        Overflow overflow;
        Values expected;
    } cases[] = {
        {Overflow::DropNewest, {"0", "1", "2"}},
        {Overflow::DropOldest, {"0", "4", "5"}},
    };
    for (const auto& c : cases) {
        auto target = makeReference<FakeTarget>();
        AsyncOptions options;
        options.capacity = 2;
        options.overflow = c.overflow;
        auto processor = busyProcessor(*target, options);
        put(*processor, 1, 6);
        EXPECT_EQ(processor->getQueuedCount(), 2u);
        EXPECT_EQ(processor->getDroppedCount(), 3u);
        target->gate.open();
        EXPECT_TRUE(processor->flush());
        EXPECT_EQ(target->values(), c.expected);
    }
}

TEST(AsyncProcessor, AFullQueueBlocksUntilThereIsRoom) {
    auto target = makeReference<FakeTarget>();
    AsyncOptions options;
    options.capacity = 2;
    auto processor = busyProcessor(*target, options);
    qxtest::BlockingThread logger([&] { put(*processor, 1, 200); });
    logger.awaitBlocked();
    EXPECT_EQ(processor->getQueuedCount(), 2u);
    target->gate.open();
    logger.join();
    EXPECT_TRUE(processor->flush());
    EXPECT_EQ(target->values(), numbers(0, 200));
    EXPECT_EQ(processor->getDroppedCount(), 0u);
}

/// Keeps the longest queue that it has seen.
class QueueWatcher : public qx::pcom::Implements<Object, log::ILogProcessor> {
public:
    void process(const log::ILogEntry*) override {
        if (AsyncProcessor* const watched = processor)
            longest = std::max(longest, watched->getQueuedCount());
        ++calls;
    }
    std::atomic<AsyncProcessor*> processor{nullptr};
    uint64_t longest = 0;
    int calls = 0;
};

TEST(AsyncProcessor, ManyBlockedLoggersKeepTheBound) {
    constexpr int Threads = 8, Entries = 1000;
    auto target = makeReference<QueueWatcher>();
    AsyncOptions options;
    options.capacity = 2;
    auto processor = AsyncProcessor::create(target, 1, options);
    target->processor = processor;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < Threads; ++thread)
            threads.emplace_back([&] { put(*processor, 0, Entries); });
    }
    EXPECT_TRUE(processor->flush());
    target->processor = nullptr;
    EXPECT_EQ(target->calls, Threads * Entries);
    EXPECT_LE(target->longest, 2u);
}

TEST(AsyncProcessor, BlockedLoggersGetAnErrorWhenTheLastWorkerEnds) {
    auto target = makeReference<FakeTarget>();
    target->failing = "0";
    AsyncOptions options;
    options.capacity = 2;
    auto processor = busyProcessor(*target, options);
    put(*processor, 1, 3);
    qxtest::BlockingThread logger(
        [&] { EXPECT_THROW(processor->process(numberEntry(3)), IllegalStateException); });
    logger.awaitBlocked();
    target->gate.open();
    logger.join();
    processor.reset();
    EXPECT_EQ(target->values(), numbers(1, 3));
}

TEST(AsyncProcessor, RunsWhenEmptyBehindEntriesAtFlushAndAtTheEnd) {
    auto target = makeReference<FakeTarget>();
    std::atomic<size_t> seen{0};
    AsyncOptions options;
    options.whenEmpty = exec::makeRunnable([&] { seen = target->values().size(); });
    auto processor = AsyncProcessor::create(target, 1, options);
    put(*processor, 0, 3);
    await([&] { return seen == 3; });
    put(*processor, 3, 5);
    EXPECT_TRUE(processor->flush());
    EXPECT_EQ(seen, 5u);
    put(*processor, 5, 9);
    processor.reset();
    EXPECT_EQ(seen, 9u);
}

TEST(AsyncProcessor, AFailureOfWhenEmptyEndsTheWorker) {
    auto target = makeReference<FakeTarget>();
    AsyncOptions options;
    options.whenEmpty = exec::makeRunnable([] { throw IllegalStateException(u"disk full"); });
    auto processor = AsyncProcessor::create(target, 1, options);
    processor->process(numberEntry(0));
    await([&] { return processor->getWorkerCount() == 0; });
    EXPECT_THROW(processor->flush(), IllegalStateException);
}

TEST(AsyncProcessor, CarriesOnWhenItIsToldTo) {
    auto target = makeReference<FakeTarget>();
    target->failing = "all";
    AsyncOptions options;
    options.capacity = 2;
    options.failure = AsyncOptions::Failure::CarryOn;
    std::atomic<unsigned> runs{0};
    options.whenEmpty = exec::makeRunnable([&] {
        ++runs;
        throw IllegalStateException(u"disk full");
    });
    auto processor = AsyncProcessor::create(target, 1, options);
    put(*processor, 0, 500); // waits for room, which there is again and again
    await([&] { return processor->getQueuedCount() == 0; });
    EXPECT_THROW(processor->flush(), IllegalStateException);
    await([&] { return processor->getFailedCount() == 500u + runs; });
    EXPECT_EQ(processor->getWorkerCount(), 1);
    target->failing.clear();
    processor->process(numberEntry(1));
    EXPECT_THROW(processor->flush(), IllegalStateException);
    EXPECT_EQ(target->values(), numbers(1, 2));
}

TEST(AsyncProcessor, AForkedChildLeavesTheQueueToItsParent) {
    for (const int workers : {0, 1}) {
        std::atomic<bool> destroyed{false};
        auto target = makeReference<FakeTarget>();
        target->destroyed = &destroyed;
        AsyncOptions options;
        options.capacity = 3;
        target->gate.close();
        auto processor = AsyncProcessor::create(target, workers, options);
        put(*processor, 0, 3);
        await([&] { return target->calls == workers; });
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);
            bool isRight = !processor->flush() && processor->getQueuedCount() == 0 &&
                           processor->getWorkerCount() == 0;
            try {
                put(*processor, 3, 9);
                isRight = false;
            } catch (const IllegalStateException&) {
            }
            target->gate.open();
            const FakeTarget* const kept = target.get();
            target.reset();
            processor.reset();
            _exit(isRight && !destroyed && kept->calls == workers ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        target->gate.open();
        processor.reset();
        EXPECT_EQ(target->values(), numbers(0, 3));
    }
}

TEST(AsyncProcessor, RefusesNull) {
    expectThrowsResult(result::NullPointer, [] { AsyncProcessor::create(nullptr, 1); });
    auto processor = AsyncProcessor::create(makeReference<FakeTarget>(), 0);
    expectThrowsResult(result::NullPointer, [&] { processor->process(nullptr); });
    EXPECT_EQ(processor->getQueuedCount(), 0u);
}

} // namespace
