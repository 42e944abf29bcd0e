// The locks and signals of qx/platform/sync.h with QX_SYNC_SHARED.

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <qx/platform/sync.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/ChildProcess.h"

using namespace qx;
using namespace qxtest;

namespace {

/// Handle of a shared object for a scope.
template <auto Create, auto Destroy>
class Shared {
public:
    explicit Shared(const std::string& name)
        : m_result(Create(name.c_str(), QX_SYNC_SHARED, &m_handle)) {}
    ~Shared() {
        if (m_result >= 0)
            Destroy(m_handle);
    }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    operator QXHandle() const { return m_handle; }
    int32_t result() const { return m_result; }

private:
    QXHandle m_handle = 0;
    int32_t m_result;
};

using SharedMutex = Shared<&QXMutexCreate, &QXMutexDestroy>;
using SharedCondition = Shared<&QXConditionCreate, &QXConditionDestroy>;
using SharedEvent = Shared<&QXEventCreate, &QXEventDestroy>;
using SharedRWLock = Shared<&QXRWLockCreate, &QXRWLockDestroy>;

/// What a test and its child tell each other.
struct Dialogue {
    std::atomic<int> ready; // steps the child has reached
    std::atomic<int> go;    // steps the child may take
};

/// Takes what the first argument says and holds it until it is killed.
const ChildEntry holder("shared-lock-holder", [](const auto& arguments) -> int {
    const std::string& what = arguments[0];
    SharedStruct<Dialogue> dialogue(arguments[2]);
    int32_t r = result::Fail;
    QXHandle handle = 0;
    const auto take = [&](auto create, auto acquire) {
        r = create(arguments[1].c_str(), QX_SYNC_SHARED, &handle);
        if (r >= 0)
            r = acquire(handle);
    };
    if (what == "mutex")
        take(QXMutexCreate, QXMutexAcquire);
    else if (what == "condition")
        take(QXConditionCreate, QXConditionAcquire);
    else if (what == "reader")
        take(QXRWLockCreate, QXRWLockAcquireRead);
    else if (what == "writer")
        take(QXRWLockCreate, QXRWLockAcquireWrite);
    else if (what == "waiting writer") {
        take(QXRWLockCreate, [&](QXHandle h) {
            dialogue->ready = 1;
            return QXRWLockAcquireWrite(h);
        });
    }
    CHECK_IN_CHILD(r >= 0);
    dialogue->ready = 1;
    for (;;)
        pause();
});

/// Starts a child that holds something under @p name and waits until it does.
ChildProcess startHolder(const std::string& what, const std::string& name,
                         const std::string& dialogueName) {
    SharedStruct<Dialogue> dialogue(dialogueName);
    dialogue->ready = 0;
    ChildProcess child("shared-lock-holder", {what, name, dialogueName});
    EXPECT_TRUE(eventually([&] { return dialogue->ready == 1; })) << what;
    return child;
}

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

TEST(SharedLock, HandlesOfAnotherKindAreRefused) {
    const std::string name = uniqueName("kind");
    const SharedMutex mutex(name);
    ASSERT_EQ(mutex.result(), result::Ok);
    EXPECT_EQ(SharedEvent(name).result(), result::InvalidHandle);
    EXPECT_EQ(QXEventSignal(mutex), result::InvalidHandle);
    EXPECT_EQ(QXGateDestroy(mutex), result::InvalidHandle);
    EXPECT_EQ(QXMutexAcquire(UINT64_MAX), result::InvalidHandle);
    EXPECT_EQ(QXMutexAcquire(mutex), result::Ok); // still there
    EXPECT_EQ(QXMutexRelease(mutex), result::Ok);
}

TEST(SharedLock, KindIsCheckedBetweenProcessesToo) {
    const std::string name = uniqueName("kind");
    const std::string talk = uniqueName("talk");
    ChildProcess child = startHolder("mutex", name, talk);
    EXPECT_EQ(SharedRWLock(name).result(), result::InvalidHandle);
    EXPECT_EQ(SharedMutex(name).result(), result::Ok); // the refusal took nothing away
}

TEST(SharedMutex, DestructionByTheHolderLetsOthersIn) {
    const std::string name = uniqueName("mutex");
    const std::string talk = uniqueName("talk");
    QXHandle handle = 0;
    ASSERT_EQ(QXMutexCreate(name.c_str(), QX_SYNC_SHARED, &handle), result::Ok);
    QXMutexAcquire(handle);
    QXMutexAcquire(handle);
    ChildProcess child("shared-lock-holder", {"mutex", name, talk});
    SharedStruct<Dialogue> dialogue(talk);
    EXPECT_EQ(QXMutexDestroy(handle), result::Ok);
    EXPECT_TRUE(eventually([&] { return dialogue->ready == 1; }));
}

TEST(SharedLock, WhatADeadProcessHeldIsHadByAWaiterWithinASecond) {
    const struct {
        const char* held;
        std::function<int32_t(const std::string&)> acquire;
    } cases[] = {
        {"mutex", [](auto& name) { return QXMutexAcquire(SharedMutex(name)); }},
        {"condition", [](auto& name) { return QXConditionAcquire(SharedCondition(name)); }},
        {"reader", [](auto& name) { return QXRWLockAcquireWrite(SharedRWLock(name)); }},
        {"writer", [](auto& name) { return QXRWLockAcquireWrite(SharedRWLock(name)); }},
        {"writer", [](auto& name) { return QXRWLockAcquireRead(SharedRWLock(name)); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.held);
        const std::string name = uniqueName("held");
        ChildProcess child = startHolder(c.held, name, uniqueName("talk"));
        std::atomic<bool> acquired = false;
        std::thread waiter([&] {
            EXPECT_EQ(c.acquire(name), result::Ok);
            acquired = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_FALSE(acquired);
        const auto killed = Clock::now();
        child.kill();
        waiter.join();
        EXPECT_LT(Clock::now() - killed, DeadHolderLimit);
    }
}

TEST(SharedRWLock, AKilledWaitingWriterDoesNotKeepReadersOut) {
    const std::string name = uniqueName("lock");
    const SharedRWLock lock(name);
    ASSERT_EQ(QXRWLockAcquireRead(lock), result::Ok);
    ChildProcess child = startHolder("waiting writer", name, uniqueName("talk"));
    // Readers are kept out as soon as the writer has put its claim.
    EXPECT_TRUE(eventually([&] {
        const int32_t r = QXRWLockTryAcquireRead(lock);
        if (r >= 0)
            QXRWLockReleaseRead(lock);
        return r == result::Busy;
    }));
    const auto killed = Clock::now();
    child.kill();
    EXPECT_EQ(QXRWLockAcquireRead(lock), result::Ok);
    EXPECT_LT(Clock::now() - killed, DeadHolderLimit);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::Ok);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::Ok);
    EXPECT_EQ(QXRWLockReleaseRead(lock), result::NotOwner);
    EXPECT_EQ(QXRWLockReleaseWrite(lock), result::NotOwner);
}

namespace {

struct ForkTalk {
    std::atomic<int> forked;
    std::atomic<int> stop;
};

/// Holds a mutex, a write lock and a unit of a guard, and forks a child that lives on without them.
const ChildEntry forker("holder-that-forks", [](const auto& arguments) -> int {
    const SharedMutex mutex(arguments[0] + ".mutex");
    const SharedRWLock lock(arguments[0] + ".lock");
    QXHandle guard = 0;
    CHECK_IN_CHILD(QXNamedSemOpen((arguments[0] + ".guard").c_str(), 1, &guard) >= 0);
    SharedStruct<ForkTalk> talk(arguments[1]);
    CHECK_IN_CHILD(QXMutexAcquire(mutex) >= 0);
    CHECK_IN_CHILD(QXRWLockAcquireWrite(lock) >= 0);
    CHECK_IN_CHILD(QXSemaphoreWait(guard) >= 0);
    if (fork() == 0) {
        CHECK_IN_CHILD(QXMutexTryAcquire(mutex) == result::Busy);
        CHECK_IN_CHILD(QXMutexRelease(mutex) == result::NotOwner);
        CHECK_IN_CHILD(QXRWLockReleaseWrite(lock) == result::NotOwner);
        CHECK_IN_CHILD(QXSemaphoreTryWait(guard) == result::Busy);
        talk->forked = 1;
        while (talk->stop == 0)
            usleep(1000);
        _exit(0);
    }
    for (;;)
        pause();
});

} // namespace

TEST(SharedLock, AForkedChildIsNotTakenForItsParent) {
    const std::string name = uniqueName("fork");
    const std::string talkName = uniqueName("talk");
    SharedStruct<ForkTalk> talk(talkName);
    const SharedMutex mutex(name + ".mutex");
    const SharedRWLock lock(name + ".lock");
    QXHandle guard = 0;
    ASSERT_EQ(QXNamedSemOpen((name + ".guard").c_str(), 1, &guard), result::Ok);
    ChildProcess child("holder-that-forks", {name, talkName});
    EXPECT_TRUE(eventually([&] { return talk->forked == 1; }));
    const auto killed = Clock::now();
    child.kill();
    EXPECT_EQ(QXMutexAcquire(mutex), result::Ok);
    EXPECT_EQ(QXRWLockAcquireWrite(lock), result::Ok);
    EXPECT_EQ(QXSemaphoreWait(guard), result::Ok);
    EXPECT_LT(Clock::now() - killed, DeadHolderLimit);
    talk->stop = 1;
    QXMutexRelease(mutex);
    QXRWLockReleaseWrite(lock);
    QXNamedSemClose(guard);
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
