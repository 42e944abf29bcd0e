#include <mutex>
#include <shared_mutex>
#include <thread>

#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/sync/Condition.h>
#include <qx/sync/FakeMutex.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>

#include "tests/support/ExpectResult.h"

namespace {

namespace result = qx::result;
using qx::sync::Condition;
using qx::sync::FakeMutex;
using qx::sync::LockObject;
using qx::sync::Mutex;
using qx::sync::ReaderWriterLock;
using qxtest::expectThrowsResult;

template <class Lock>
bool isFreeForOthers(Lock& lock) {
    bool owned = false;
    std::jthread([&] { owned = std::unique_lock(lock, std::try_to_lock).owns_lock(); }).join();
    return owned;
}

TEST(LockClasses, ThrowTheCodeOfAFailingCreateCall) {
    constexpr unsigned int UnknownFlags = 0x10;
    expectThrowsResult(result::InvalidArgument, [] { Mutex("m", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { ReaderWriterLock("l", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Condition("c", UnknownFlags); });
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

} // namespace
