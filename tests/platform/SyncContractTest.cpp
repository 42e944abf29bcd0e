#include <thread>
#include <utility>
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

template <auto TimedWait>
int32_t waitForASecond(QXHandle handle) {
    return TimedWait(handle, 1000);
}

struct Family {
    Create create;
    Operation destroy;
    std::vector<Operation> uncontended; // one after the other
    std::vector<Operation> others;
};

Family family(Create create, Operation destroy, std::vector<Operation> uncontended,
              std::vector<Operation> others = {}) {
    return {create, destroy, std::move(uncontended), std::move(others)};
}

const Family Families[] = {
    family(&QXMutexCreate, &QXMutexDestroy,
           {&QXMutexAcquire, &QXMutexTryAcquire, &QXMutexRelease, &QXMutexRelease}),
    family(&QXConditionCreate, &QXConditionDestroy,
           {&QXConditionAcquire, &QXConditionTryAcquire, &QXConditionSignal, &QXConditionBroadcast,
            &QXConditionRelease, &QXConditionRelease},
           {&QXConditionWait, &waitForASecond<&QXConditionTimedWait>}),
    family(&QXEventCreate, &QXEventDestroy,
           {&QXEventSignal, &QXEventSignal, &QXEventWait, &QXEventSignal,
            &waitForASecond<&QXEventTimedWait>}),
    family(&QXGateCreate, &QXGateDestroy,
           {&QXGateOpen, &QXGateWait, &QXGateTryWait, &waitForASecond<&QXGateTimedWait>,
            &QXGateClose}),
    family(&createEmptySemaphore, &QXSemaphoreDestroy,
           {&QXSemaphorePost, &QXSemaphoreWait, &QXSemaphorePost, &QXSemaphoreTryWait,
            [](QXHandle handle) {
                int32_t value;
                return QXSemaphoreGetValue(handle, &value);
            }}),
    family(&QXRWLockCreate, &QXRWLockDestroy,
           {&QXRWLockAcquireRead, &QXRWLockTryAcquireRead, &QXRWLockReleaseRead,
            &QXRWLockReleaseRead, &QXRWLockAcquireWrite, &QXRWLockReleaseWrite,
            &QXRWLockTryAcquireWrite, &QXRWLockReleaseWrite}),
};

TEST(SyncContract, RefusesBadArgumentsAndTakesAnyNameForALabel) {
    for (const Family& family : Families) {
        SCOPED_TRACE(&family - Families);
        EXPECT_EQ(family.create(nullptr, 0, nullptr), result::NullPointer);
        for (const uint32_t flags : {2u, 3u, 0x80000000u}) {
            QXHandle handle = 0;
            EXPECT_EQ(family.create("name", flags, &handle), result::InvalidArgument);
            EXPECT_EQ(handle, ~QXHandle{0});
        }
        for (const QXHandle handle : {QXHandle{0}, ~QXHandle{0}}) {
            EXPECT_EQ(family.destroy(handle), result::InvalidHandle);
            for (const auto* operations : {&family.uncontended, &family.others}) {
                for (const Operation operation : *operations)
                    EXPECT_EQ(operation(handle), result::InvalidHandle);
            }
        }
        QXHandle handles[2];
        for (QXHandle& handle : handles)
            ASSERT_EQ(family.create("only a label", 0, &handle), result::Ok);
        EXPECT_NE(handles[0], handles[1]);
        for (const QXHandle handle : handles)
            EXPECT_EQ(family.destroy(handle), result::Ok);
    }
}

// In strict mode the kernel kills the process at any call but read, write and exit.
const qxtest::ChildEntry uncontended("sync-uncontended", [](const auto&) {
    QXHandle handles[std::size(Families)];
    int32_t failed = 0;
    for (size_t i = 0; i < std::size(Families); ++i)
        failed |= Families[i].create(nullptr, 0, &handles[i]);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0)
        return 2;
    for (size_t i = 0; i < std::size(Families); ++i) {
        for (const Operation operation : Families[i].uncontended)
            failed |= operation(handles[i]);
    }
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
        Create create;
        Operation destroy, signal, wait;
    } rows[] = {
        {&QXEventCreate, &QXEventDestroy, &QXEventSignal, &QXEventWait},
        {&QXGateCreate, &QXGateDestroy, &QXGateOpen, &QXGateWait},
        {&createEmptySemaphore, &QXSemaphoreDestroy, &QXSemaphorePost, &QXSemaphoreWait},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
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
