// What is special to the locks and signals of qx/platform/sync.h with QX_SYNC_SHARED.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/sync.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/ipc/Party.h"
#include "tests/support/ChildProcess.h"

using namespace qx;
using namespace qxtest;

namespace {

/// Handle of a shared object for a scope.
template <auto Create, auto Destroy>
class Shared {
public:
    explicit Shared(const std::string& name)
        : m_result(Create(name.c_str(), QX_SYNC_SHARED, m_handle.put())) {}
    operator QXHandle() const { return m_handle.get(); }
    int32_t result() const { return m_result; }

private:
    PlatformHandle<Destroy> m_handle;
    int32_t m_result;
};

using SharedMutex = Shared<&QXMutexCreate, &QXMutexDestroy>;
using SharedEvent = Shared<&QXEventCreate, &QXEventDestroy>;
using SharedRWLock = Shared<&QXRWLockCreate, &QXRWLockDestroy>;

} // namespace

TEST(SharedLock, CreationRefusesWhatItCannotServe) {
    QXHandle handle = 0;
    EXPECT_EQ(QXMutexCreate(nullptr, QX_SYNC_SHARED, &handle), result::InvalidArgument);
    EXPECT_EQ(handle, UINT64_MAX);
    EXPECT_EQ(QXMutexCreate("", QX_SYNC_SHARED, &handle), result::InvalidArgument);
    EXPECT_EQ(QXMutexCreate("x", QX_SYNC_SHARED, nullptr), result::NullPointer);
    EXPECT_EQ(QXSemaphoreCreate(0x80000000u, uniqueName("big").c_str(), QX_SYNC_SHARED, &handle),
              result::InvalidArgument);
}

TEST(SharedLock, WhatIsOfAnotherKindIsRefused) {
    const std::string name = uniqueName("kind");
    Party other(Way::BetweenProcesses, Mutexes, name, 0);
    EXPECT_EQ(other(QXMutexAcquire), result::Ok);
    EXPECT_EQ(SharedRWLock(name).result(), result::InvalidHandle); // known from its file alone
    const SharedMutex mutex(name);
    ASSERT_EQ(mutex.result(), result::Ok); // the refusal took nothing away
    EXPECT_EQ(SharedEvent(name).result(), result::InvalidHandle);
    EXPECT_EQ(QXEventSignal(mutex), result::InvalidHandle);
    EXPECT_EQ(QXGateDestroy(mutex), result::InvalidHandle);
    EXPECT_EQ(QXMutexAcquire(UINT64_MAX), result::InvalidHandle);
    EXPECT_EQ(other(QXMutexRelease), result::Ok);
    EXPECT_EQ(QXMutexAcquire(mutex), result::Ok); // still there
    EXPECT_EQ(QXMutexRelease(mutex), result::Ok);
}

TEST(SharedLock, DestructionByTheHolderLetsOthersIn) {
    const std::string name = uniqueName("mutex");
    QXHandle handle = 0;
    ASSERT_EQ(QXMutexCreate(name.c_str(), QX_SYNC_SHARED, &handle), result::Ok);
    QXMutexAcquire(handle);
    QXMutexAcquire(handle);
    Party other(Way::BetweenProcesses, Mutexes, name, 0);
    other.start(QXMutexAcquire);
    other.awaitBlocked();
    EXPECT_EQ(QXMutexDestroy(handle), result::Ok);
    EXPECT_EQ(other.finish(), result::Ok);
}

TEST(SharedLock, NobodyWaitsForAKilledReaderOrAKilledWaitingWriter) {
    const std::string name = uniqueName("lock");
    const SharedRWLock lock(name);
    Party reader(Way::BetweenProcesses, RWLocks, name, 0);
    EXPECT_EQ(reader(QXRWLockAcquireRead), result::Ok);
    Party writer(Way::BetweenProcesses, RWLocks, name, 0);
    writer.start(QXRWLockAcquireWrite);
    writer.awaitBlocked();
    EXPECT_EQ(QXRWLockTryAcquireRead(lock), result::Busy);
    auto killed = Clock::now();
    writer.kill();
    EXPECT_EQ(QXRWLockAcquireRead(lock), result::Ok);
    EXPECT_LT(Clock::now() - killed, DeadHolderLimit);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::Ok);
    killed = Clock::now();
    reader.kill();
    EXPECT_EQ(QXRWLockAcquireWrite(lock), result::Ok);
    EXPECT_LT(Clock::now() - killed, DeadHolderLimit);
    EXPECT_EQ(QXRWLockReleaseWrite(lock), result::Ok);
}

TEST(SharedLock, WhatAKilledHolderHadComesBackThoughItsForkedChildLives) {
    for (const ObjectKind* kind : {&Mutexes, &RWLocks, &Guards}) {
        SCOPED_TRACE(kind->name);
        const std::string name = uniqueName("fork");
        QXHandle handle = 0;
        ASSERT_EQ(kind->create(name.c_str(), QX_SYNC_SHARED, &handle), result::Ok);
        Party holder(Way::BetweenProcesses, *kind, name, 0);
        EXPECT_EQ(holder(kind->hold), result::Ok);
        holder.forkIdleChild();
        const auto killed = Clock::now();
        holder.kill();
        EXPECT_EQ(kind->hold(handle), result::Ok);
        EXPECT_LT(Clock::now() - killed, DeadHolderLimit);
        EXPECT_EQ(kind->destroy(handle), result::Ok);
    }
}

TEST(SharedLock, AForkedChildUsesItsHandlesAsAProcessOfItsOwn) {
    const std::string name = uniqueName("fork");
    QXHandle guard = 0;
    ASSERT_EQ(QXNamedSemOpen(name.c_str(), 2, &guard), result::Ok);
    ASSERT_EQ(QXSemaphoreWait(guard), result::Ok);
    const pid_t pid = fork();
    if (pid == 0) {
        const int32_t r = QXSemaphoreWait(guard); // dies with the second unit
        ::kill(getpid(), r == result::Ok ? SIGKILL : SIGTERM);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_EQ(QXSemaphoreWait(guard), result::Ok); // the child's unit, not the parent's
    EXPECT_EQ(QXSemaphoreTryWait(guard), result::Busy);
    QXNamedSemClose(guard);
    EXPECT_EQ(filesNamed(name), 0);
}
