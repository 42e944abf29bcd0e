// What signals promise, whoever the others are: events, gates, semaphores.

#include <cerrno>
#include <csignal>

#include "tests/ipc/Party.h"

using namespace qx;
using namespace qxtest;

QX_CONTRACT(SignalContract);

TEST_P(SignalContract, AnEventRemembersOneSignal) {
    const QXHandle event = create(Events);
    const auto other = party();
    EXPECT_EQ((*other)(QXEventSignal), result::Ok);
    EXPECT_EQ(QXEventSignal(event), result::Ok);
    EXPECT_EQ(QXEventTimedWait(event, 0), result::Ok);
    EXPECT_EQ((*other)(QXEventTimedWait, 0), result::TimedOut);
    EXPECT_EQ(QXEventTimedWait(event, 1), result::TimedOut); // leaves no trace either
    EXPECT_EQ(QXEventSignal(event), result::Ok);
    EXPECT_EQ((*other)(QXEventWait), result::Ok);
    EXPECT_EQ(QXEventTimedWait(event, 0), result::TimedOut);
}

TEST_P(SignalContract, EverySignalOfAnEventReleasesOneWaiter) {
    const QXHandle event = create(Events);
    const std::unique_ptr<Party> waiters[] = {party(), party(), party()};
    for (const auto& waiter : waiters) {
        if (&waiter == waiters)
            waiter->start(QXEventTimedWait, 100'000);
        else
            waiter->start(QXEventWait);
        waiter->awaitBlocked();
    }
    // In a row: the second comes before the first waiter had the time to run.
    for (size_t i = 0; i < std::size(waiters); ++i)
        EXPECT_EQ(QXEventSignal(event), result::Ok);
    for (const auto& waiter : waiters)
        EXPECT_EQ(waiter->finish(), result::Ok);
    EXPECT_EQ(QXEventTimedWait(event, 0), result::TimedOut);
}

TEST_P(SignalContract, AGateStaysOpenUntilClosed) {
    const QXHandle gate = create(Gates);
    const auto other = party();
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ((*other)(QXGateTryWait), result::Busy);
        EXPECT_EQ(QXGateTryWait(gate), result::Busy);
        EXPECT_EQ(QXGateTimedWait(gate, 1), result::TimedOut);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ((*other)(QXGateOpen), result::Ok);
        EXPECT_EQ(QXGateTryWait(gate), result::Ok);
        EXPECT_EQ(QXGateWait(gate), result::Ok);
        EXPECT_EQ((*other)(QXGateTimedWait, 0), result::Ok);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(QXGateClose(gate), result::Ok);
    }
}

TEST_P(SignalContract, OpeningAGateForAMomentReleasesEveryWaiter) {
    const QXHandle gate = create(Gates);
    const std::unique_ptr<Party> waiters[] = {party(), party()};
    for (int round = 0; round < 5; ++round) {
        waiters[0]->start(QXGateWait);
        waiters[1]->start(QXGateTimedWait, 100'000);
        for (const auto& waiter : waiters)
            waiter->awaitBlocked();
        EXPECT_EQ(QXGateOpen(gate), result::Ok);
        EXPECT_EQ(QXGateClose(gate), result::Ok);
        for (const auto& waiter : waiters)
            EXPECT_EQ(waiter->finish(), result::Ok);
        EXPECT_EQ(QXGateTryWait(gate), result::Busy);
    }
}

/// Gives and takes the one unit of a semaphore.
void playUnit(QXHandle semaphore, Party& other) {
    int32_t value = -1;
    EXPECT_EQ(QXSemaphoreGetValue(semaphore, &value), result::Ok);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(QXSemaphoreTryWait(semaphore), result::Ok);
    EXPECT_EQ(other(QXSemaphoreTryWait), result::Busy);
    other.start(QXSemaphoreWait);
    other.awaitBlocked();
    EXPECT_EQ(QXSemaphorePost(semaphore), result::Ok);
    EXPECT_EQ(other.finish(), result::Ok);
    EXPECT_EQ(QXSemaphoreGetValue(semaphore, &value), result::Ok);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(other(QXSemaphorePost), result::Ok);
    EXPECT_EQ(QXSemaphoreTryWait(semaphore), result::Ok);
}

TEST_P(SignalContract, ASignalSemaphoreGivesEachUnitOnce) {
    const QXHandle semaphore = create(Signals);
    const auto other = party();
    EXPECT_EQ(QXSemaphoreTryWait(semaphore), result::Busy);
    EXPECT_EQ((*other)(QXSemaphorePost), result::Ok);
    playUnit(semaphore, *other);
}

TEST_P(SignalContract, AGuardGivesEachUnitOnce) {
    const QXHandle guard = create(Guards); // after a death: taken by one who died with it
    playUnit(guard, *party());
}

TEST_P(SignalContract, ATimedWaitLastsItsTime) {
    const struct {
        const ObjectKind& kind;
        TimedOperation wait;
    } rows[] = {
        {Events, QXEventTimedWait}, {Gates, QXGateTimedWait}, {Conditions, QXConditionTimedWait}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        QXHandle handle = 0;
        const bool isLocal = GetParam() == Way::InTheProcess;
        ASSERT_EQ(
            row.kind.create(uniqueName("timed").c_str(), isLocal ? 0 : QX_SYNC_SHARED, &handle),
            result::Ok);
        if (&row.kind == &Conditions) {
            ASSERT_EQ(QXConditionAcquire(handle), result::Ok);
        }
        for (const uint32_t milliseconds : {0u, 1u, 30u, 301u}) {
            const auto start = Clock::now();
            errno = ENOENT;
            EXPECT_EQ(row.wait(handle, milliseconds), result::TimedOut);
            EXPECT_EQ(errno, ENOENT); // the native error is that of the caller's own last call
            EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(milliseconds));
        }
        EXPECT_EQ(row.kind.destroy(handle), result::Ok);
    }
}

TEST(ThreadSignals, NeverEndAWait) {
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0); // without SA_RESTART
    const struct {
        const ObjectKind& kind;
        Operation prepare, wait, end;
    } rows[] = {
        {Mutexes, QXMutexAcquire, QXMutexAcquire, QXMutexRelease},
        {RWLocks, QXRWLockAcquireWrite, QXRWLockAcquireRead, QXRWLockReleaseWrite},
        {RWLocks, QXRWLockAcquireRead, QXRWLockAcquireWrite, QXRWLockReleaseRead},
        {Events, nullptr, QXEventWait, QXEventSignal},
        {Events, nullptr, [](QXHandle h) { return QXEventTimedWait(h, 100'000); }, QXEventSignal},
        {Gates, nullptr, QXGateWait, QXGateOpen},
        {Gates, nullptr, [](QXHandle h) { return QXGateTimedWait(h, 100'000); }, QXGateOpen},
        {Signals, nullptr, QXSemaphoreWait, QXSemaphorePost},
        {Conditions, nullptr,
         [](QXHandle h) { return QXConditionAcquire(h) + QXConditionTimedWait(h, 100'000); },
         QXConditionBroadcast},
    };
    for (const auto& row : rows) {
        for (const uint32_t flags : {0u, QX_SYNC_SHARED}) {
            SCOPED_TRACE(testing::Message() << &row - rows << ' ' << flags);
            QXHandle handle = 0;
            ASSERT_EQ(row.kind.create(uniqueName("storm").c_str(), flags, &handle), result::Ok);
            if (row.prepare != nullptr) {
                EXPECT_EQ(row.prepare(handle), result::Ok);
            }
            BlockingThread waiter([&] { EXPECT_EQ(row.wait(handle), result::Ok); });
            waiter.awaitBlocked();
            for (int i = 0; i < 20; ++i) {
                pthread_kill(waiter.thread().native_handle(), SIGUSR1);
                std::this_thread::sleep_for(std::chrono::microseconds(300));
            }
            EXPECT_FALSE(waiter.isFinished());
            EXPECT_EQ(row.end(handle), result::Ok);
            waiter.join();
            EXPECT_EQ(row.kind.destroy(handle), result::Ok);
        }
    }
    sigaction(SIGUSR1, &previous, nullptr);
}
