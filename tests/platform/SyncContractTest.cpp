#include <thread>
#include <vector>

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include "tests/support/ChildProcess.h"

// What every family of locks and signals has in common.

namespace {

namespace result = qx::result;

using Create = int32_t (*)(const char*, uint32_t, QXHandle*);
using Operation = int32_t (*)(QXHandle);

int32_t createEmptySemaphore(const char* name, uint32_t flags, QXHandle* handle) {
    return QXSemaphoreCreate(0, name, flags, handle);
}

struct Family {
    const char* name;
    Create create;
    Operation destroy;
    std::vector<Operation> operations;
};

const Family Families[] = {
    {"mutex",
     &QXMutexCreate,
     &QXMutexDestroy,
     {&QXMutexAcquire, &QXMutexTryAcquire, &QXMutexRelease}},
    {"condition",
     &QXConditionCreate,
     &QXConditionDestroy,
     {&QXConditionAcquire, &QXConditionTryAcquire, &QXConditionRelease, &QXConditionWait,
      &QXConditionSignal, &QXConditionBroadcast,
      [](QXHandle handle) { return QXConditionTimedWait(handle, 0); }}},
    {"event",
     &QXEventCreate,
     &QXEventDestroy,
     {&QXEventSignal, &QXEventWait, [](QXHandle handle) { return QXEventTimedWait(handle, 0); }}},
    {"gate",
     &QXGateCreate,
     &QXGateDestroy,
     {&QXGateOpen, &QXGateClose, &QXGateWait, &QXGateTryWait,
      [](QXHandle handle) { return QXGateTimedWait(handle, 0); }}},
    {"semaphore",
     &createEmptySemaphore,
     &QXSemaphoreDestroy,
     {&QXSemaphorePost, &QXSemaphoreWait, &QXSemaphoreTryWait,
      [](QXHandle handle) {
          int32_t value;
          return QXSemaphoreGetValue(handle, &value);
      }}},
    {"rwlock",
     &QXRWLockCreate,
     &QXRWLockDestroy,
     {&QXRWLockAcquireRead, &QXRWLockAcquireWrite, &QXRWLockTryAcquireRead,
      &QXRWLockTryAcquireWrite, &QXRWLockReleaseRead, &QXRWLockReleaseWrite}},
};

TEST(SyncContract, RefusesBadArguments) {
    for (const Family& family : Families) {
        SCOPED_TRACE(family.name);
        EXPECT_EQ(family.create(nullptr, 0, nullptr), result::NullPointer);
        for (const uint32_t flags : {2u, 3u, 0x80000000u}) {
            QXHandle handle = 0;
            EXPECT_EQ(family.create("name", flags, &handle), result::InvalidArgument);
            EXPECT_EQ(handle, ~QXHandle{0});
        }
        for (const QXHandle handle : {QXHandle{0}, ~QXHandle{0}}) {
            EXPECT_EQ(family.destroy(handle), result::InvalidHandle);
            for (const Operation operation : family.operations)
                EXPECT_EQ(operation(handle), result::InvalidHandle);
        }
    }
}

TEST(SyncContract, ANameIsOnlyALabel) {
    for (const Family& family : Families) {
        SCOPED_TRACE(family.name);
        QXHandle first = 0;
        QXHandle second = 0;
        ASSERT_EQ(family.create("the same name", 0, &first), result::Ok);
        ASSERT_EQ(family.create("the same name", 0, &second), result::Ok);
        EXPECT_NE(first, second);
        EXPECT_EQ(family.destroy(first), result::Ok);
        EXPECT_EQ(family.destroy(second), result::Ok);
    }
}

// In strict mode the kernel kills the process at any call but read, write and exit.
const qxtest::ChildEntry uncontended("sync-uncontended", [](const auto&) {
    QXHandle mutex, event, gate, semaphore, rwlock, condition;
    int32_t failed =
        QXMutexCreate(nullptr, 0, &mutex) | QXEventCreate(nullptr, 0, &event) |
        QXGateCreate(nullptr, 0, &gate) | QXSemaphoreCreate(0, nullptr, 0, &semaphore) |
        QXRWLockCreate(nullptr, 0, &rwlock) | QXConditionCreate(nullptr, 0, &condition);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0)
        return 2;
    failed |= QXMutexAcquire(mutex) | QXMutexTryAcquire(mutex) | QXMutexRelease(mutex) |
              QXMutexRelease(mutex);
    failed |= QXEventSignal(event) | QXEventSignal(event) | QXEventWait(event) |
              QXEventSignal(event) | QXEventTimedWait(event, 1000);
    failed |= QXGateOpen(gate) | QXGateWait(gate) | QXGateTimedWait(gate, 1000) | QXGateClose(gate);
    failed |= QXSemaphorePost(semaphore) | QXSemaphoreWait(semaphore);
    failed |= QXRWLockAcquireRead(rwlock) | QXRWLockTryAcquireRead(rwlock) |
              QXRWLockReleaseRead(rwlock) | QXRWLockReleaseRead(rwlock) |
              QXRWLockAcquireWrite(rwlock) | QXRWLockReleaseWrite(rwlock);
    failed |= QXConditionAcquire(condition) | QXConditionSignal(condition) |
              QXConditionBroadcast(condition) | QXConditionRelease(condition);
    return static_cast<int>(syscall(SYS_exit, failed == 0 ? 0 : 1));
});

TEST(SyncContract, UncontendedOperationsMakeNoSystemCall) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer makes calls of its own";
#endif
    EXPECT_EQ(qxtest::ChildProcess("sync-uncontended").join(), 0);
}

// The thread that a signal lets go is free to destroy the object at once, while the signaller has
// not yet returned. The address sanitizer sees it when that touches the object again.
TEST(SyncContract, AReleasedWaiterMayDestroyTheObject) {
    const struct {
        const char* name;
        Create create;
        Operation destroy;
        Operation signal;
        Operation wait;
    } rows[] = {
        {"event", &QXEventCreate, &QXEventDestroy, &QXEventSignal, &QXEventWait},
        {"gate", &QXGateCreate, &QXGateDestroy, &QXGateOpen, &QXGateWait},
        {"semaphore", &createEmptySemaphore, &QXSemaphoreDestroy, &QXSemaphorePost,
         &QXSemaphoreWait},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        for (int round = 0; round < 300; ++round) {
            QXHandle handle = 0;
            ASSERT_EQ(row.create(nullptr, 0, &handle), result::Ok);
            const std::jthread signaller([&row, handle] { row.signal(handle); });
            EXPECT_EQ(row.wait(handle), result::Ok);
            EXPECT_EQ(row.destroy(handle), result::Ok);
        }
    }
}

} // namespace
