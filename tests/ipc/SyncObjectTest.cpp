// What is special to single locks and signals of qx/platform/sync.h.

#include <cerrno>

#include "tests/ipc/Party.h"
#include "tests/support/SignalStorm.h"

using namespace qx;
using namespace qxtest;

TEST(SyncObject, CreationRefusesWhatItCannotServe) {
    QXHandle handle = 0;
    EXPECT_EQ(QXMutexCreate(nullptr, QX_SYNC_SHARED, &handle), result::InvalidArgument);
    EXPECT_EQ(handle, UINT64_MAX);
    EXPECT_EQ(QXMutexCreate("", QX_SYNC_SHARED, &handle), result::InvalidArgument);
    EXPECT_EQ(QXMutexCreate("x", QX_SYNC_SHARED, nullptr), result::NullPointer);
    EXPECT_EQ(QXSemaphoreCreate(0x80000000u, uniqueName("big").c_str(), QX_SYNC_SHARED, &handle),
              result::InvalidArgument);
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
    EXPECT_EQ(Events.create(name.c_str(), QX_SYNC_SHARED, &event), result::InvalidHandle);
    EXPECT_EQ(QXEventSignal(handle), result::InvalidHandle);
    EXPECT_EQ(QXGateDestroy(handle), result::InvalidHandle);
    EXPECT_EQ(other(QXMutexRelease), result::Ok);
    other.quit();
    EXPECT_EQ(QXMutexAcquire(handle), result::Ok); // still there
    EXPECT_EQ(QXMutexDestroy(handle), result::Ok);
}

// The next thread has the stack, the control block and perhaps the number of the one that ended.
TEST(SyncObject, AnEndedThreadLeavesItsLockToNobody) {
    const std::pair<const ObjectKind&, Operation> locks[] = {{Mutexes, QXMutexTryAcquire},
                                                             {Conditions, QXConditionTryAcquire},
                                                             {RWLocks, QXRWLockTryAcquireWrite}};
    for (const auto& [kind, tryAcquire] : locks) {
        const MadeObject lock(kind, 0);
        std::thread(kind.hold, lock.handle).join();
        for (const auto& [call, code] :
             {std::pair(kind.release, result::NotOwner), std::pair(tryAcquire, result::Busy)}) {
            int32_t got = 0;
            std::thread([&, &call = call] { got = call(lock.handle); }).join();
            EXPECT_EQ(got, code) << kind.name;
        }
    }
}

TEST(SyncObject, ATimedWaitLastsItsTime) {
    const std::pair<const ObjectKind&, TimedOperation> rows[] = {
        {Events, QXEventTimedWait}, {Gates, QXGateTimedWait}, {Conditions, QXConditionTimedWait}};
    for (const auto& [kind, wait] : rows) {
        for (const uint32_t flags : {0u, QX_SYNC_SHARED}) {
            SCOPED_TRACE(testing::Message() << kind.name << ' ' << flags);
            const MadeObject object(kind, flags);
            if (&kind == &Conditions) {
                ASSERT_EQ(QXConditionAcquire(object.handle), result::Ok);
            }
            for (const uint32_t milliseconds : {0u, 1u, 30u, 301u}) {
                const auto start = Clock::now();
                errno = ENOENT;
                EXPECT_EQ(wait(object.handle, milliseconds), result::TimedOut);
                EXPECT_EQ(errno, ENOENT); // the native error is that of the caller's own last call
                EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(milliseconds));
            }
        }
    }
}

TEST(SyncObject, SignalsToAThreadNeverEndItsWait) {
    const SignalStorm storm;
    const Operation nothing = [](QXHandle) { return result::Ok; };
    const struct {
        const ObjectKind& kind;
        Operation prepare;
        Call wait;
        Operation end;
    } rows[] = {
        {Mutexes, QXMutexAcquire, QXMutexAcquire, QXMutexRelease},
        {RWLocks, QXRWLockAcquireWrite, QXRWLockAcquireRead, QXRWLockReleaseWrite},
        {RWLocks, QXRWLockAcquireRead, QXRWLockAcquireWrite, QXRWLockReleaseRead},
        {Events, nothing, QXEventWait, QXEventSignal},
        {Events, nothing, {QXEventTimedWait, 100'000}, QXEventSignal},
        {Gates, nothing, QXGateWait, QXGateOpen},
        {Gates, nothing, {QXGateTimedWait, 100'000}, QXGateOpen},
        {Signals, nothing, QXSemaphoreWait, QXSemaphorePost},
        {Conditions, nothing,
         +[](QXHandle h) { return QXConditionAcquire(h) + QXConditionTimedWait(h, 100'000); },
         QXConditionBroadcast},
    };
    for (const auto& row : rows) {
        for (const uint32_t flags : {0u, QX_SYNC_SHARED}) {
            SCOPED_TRACE(testing::Message() << &row - rows << ' ' << flags);
            const MadeObject object(row.kind, flags);
            EXPECT_EQ(row.prepare(object.handle), result::Ok);
            BlockingThread waiter([&] { EXPECT_EQ(row.wait(object.handle), result::Ok); });
            waiter.awaitBlocked();
            std::this_thread::sleep_for(std::chrono::milliseconds(6));
            EXPECT_FALSE(waiter.isFinished());
            EXPECT_EQ(row.end(object.handle), result::Ok);
            waiter.join();
        }
    }
}
