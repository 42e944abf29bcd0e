#include <limits>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/sync/Atomic.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Event.h>
#include <qx/sync/FakeAtomic.h>
#include <qx/sync/FakeMutex.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>
#include <qx/sync/TimedWait.h>

#include "tests/support/ExpectResult.h"

namespace {

namespace result = qx::result;
using namespace qx::sync;
using qxtest::expectThrowsResult;

template <class Lock>
bool isFreeForOthers(Lock& lock) {
    bool owned = false;
    std::jthread([&] { owned = std::unique_lock(lock, std::try_to_lock).owns_lock(); }).join();
    return owned;
}

TEST(SyncClasses, ThrowTheCodeOfAFailingCall) {
    constexpr unsigned int UnknownFlags = 0x10;
    expectThrowsResult(result::InvalidArgument, [] { Mutex("m", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { ReaderWriterLock("l", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Condition("c", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Event("e", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Gate("g", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Semaphore(0, "s", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Semaphore(0x80000000u); });
    Semaphore full(0x7FFFFFFF);
    expectThrowsResult(result::Overflow, [&full] { full.signal(); });
    EXPECT_EQ(full.getValue(), 0x7FFFFFFF);
}

TEST(LockClasses, ThrowWhenReleasedByAStrangerOrATimeRunsOutAndStayUsable) {
    Mutex mutex;
    ReaderWriterLock lock;
    Condition condition;
    expectThrowsResult(result::NotOwner, [&] { mutex.signal(); });
    expectThrowsResult(result::NotOwner, [&] { lock.signal(); });
    expectThrowsResult(result::NotOwner, [&] { lock.signalShared(); });
    for (int round = 0; round < 2; ++round) {
        expectThrowsResult(result::NotOwner, [&] { condition.release(); });
        expectThrowsResult(result::NotOwner, [&] { condition.wait(); });
        const Condition::Holder holder(condition);
        expectThrowsResult(result::TimedOut, [&] { condition.wait(1); });
        expectThrowsResult(result::TimedOut, [&] { condition.wait(0); });
        EXPECT_FALSE(isFreeForOthers(condition));
    }
    const std::scoped_lock all(mutex, lock, condition);
}

TEST(LockClasses, StandardGuardsHoldAndLetGo) {
    Mutex mutex;
    ReaderWriterLock lock;
    for (LockObject* each : std::initializer_list<LockObject*>{&mutex, &lock}) {
        {
            const std::lock_guard guard(*each);
            EXPECT_FALSE(isFreeForOthers(*each));
        }
        EXPECT_TRUE(isFreeForOthers(*each));
    }
    {
        const std::shared_lock reader(lock);
        EXPECT_FALSE(isFreeForOthers(lock));
        std::jthread([&lock] {
            EXPECT_TRUE(std::shared_lock(lock, std::try_to_lock).owns_lock());
        }).join();
    }
    EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(LockClasses, AreHeldTogetherInAnyOrder) {
    Mutex mutex;
    ReaderWriterLock lock;
    Condition condition;
    FakeMutex fake("label", 7);
    int count = 0;
    const auto increment = [&](auto& first, auto& second, auto& third) {
        for (int i = 0; i < 500; ++i) {
            const std::scoped_lock all(first, second, third, fake);
            EXPECT_TRUE(std::unique_lock(condition, std::try_to_lock)); // once more
            ++count;
        }
    };
    {
        std::jthread one([&] { increment(mutex, lock, condition); });
        std::jthread two([&] { increment(condition, lock, mutex); });
        std::jthread three([&] { increment(lock, condition, mutex); });
    }
    EXPECT_EQ(count, 1500);
    const std::lock_guard guard(fake); // which lets everybody in
    fake.wait();
    EXPECT_TRUE(fake.tryWait());
    EXPECT_TRUE(isFreeForOthers(fake));
}

TEST(TimedWait, MapsEveryKindOfResult) {
    EXPECT_TRUE(signalled(result::Ok));
    EXPECT_FALSE(signalled(result::TimedOut)); // negative, yet no failure
    EXPECT_FALSE(signalled(1));                // success other than "signalled"
    expectThrowsResult(result::Fail, [] { signalled(result::Fail); });
}

TEST(SignalClasses, RememberWhatCameBeforeTheWait) {
    Event event;
    event.signal();
    EXPECT_FALSE(event.tryWait()); // cannot be polled
    EXPECT_TRUE(event.wait(0));    // the poll has not taken it
    EXPECT_FALSE(event.wait(1));
    event.signal();
    event.wait();
    EXPECT_FALSE(event.wait(0));
    Gate gate;
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(gate.tryWait());
        EXPECT_FALSE(gate.wait(1));
        gate.open();
        EXPECT_TRUE(gate.tryWait());
        EXPECT_TRUE(gate.wait(0));
        gate.wait();
        gate.close();
    }
}

template <class T>
class Atomics : public testing::Test {};
using Kinds = testing::Types<Atomic, FakeAtomic>;
TYPED_TEST_SUITE(Atomics, Kinds);

TYPED_TEST(Atomics, CountAndWrapAround) {
    constexpr int32_t Most = std::numeric_limits<int32_t>::max();
    TypeParam number(Most);
    EXPECT_EQ(number.increment(), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(number.decrement(), Most);
    EXPECT_EQ(number.fetchAdd(Most), Most);
    EXPECT_EQ(number.exchange(5), -2);
    EXPECT_FALSE(number.compareExchange(4, 9));
    EXPECT_EQ(number.get(), 5);
    EXPECT_TRUE(number.compareExchange(5, 9));
    EXPECT_EQ(number.get(), 9);
    EXPECT_EQ(TypeParam().get(), 0);
}

TEST(Atomic, LosesNoChangeOfAnyThread) {
    constexpr int32_t Rounds = 20'000;
    Atomic sum, won;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int32_t round = 0; round < Rounds; ++round) {
                sum.fetchAdd(3);
                sum.decrement();
                if (won.compareExchange(round, round + 1))
                    sum.increment();
            }
        });
    }
    threads.clear();
    EXPECT_EQ(sum.get(), 4 * Rounds * 2 + won.get());
}

} // namespace
