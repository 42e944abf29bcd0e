// What locks promise, whoever the others are: mutexes, reader-writer locks, conditions.

#include "tests/ipc/Party.h"

using namespace qx;
using namespace qxtest;

QX_CONTRACT(LockContract);

TEST_P(LockContract, AMutexIsHeldUntilReleasedAsOftenAsAcquired) {
    const QXHandle mutex = create(Mutexes);
    const auto other = party();
    EXPECT_EQ(QXMutexRelease(mutex), result::NotOwner);
    EXPECT_EQ(QXMutexAcquire(mutex), result::Ok);
    EXPECT_EQ(QXMutexAcquire(mutex), result::Ok);
    EXPECT_EQ(QXMutexTryAcquire(mutex), result::Ok);
    for (int depth = 3; depth > 0; --depth) {
        EXPECT_EQ((*other)(QXMutexTryAcquire), result::Busy) << depth;
        EXPECT_EQ((*other)(QXMutexRelease), result::NotOwner);
        EXPECT_EQ(QXMutexRelease(mutex), result::Ok);
    }
    EXPECT_EQ(QXMutexRelease(mutex), result::NotOwner);
    EXPECT_EQ((*other)(QXMutexTryAcquire), result::Ok);
    EXPECT_EQ(QXMutexTryAcquire(mutex), result::Busy);
    EXPECT_EQ((*other)(QXMutexRelease), result::Ok);
}

TEST_P(LockContract, AMutexGoesToThoseWhoSleep) {
    const QXHandle mutex = create(Mutexes);
    const std::unique_ptr<Party> others[] = {party(), party()};
    EXPECT_EQ(QXMutexAcquire(mutex), result::Ok);
    for (const auto& other : others) {
        other->start(QXMutexAcquire);
        other->awaitBlocked();
        EXPECT_FALSE(other->isDone());
    }
    EXPECT_EQ(QXMutexRelease(mutex), result::Ok);
    EXPECT_TRUE(eventually([&] { return others[0]->isDone() || others[1]->isDone(); }));
    const bool first = others[0]->isDone();
    EXPECT_FALSE(others[first]->isDone());
    EXPECT_EQ((*others[!first])(QXMutexRelease), result::Ok);
    EXPECT_EQ(others[first]->finish(), result::Ok);
    EXPECT_EQ((*others[first])(QXMutexRelease), result::Ok);
}

TEST_P(LockContract, AReaderWriterLockAdmitsReadersTogetherAndWritersAlone) {
    const QXHandle lock = create(RWLocks);
    const auto other = party();
    EXPECT_EQ(QXRWLockAcquireRead(lock), result::Ok);
    EXPECT_EQ((*other)(QXRWLockTryAcquireRead), result::Ok);
    EXPECT_EQ((*other)(QXRWLockReleaseRead), result::Ok);
    EXPECT_EQ((*other)(QXRWLockTryAcquireWrite), result::Busy);
    EXPECT_EQ(QXRWLockReleaseWrite(lock), result::NotOwner);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::Ok);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::NotOwner);

    EXPECT_EQ(QXRWLockAcquireWrite(lock), result::Ok);
    EXPECT_EQ((*other)(QXRWLockTryAcquireRead), result::Busy);
    EXPECT_EQ((*other)(QXRWLockTryAcquireWrite), result::Busy);
    EXPECT_EQ((*other)(QXRWLockReleaseWrite), result::NotOwner);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::NotOwner);
    EXPECT_EQ(QXRWLockAcquireWrite(lock), result::Deadlock); // would wait for itself
    EXPECT_EQ(QXRWLockAcquireRead(lock), result::Deadlock);
    EXPECT_EQ(QXRWLockReleaseWrite(lock), result::Ok);
    EXPECT_EQ((*other)(QXRWLockTryAcquireWrite), result::Ok); // nothing was left behind
    EXPECT_EQ((*other)(QXRWLockReleaseWrite), result::Ok);
    EXPECT_EQ(QXRWLockReleaseWrite(lock), result::NotOwner);
}

TEST_P(LockContract, WritersAndReadersThatWaitTakeTurns) {
    const QXHandle lock = create(RWLocks);
    const std::unique_ptr<Party> writers[] = {party(), party()}, readers[] = {party(), party()};
    ASSERT_EQ(QXRWLockAcquireRead(lock), result::Ok);
    writers[0]->start(QXRWLockAcquireWrite);
    writers[0]->awaitBlocked();
    EXPECT_EQ(QXRWLockTryAcquireRead(lock), result::Busy); // a waiting writer keeps readers out
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::Ok);
    EXPECT_EQ(writers[0]->finish(), result::Ok);
    writers[1]->start(QXRWLockAcquireWrite);
    writers[1]->awaitBlocked();
    for (const auto& reader : readers) {
        reader->start(QXRWLockAcquireRead);
        reader->awaitBlocked();
    }
    EXPECT_EQ((*writers[0])(QXRWLockReleaseWrite), result::Ok);
    for (const auto& reader : readers) // all, before the next writer
        EXPECT_EQ(reader->finish(), result::Ok);
    for (const auto& reader : readers) {
        EXPECT_FALSE(writers[1]->isDone());
        EXPECT_EQ((*reader)(QXRWLockReleaseRead), result::Ok);
    }
    EXPECT_EQ(writers[1]->finish(), result::Ok);
    EXPECT_EQ((*writers[1])(QXRWLockReleaseWrite), result::Ok);
    EXPECT_EQ(QXRWLockTryAcquireRead(lock), result::Ok);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::Ok);
}

TEST_P(LockContract, AConditionIsWaitedForAndReleasedByItsHolderOnly) {
    const QXHandle condition = create(Conditions);
    const auto other = party();
    for (int round = 0; round < 2; ++round) { // free, then the other's
        EXPECT_EQ(QXConditionRelease(condition), result::NotOwner);
        EXPECT_EQ(QXConditionWait(condition), result::NotOwner);
        EXPECT_EQ(QXConditionTimedWait(condition, 1), result::NotOwner);
        if (round == 0) {
            EXPECT_EQ((*other)(QXConditionAcquire), result::Ok);
            EXPECT_EQ(QXConditionTryAcquire(condition), result::Busy);
        }
    }
    EXPECT_EQ((*other)(QXConditionRelease), result::Ok);
}

TEST_P(LockContract, AWaitGivesUpTheWholeDepthAndTakesItBack) {
    const QXHandle condition = create(Conditions);
    const auto waiter = party();
    for (const bool timesOut : {false, true}) {
        SCOPED_TRACE(timesOut);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ((*waiter)(QXConditionAcquire), result::Ok);
        if (timesOut)
            waiter->start(QXConditionTimedWait, 20);
        else
            waiter->start(QXConditionWait);
        waiter->awaitBlocked();
        EXPECT_EQ(QXConditionAcquire(condition), result::Ok); // hangs if a part of it was kept
        if (!timesOut) {
            EXPECT_EQ(QXConditionSignal(condition), result::Ok);
        }
        EXPECT_EQ(QXConditionRelease(condition), result::Ok);
        EXPECT_EQ(waiter->finish(), timesOut ? result::TimedOut : result::Ok);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(QXConditionTryAcquire(condition), result::Busy);
            EXPECT_EQ((*waiter)(QXConditionRelease), result::Ok);
        }
        EXPECT_EQ((*waiter)(QXConditionRelease), result::NotOwner);
    }
}

TEST_P(LockContract, ASignalEndsTheLongestWaitAndABroadcastAll) {
    const QXHandle condition = create(Conditions);
    const std::unique_ptr<Party> waiters[] = {party(), party(), party()};
    for (const auto& waiter : waiters) {
        EXPECT_EQ((*waiter)(QXConditionAcquire), result::Ok);
        waiter->start(QXConditionWait);
        waiter->awaitBlocked();
    }
    EXPECT_EQ(QXConditionSignal(condition), result::Ok); // without holding it
    EXPECT_EQ(waiters[0]->finish(), result::Ok);
    EXPECT_EQ((*waiters[0])(QXConditionRelease), result::Ok);
    EXPECT_FALSE(waiters[1]->isDone());
    EXPECT_FALSE(waiters[2]->isDone());
    EXPECT_EQ(QXConditionAcquire(condition), result::Ok);
    EXPECT_EQ(QXConditionBroadcast(condition), result::Ok);
    EXPECT_EQ(QXConditionRelease(condition), result::Ok);
    EXPECT_TRUE(eventually([&] { return waiters[1]->isDone() || waiters[2]->isDone(); }));
    const auto& first = waiters[waiters[1]->isDone() ? 1 : 2];
    const auto& second = waiters[waiters[1]->isDone() ? 2 : 1];
    EXPECT_EQ((*first)(QXConditionRelease), result::Ok);
    EXPECT_EQ(second->finish(), result::Ok);
    EXPECT_EQ((*second)(QXConditionRelease), result::Ok);

    // Nothing is remembered for later waits.
    EXPECT_EQ(QXConditionSignal(condition), result::Ok);
    EXPECT_EQ(QXConditionAcquire(condition), result::Ok);
    EXPECT_EQ(QXConditionTimedWait(condition, 1), result::TimedOut);
    EXPECT_EQ(QXConditionRelease(condition), result::Ok);
}

// The next thread has the stack, the control block and perhaps the number of the one that ended.
TEST(EndedThread, LeavesItsLockToNobody) {
    const std::pair<const ObjectKind&, Operation> locks[] = {{Mutexes, QXMutexTryAcquire},
                                                             {Conditions, QXConditionTryAcquire},
                                                             {RWLocks, QXRWLockTryAcquireWrite}};
    for (const auto& [kind, tryAcquire] : locks) {
        SCOPED_TRACE(kind.name);
        QXHandle handle = 0;
        ASSERT_EQ(kind.create(nullptr, 0, &handle), result::Ok);
        std::thread([&, &kind = kind] { EXPECT_EQ(kind.hold(handle), result::Ok); }).join();
        std::thread([&, &kind = kind, tryAcquire = tryAcquire] {
            EXPECT_EQ(kind.release(handle), result::NotOwner);
            EXPECT_EQ(tryAcquire(handle), result::Busy);
            EXPECT_EQ(kind.release(handle), result::NotOwner);
        }).join();
        EXPECT_EQ(kind.destroy(handle), result::Ok);
    }
}

// The kernel has woken it for good: nobody else gets the signal that it dies with.
TEST(DeadWaiter, TakesNoSignalOfACondition) {
    const std::string name = uniqueName("condition");
    QXHandle condition = 0;
    ASSERT_EQ(QXConditionCreate(name.c_str(), QX_SYNC_SHARED, &condition), result::Ok);
    {
        Party victim(Way::BetweenProcesses, Conditions, name, condition);
        Party other(Way::BetweenProcesses, Conditions, name, condition);
        for (Party* each : {&victim, &other}) {
            EXPECT_EQ((*each)(QXConditionAcquire), result::Ok);
            each->start(QXConditionWait);
            each->awaitBlocked();
        }
        victim.stop();
        EXPECT_EQ(QXConditionSignal(condition), result::Ok);
        victim.kill();
        EXPECT_EQ(other.finish(), result::Ok);
        EXPECT_EQ(other(QXConditionRelease), result::Ok);
    }
    EXPECT_EQ(QXConditionDestroy(condition), result::Ok);
}
