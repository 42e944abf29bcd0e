#include <mutex>
#include <shared_mutex>
#include <thread>

#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Event.h>
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

TEST(LockClasses, ThrowWhenReleasedByAStrangerAndStayUsable) {
    Mutex mutex;
    ReaderWriterLock lock;
    Condition condition;
    expectThrowsResult(result::NotOwner, [&] { mutex.signal(); });
    expectThrowsResult(result::NotOwner, [&] { lock.signal(); });
    expectThrowsResult(result::NotOwner, [&] { lock.signalShared(); });
    expectThrowsResult(result::NotOwner, [&] { condition.release(); });
    expectThrowsResult(result::NotOwner, [&] { condition.wait(); });
    const std::scoped_lock all(mutex, lock);
    const std::lock_guard held(condition);
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

TEST(LockClasses, AFakeMutexLetsEverybodyIn) {
    FakeMutex fake("label", 7);
    const std::lock_guard guard(fake);
    fake.wait();
    EXPECT_TRUE(fake.tryWait());
    EXPECT_TRUE(isFreeForOthers(fake));
}

TEST(ConditionClass, ATimeOutThrowsWithTheLockTakenBack) {
    Condition condition;
    {
        const Condition::Holder holder(condition);
        expectThrowsResult(result::TimedOut, [&] { condition.wait(1); });
        expectThrowsResult(result::TimedOut, [&] { condition.wait(0); });
        std::jthread([&condition] {
            expectThrowsResult(result::NotOwner, [&] { condition.release(); });
        }).join();
        condition.signal(); // throws nothing: still the holder's
    }
    expectThrowsResult(result::NotOwner, [&] { condition.release(); });
}

TEST(TimedWait, MapsEveryKindOfResult) {
    EXPECT_TRUE(signalled(result::Ok));
    EXPECT_FALSE(signalled(result::TimedOut)); // negative, yet no failure
    EXPECT_FALSE(signalled(1));                // success other than "signalled"
    expectThrowsResult(result::Fail, [] { signalled(result::Fail); });
}

TEST(EventClass, CannotBePolledButRemembersASignal) {
    Event event;
    event.signal();
    EXPECT_FALSE(event.tryWait());
    EXPECT_TRUE(event.wait(0)); // the poll has not taken it
    EXPECT_FALSE(event.wait(1));
    event.signal();
    event.wait();
    EXPECT_FALSE(event.wait(0));
}

TEST(GateClass, IsPassedWhileItIsOpen) {
    Gate gate;
    EXPECT_FALSE(gate.tryWait());
    EXPECT_FALSE(gate.wait(1));
    gate.open();
    EXPECT_TRUE(gate.tryWait());
    EXPECT_TRUE(gate.wait(0));
    gate.wait();
    gate.close();
    EXPECT_FALSE(gate.tryWait());
}

} // namespace
