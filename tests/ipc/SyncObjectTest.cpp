// What single locks and signals of qx/platform/sync.h promise beside what all ways to share them
// have in common.

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "tests/ipc/Party.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/Sanitized.h"

using namespace qx;
using namespace qxtest;

namespace {

int32_t readValue(QXHandle semaphore) {
    int32_t value;
    return QXSemaphoreGetValue(semaphore, &value);
}

/// A kind of lock or signal.
const struct Family {
    const ObjectKind& kind;
    std::vector<Call> uncontended; // one after the other
} Families[] = {
    {Mutexes,
     {QXMutexAcquire, QXMutexTryAcquire, QXSyncAcquiredFromDead, QXMutexRelease, QXMutexRelease}},
    {Conditions,
     {QXConditionAcquire, QXConditionTryAcquire, QXConditionSignal, QXConditionBroadcast,
      QXConditionRelease, QXConditionRelease}},
    {Events, {QXEventSignal, QXEventSignal, QXEventWait, QXEventSignal, {QXEventTimedWait, 1000}}},
    {Gates, {QXGateOpen, QXGateWait, QXGateTryWait, {QXGateTimedWait, 1000}, QXGateClose}},
    {Signals, {QXSemaphorePost, QXSemaphoreWait, QXSemaphorePost, QXSemaphoreTryWait, readValue}},
    {RWLocks,
     {QXRWLockAcquireRead, QXRWLockTryAcquireRead, QXRWLockReleaseRead, QXRWLockReleaseRead,
      QXRWLockAcquireWrite, QXRWLockReleaseWrite, QXRWLockTryAcquireWrite, QXRWLockReleaseWrite}},
};

TEST(SyncObject, RefusesBadArgumentsAndTakesAnyNameForALabel) {
    for (const auto& [kind, uncontended] : Families) {
        SCOPED_TRACE(kind.name);
        QXHandle handle = 0;
        EXPECT_EQ(kind.create("x", QX_SYNC_SHARED, nullptr), result::NullPointer);
        expectEach(result::InvalidArgument,
                   {kind.create("name", 2, &handle), kind.create("name", 3, &handle),
                    kind.create("name", 0x80000000u, &handle),
                    kind.create(nullptr, QX_SYNC_SHARED, &handle),
                    kind.create("", QX_SYNC_SHARED, &handle)});
        EXPECT_EQ(handle, ~QXHandle{0});
        for (const QXHandle none : {QXHandle{0}, ~QXHandle{0}}) {
            EXPECT_EQ(kind.destroy(none), result::InvalidHandle);
            for (const Call& call : uncontended)
                EXPECT_EQ(call(none), result::InvalidHandle);
            expectEach(result::InvalidHandle,
                       {QXConditionWait(none), QXConditionTimedWait(none, 1000)});
        }
        QXHandle other = 0;
        for (QXHandle* const each : {&handle, &other})
            ASSERT_EQ(kind.create("only a label", 0, each), result::Ok);
        EXPECT_NE(handle, other);
        expectEach(result::Ok, {kind.destroy(handle), kind.destroy(other)});
    }
    QXHandle handle = 0;
    EXPECT_EQ(QXSemaphoreCreate(0x80000000u, uniqueName("big").c_str(), QX_SYNC_SHARED, &handle),
              result::InvalidArgument);
}

// In strict mode the kernel kills the process at any call but read, write and exit.
QX_TEST_IN_CHILD(SyncObject, UncontendedOperationsMakeNoSystemCall) {
    if (ThreadSanitized)
        GTEST_SKIP() << "the thread sanitizer makes calls of its own";
    QXHandle handles[std::size(Families)];
    int32_t failed = 0;
    for (size_t i = 0; i < std::size(Families); ++i)
        failed |= Families[i].kind.create(nullptr, 0, &handles[i]);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT), 0);
    for (const Family& family : Families) {
        for (const Call& call : family.uncontended)
            failed |= call(handles[&family - Families]);
    }
    syscall(SYS_exit, failed == 0 ? 0 : 1);
}

// The thread that a signal lets go is free to destroy the object at once, while the signaller has
// not yet returned. The address sanitizer sees it when that touches the object again.
TEST(SyncObject, AReleasedWaiterMayDestroyIt) {
    for (const ObjectKind& kind : {Events, Gates, Signals}) {
        for (int round = 0; round < 300; ++round) {
            QXHandle handle = 0;
            ASSERT_EQ(kind.create(nullptr, 0, &handle), result::Ok);
            const std::jthread signaller(kind.release, handle);
            expectEach(result::Ok, {kind.hold(handle), kind.destroy(handle)});
        }
    }
}

TEST(SyncObject, WhatIsOfAnotherKindIsRefused) {
    const std::string name = uniqueName("kind");
    Party other(Way::BetweenProcesses, Mutexes, name);
    EXPECT_EQ(other(QXMutexAcquire), result::Ok);
    QXHandle handle = 0;
    EXPECT_EQ(RWLocks.create(name.c_str(), QX_SYNC_SHARED, &handle), result::InvalidHandle)
        << "known from its file alone";
    ASSERT_EQ(QXMutexCreate(name.c_str(), QX_SYNC_SHARED, &handle), result::Ok)
        << "the refusal took nothing away";
    QXHandle event = 0;
    expectEach(result::InvalidHandle, {Events.create(name.c_str(), QX_SYNC_SHARED, &event),
                                       QXEventSignal(handle), QXGateDestroy(handle)});
    EXPECT_EQ(other(QXMutexRelease), result::Ok);
    other.quit();
    EXPECT_EQ(QXMutexAcquire(handle), result::Ok); // still there
    EXPECT_EQ(QXMutexDestroy(handle), result::Ok);
}

const struct Lock {
    const ObjectKind& kind; // whose holder writes
    Operation tryWrite, read, tryRead, endRead;
} Locks[] = {
    {Mutexes, QXMutexTryAcquire, QXMutexAcquire, QXMutexTryAcquire, QXMutexRelease},
    {Conditions, QXConditionTryAcquire, QXConditionAcquire, QXConditionTryAcquire,
     QXConditionRelease},
    {RWLocks, QXRWLockTryAcquireWrite, QXRWLockAcquireRead, QXRWLockTryAcquireRead,
     QXRWLockReleaseRead},
};

// The next thread has the stack, the control block and perhaps the number of the one that ended.
TEST(SyncObject, AnEndedThreadLeavesItsLockToNobody) {
    for (const Lock& each : Locks) {
        const MadeObject lock(each.kind, 0);
        std::thread(each.kind.hold, lock.handle).join();
        std::thread([&] { EXPECT_EQ(each.kind.release(lock.handle), result::NotOwner); }).join();
        std::thread([&] { EXPECT_EQ(each.tryWrite(lock.handle), result::Busy); }).join();
    }
}

/// Locks and signals that several threads want at once; runs with the flags of the objects.
class UnderContention : public testing::TestWithParam<uint32_t> {};

TEST_P(UnderContention, WhoWritesIsAlone) {
    constexpr int Threads = 4, Rounds = 10'000;
    for (const Lock& lock : Locks) {
        const MadeObject object(lock.kind, GetParam());
        // Plain, as the sanitizer watches them, and equal whenever no writer is inside.
        int64_t first = 0, second = 0;
        inThreads(Threads, [&](int thread) {
            for (int i = 0; i < Rounds; ++i) {
                const bool writes = (i + thread) % 3 == 0;
                // Sometimes by trying again and again.
                const Operation take = i % 5 == 0 ? writes ? lock.tryWrite : lock.tryRead
                                       : writes   ? lock.kind.hold
                                                  : lock.read;
                while (take(object.handle) < 0)
                    std::this_thread::yield();
                EXPECT_EQ(first, second);
                if (writes) {
                    ++first;
                    ++second;
                }
                (writes ? lock.kind.release : lock.endRead)(object.handle);
            }
        });
        EXPECT_EQ(first, (int64_t{Threads} * Rounds + 2) / 3);
    }
}

TEST_P(UnderContention, ATimeOutLosesNoSignalOfAnEvent) {
    // Each signal is answered through the other event, so that none may be dropped although the
    // waits run out all the time.
    constexpr int Rounds = 2'000;
    const MadeObject one(Events, GetParam()), two(Events, GetParam());
    const QXHandle events[] = {one.handle, two.handle};
    int shared = 0; // plain: handed over by the signals
    EXPECT_EQ(QXEventSignal(events[0]), result::Ok);
    inThreads(2, [&](int side) {
        for (int i = 0; i < Rounds; ++i) {
            while (QXEventTimedWait(events[side], static_cast<uint32_t>(i % 2)) != result::Ok) {
            }
            EXPECT_EQ(shared++, 2 * i + side);
            EXPECT_EQ(QXEventSignal(events[1 - side]), result::Ok);
        }
    });
    EXPECT_EQ(shared, 2 * Rounds);
}

TEST_P(UnderContention, NoUnitOfASemaphoreIsLostOrMade) {
    constexpr int Producers = 2, Consumers = 3; // uneven, so that some sleep while others take
    constexpr int Units = 6'000;
    const MadeObject object(Signals, GetParam());
    const QXHandle semaphore = object.handle;
    std::atomic<int> posted{0}, taken{0};
    inThreads(Producers + Consumers, [&](int thread) {
        const bool takes = thread < Consumers;
        for (int i = 0; i < Units / (takes ? Consumers : Producers); ++i) {
            posted += !takes;
            while (takes && i % 3 == 0 && QXSemaphoreTimedWait(semaphore, 1) != result::Ok) {
            }
            if (!takes || i % 3 != 0) {
                EXPECT_EQ((takes ? QXSemaphoreWait : QXSemaphorePost)(semaphore), result::Ok);
            }
            const int takenNow = taken += takes;
            EXPECT_LE(takenNow, posted);
            if (!takes && i % 16 == 0)
                std::this_thread::yield();
        }
    });
    EXPECT_EQ(QXSemaphoreGetValue(semaphore, nullptr), result::NullPointer);
    EXPECT_EQ(QXSemaphoreTryWait(semaphore), result::Busy) << "no unit is left";
    EXPECT_EQ(taken, Units);
}

TEST_P(UnderContention, SignalsAndTimeOutsOfAConditionThatMeetAddUp) {
    constexpr int Waiters = 3, Signals = 1'000;
    const MadeObject object(Conditions, GetParam());
    const QXHandle condition = object.handle;
    // All guarded by the condition. A wait that has begun and was not signalled yet can take a
    // signal, also while its time is just running out.
    int unsignalled = 0, given = 0, received = 0;
    inThreads(Waiters + 1, [&](int thread) {
        EXPECT_EQ(QXConditionAcquire(condition), result::Ok);
        while (given < Signals) {
            if (thread < Waiters) {
                ++unsignalled;
                const auto time = static_cast<uint32_t>(thread % 2);
                if (QXConditionTimedWait(condition, time) == result::Ok)
                    ++received;
                else
                    --unsignalled;
                continue;
            }
            if (unsignalled > 0) {
                EXPECT_EQ(QXConditionSignal(condition), result::Ok);
                --unsignalled;
                ++given;
            }
            EXPECT_EQ(QXConditionRelease(condition), result::Ok);
            std::this_thread::yield();
            EXPECT_EQ(QXConditionAcquire(condition), result::Ok);
        }
        EXPECT_EQ(QXConditionRelease(condition), result::Ok);
    });
    EXPECT_EQ(received, Signals);
}

INSTANTIATE_TEST_SUITE_P(Flags, UnderContention, testing::Values(0u, QX_SYNC_SHARED));

} // namespace
