#include <algorithm>
#include <set>
#include <thread>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Sanitized.h"

namespace {

using namespace qx;
using namespace qxtest;
using log::AsyncOptions;
using log::AsyncProcessor;
using Values = std::vector<std::string>;

Values numbers(int begin, int end) {
    Values values;
    for (int number = begin; number < end; ++number)
        values.push_back(std::to_string(number));
    return values;
}

void await(auto condition) {
    while (!condition())
        exec::Thread::sleep(1);
}

struct Async : testing::Test {
    Async() { target->destroyed = &destroyed; }

    void start(int workers) { processor = AsyncProcessor::create(target, workers, options); }
    /// Has a worker that is in the middle of entry 0.
    void startBusy() {
        target->gate.close();
        start(1);
        put(0, 1);
        await([&] { return target->calls == 1; });
    }
    void put(int begin, int end) {
        for (int number = begin; number < end; ++number)
            processor->process(numberEntry(number));
    }

    std::atomic<bool> destroyed{false}; // the target, which sees this go last
    Reference<FakeTarget> target{new FakeTarget};
    AsyncOptions options;
    Reference<AsyncProcessor> processor;
};

TEST_F(Async, SeveralWorkersCallTheTargetAtOnceAndCarryOnWithoutOneThatItsFailureEnds) {
    constexpr int Workers = 3;
    target->gate.close();
    target->failing = "0";
    start(Workers);
    put(0, Workers);
    await([&] { return target->calls == Workers; }); // hangs if they did not
    target->gate.open();
    await([&] { return processor->getWorkerCount() == Workers - 1; });
    put(Workers, 50);
    await([&] { return target->calls == 50; }); // without being asked to
    EXPECT_TRUE(processor->flush());
    auto values = target->values();
    std::ranges::sort(values, {}, [](const auto& value) { return std::stoi(value); });
    EXPECT_EQ(values, numbers(1, 50));
}

TEST_F(Async, TheDestructorDoesNotWaitForATargetThatHangs) {
    startBusy();
    put(1, 3);
    BlockingThread destroyer([&] { processor.reset(); }); // hands on beside the worker
    await([&] { return target->calls == 2; });
    target->gate.open();
    destroyer.join();
    await([&] { return target->values().size() == 3; });
    target.reset();
    await([&] { return destroyed.load(); }); // by the worker, if that is the last
}

TEST_F(Async, ATargetMayLogAndDoesNotWaitForItself) {
    std::atomic<int> calls{0};
    std::atomic<bool> isFlushed{true};
    const auto reenter = [&](const log::ILogEntry* entry) {
        if (++calls > 2)
            return;
        isFlushed = processor->flush();
        processor->process(entry);
        processor->process(entry);
    };
    options.capacity = 1;
    processor = AsyncProcessor::create(new Doing(reenter), 1, options);
    put(1, 2);
    await([&] { return calls == 5; });
    EXPECT_FALSE(isFlushed);
    EXPECT_TRUE(processor->flush());
    processor.reset(); // while what it calls is there
}

TEST_F(Async, AFullQueueDropsWhatItsPolicySays) {
    using Overflow = AsyncOptions::Overflow;
    const std::pair<Overflow, Values> cases[] = {{Overflow::DropNewest, {"0", "1", "2"}},
                                                 {Overflow::DropOldest, {"0", "4", "5"}}};
    for (const auto& [overflow, expected] : cases) {
        target = new FakeTarget;
        options.capacity = 2;
        options.overflow = overflow;
        startBusy();
        put(1, 6);
        EXPECT_EQ(processor->getQueuedCount(), 2u);
        EXPECT_EQ(processor->getDroppedCount(), 3u);
        target->gate.open();
        EXPECT_TRUE(processor->flush());
        EXPECT_EQ(target->values(), expected);
    }
}

TEST_F(Async, BlockedLoggersGetAnErrorWhenTheLastWorkerEnds) {
    target->failing = "0";
    options.capacity = 2;
    startBusy();
    put(1, 3);
    BlockingThread logger([&] { EXPECT_THROW(put(3, 4), IllegalStateException); });
    logger.awaitBlocked();
    target->gate.open();
    logger.join();
    EXPECT_EQ(processor->getWorkerCount(), 0);
    EXPECT_EQ(processor->getFailedCount(), 1u);
    EXPECT_EQ(processor->getQueuedCount(), 2u);
    EXPECT_FALSE(processor->flush());
    target->failing = "1";
    processor.reset(); // hands on, also behind a failure
    EXPECT_EQ(target->values(), numbers(2, 3));
}

TEST_F(Async, RunsWhenEmptyBehindEntriesAtFlushAndAtTheEndUntilItFails) {
    std::atomic<size_t> seen{0};
    options.whenEmpty = exec::makeRunnable([&] { seen = target->values().size(); });
    start(1);
    put(0, 3);
    await([&] { return seen == 3; });
    put(3, 5);
    EXPECT_TRUE(processor->flush());
    EXPECT_EQ(seen, 5u);
    put(5, 9);
    processor.reset();
    EXPECT_EQ(seen, 9u);
    options.whenEmpty = exec::makeRunnable([] { throw ResultException(result::DiskFull); });
    start(1);
    put(0, 1);
    await([&] { return processor->getWorkerCount() == 0; });
    EXPECT_EQ(processor->getFailedCount(), 2u) << "tried by the worker, and again when it ended";
    EXPECT_EQ(processor->getFirstFailure(), result::DiskFull);
    EXPECT_EQ(failureOf([&] { processor->flush(); }), result::DiskFull);
}

TEST_F(Async, CarriesOnWhenItIsToldTo) {
    target->failing = "all";
    options.capacity = 2;
    options.failure = AsyncOptions::Failure::CarryOn;
    std::atomic<unsigned> runs{0};
    options.whenEmpty = exec::makeRunnable([&] {
        ++runs;
        throw IllegalStateException(u"disk full");
    });
    start(1);
    put(0, 500); // waits for room, which there is again and again
    await([&] { return processor->getQueuedCount() == 0; });
    EXPECT_THROW(processor->flush(), IllegalStateException);
    await([&] { return processor->getFailedCount() == 500u + runs; });
    EXPECT_EQ(processor->getWorkerCount(), 1);
    target->failing = "none";
    put(1, 2);
    EXPECT_THROW(processor->flush(), IllegalStateException);
    EXPECT_EQ(target->values(), numbers(1, 2));
    processor.reset(); // while what it runs is there
}

TEST_F(Async, AForkedChildLeavesTheQueueToItsParent) {
    options.capacity = 2;
    startBusy();
    put(1, 3);
    EXPECT_TRUE(holdsInFork([&] {
        const bool isLeft = !processor->flush() && processor->getQueuedCount() == 0 &&
                            processor->getWorkerCount() == 0 && failureOf([&] { put(3, 9); }) != 0;
        target->gate.open();
        const FakeTarget* const kept = target.get();
        target.reset();
        processor.reset();
        return isLeft && !destroyed && kept->calls == 1;
    }));
    target->gate.open();
    EXPECT_TRUE(processor->flush());
    EXPECT_EQ(target->values(), numbers(0, 3));
}

// Texts of any length, in more than one piece of the queue's memory, and entries in between.
// Without workers the destructor hands on.
TEST_F(Async, HandsOnWhatALoggerSaysInEntriesThatMayBeKept) {
    constexpr int Count = 3000;
    const auto textOf = [](int i) { return std::string(static_cast<size_t>(i * 37 % 1100), 'x'); };
    for (const int workers : {-1, 0, 1}) {
        const auto keeper = makeReference<Recorder>();
        processor = AsyncProcessor::create(keeper, workers);
        auto logger = loggerTo(processor, String(u"n\u00E9"));
        logger->enableField(String(u"sequence"), true);
        for (int i = 0; i < Count; ++i) {
            if (i % 5 == 0)
                put(i, i + 1);
            else
                logger->log(i, String::fromUtf8(textOf(i)));
        }
        logger.reset();
        EXPECT_EQ(processor->flush(), workers > 0);
        EXPECT_EQ(processor->getQueuedCount(), workers > 0 ? 0u : unsigned{Count});
        EXPECT_EQ(processor->getWorkerCount(), std::max(workers, 0));
        EXPECT_EQ(keeper->entries.empty(), workers <= 0);
        processor.reset();
        EXPECT_EQ(keeper->GetRefCount(), 1u) << "the target is let go";
        ASSERT_EQ(keeper->entries.size(), size_t{Count});
        for (int i = 0; i < Count; ++i) {
            FieldMap expected{{"level", std::to_string(i)}};
            if (i % 5 != 0)
                expected.insert({{"name", "n\u00E9"},
                                 {"sequence", std::to_string(i - i / 5 - 1)},
                                 {"text", textOf(i)}});
            ASSERT_EQ(fieldMapOf(*keeper->entries[static_cast<size_t>(i)]), expected);
        }
    }
}

TEST_F(Async, ShutdownWhileLoggersRunLosesNothing) {
    for (int round = 0; round < (Sanitized ? 200 : 1'000); ++round) {
        constexpr int Threads = 2;
        const int entries = round % 40;
        target = new FakeTarget;
        {
            std::vector<std::jthread> threads;
            start(round % 3);
            for (int thread = 0; thread < Threads; ++thread)
                threads.emplace_back([logger = loggerTo(processor), entries]() mutable {
                    for (int entry = 0; entry < entries; ++entry)
                        logger->log(entry, String());
                    logger.reset();
                });
            processor.reset(); // from here on the loggers have the last references
        }
        ASSERT_EQ(target->calls, Threads * entries) << "round " << round;
    }
}

TEST_F(Async, EveryEntryOfManyThreadsArrivesOnceAndInOrderWithOneWorker) {
    constexpr int Threads = 16, Entries = Sanitized ? 1'000 : 5'000;
    const std::pair<int, uint32_t> workersAndCapacities[] = {{1, 0}, {4, 0}, {1, 2}};
    for (const auto& [workers, capacity] : workersAndCapacities) {
        const int entries = capacity == 0 ? Entries : 500;
        target = new FakeTarget;
        options.capacity = capacity;
        start(workers);
        std::atomic<uint64_t> longest{0};
        inThreads(Threads, [&](int thread) {
            for (int entry = 0; entry < entries; ++entry) {
                put(thread * entries + entry, thread * entries + entry + 1);
                longest = std::max(longest.load(), processor->getQueuedCount());
            }
        });
        EXPECT_TRUE(processor->flush());
        EXPECT_EQ(processor->getQueuedCount() + processor->getDroppedCount(), 0u);
        std::vector<int> next(Threads);
        std::set<std::string> seen;
        for (const auto& value : target->values()) {
            EXPECT_TRUE(seen.insert(value).second) << value << " came twice";
            const int number = std::stoi(value);
            int& expected = next[static_cast<size_t>(number / entries)];
            EXPECT_TRUE(workers > 1 || number % entries == expected++) << "out of order";
        }
        EXPECT_EQ(seen.size(), size_t{Threads} * static_cast<size_t>(entries));
        EXPECT_TRUE(capacity == 0 || longest <= capacity);
    }
}

} // namespace
