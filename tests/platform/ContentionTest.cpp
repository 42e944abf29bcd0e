// Locks and signals, of one process and by name, that several threads want at once.

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include "tests/ipc/IpcTesting.h"

namespace {

namespace result = qx::result;
using Operation = int32_t (*)(QXHandle);

/// Runs with the flags of the objects.
class UnderContention : public testing::TestWithParam<uint32_t> {
protected:
    ~UnderContention() override {
        for (const auto& [handle, destroy] : m_made)
            EXPECT_EQ(destroy(handle), result::Ok);
    }
    void SetUp() override {
        if (GetParam() == QX_SYNC_SHARED) {
            QX_SKIP_UNLESS_SHARED();
        }
    }

    template <class Create>
    QXHandle make(Create create, Operation destroy) {
        QXHandle handle = 0;
        EXPECT_EQ(create(qxtest::uniqueName("contention").c_str(), GetParam(), &handle),
                  result::Ok);
        m_made.emplace_back(handle, destroy);
        return handle;
    }
    /// Runs the body in threads that it is given the numbers of.
    template <class Body>
    static void inThreads(int count, Body body) {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < count; ++thread)
            threads.emplace_back(body, thread);
    }

private:
    std::vector<std::pair<QXHandle, Operation>> m_made;
};

TEST_P(UnderContention, WhoWritesIsAlone) {
    constexpr int Threads = 4, Rounds = 10'000;
    const struct {
        QXHandle handle;
        Operation write, tryWrite, endWrite, read, tryRead, endRead;
    } locks[] = {
        {make(&QXMutexCreate, &QXMutexDestroy), &QXMutexAcquire, &QXMutexTryAcquire,
         &QXMutexRelease, &QXMutexAcquire, &QXMutexTryAcquire, &QXMutexRelease},
        {make(&QXConditionCreate, &QXConditionDestroy), &QXConditionAcquire, &QXConditionTryAcquire,
         &QXConditionRelease, &QXConditionAcquire, &QXConditionTryAcquire, &QXConditionRelease},
        {make(&QXRWLockCreate, &QXRWLockDestroy), &QXRWLockAcquireWrite, &QXRWLockTryAcquireWrite,
         &QXRWLockReleaseWrite, &QXRWLockAcquireRead, &QXRWLockTryAcquireRead,
         &QXRWLockReleaseRead},
    };
    for (const auto& lock : locks) {
        // Plain, as the sanitizer watches them, and equal whenever no writer is inside.
        int64_t first = 0, second = 0;
        inThreads(Threads, [&](int thread) {
            for (int i = 0; i < Rounds; ++i) {
                const bool writes = (i + thread) % 3 == 0;
                // Sometimes by trying again and again.
                const Operation take = i % 5 == 0 ? writes ? lock.tryWrite : lock.tryRead
                                       : writes   ? lock.write
                                                  : lock.read;
                while (take(lock.handle) < 0)
                    std::this_thread::yield();
                EXPECT_EQ(first, second);
                if (writes) {
                    ++first;
                    ++second;
                }
                (writes ? lock.endWrite : lock.endRead)(lock.handle);
            }
        });
        EXPECT_EQ(first, (int64_t{Threads} * Rounds + 2) / 3);
    }
}

TEST_P(UnderContention, ATimeOutLosesNoSignalOfAnEvent) {
    // Each signal is answered through the other event, so that none may be dropped although the
    // waits run out all the time.
    constexpr int Rounds = 2'000;
    const QXHandle events[] = {make(&QXEventCreate, &QXEventDestroy),
                               make(&QXEventCreate, &QXEventDestroy)};
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
    const QXHandle semaphore =
        make([](auto... about) { return QXSemaphoreCreate(0, about...); }, &QXSemaphoreDestroy);
    std::atomic<int> posted{0}, taken{0};
    inThreads(Producers + Consumers, [&](int thread) {
        if (thread < Consumers) {
            for (int i = 0; i < Units / Consumers; ++i) {
                EXPECT_EQ(QXSemaphoreWait(semaphore), result::Ok);
                const int takenNow = ++taken;
                EXPECT_LE(takenNow, posted);
            }
            return;
        }
        for (int i = 0; i < Units / Producers; ++i) {
            ++posted;
            EXPECT_EQ(QXSemaphorePost(semaphore), result::Ok);
            if (i % 16 == 0)
                std::this_thread::yield();
        }
    });
    EXPECT_EQ(QXSemaphoreGetValue(semaphore, nullptr), result::NullPointer);
    int32_t value = -1;
    EXPECT_EQ(QXSemaphoreGetValue(semaphore, &value), result::Ok);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(taken, Units);
}

TEST_P(UnderContention, SignalsAndTimeOutsOfAConditionThatMeetAddUp) {
    constexpr int Waiters = 3, Signals = 1'000;
    const QXHandle condition = make(&QXConditionCreate, &QXConditionDestroy);
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
    EXPECT_GE(received, Signals);
    if (GetParam() == 0) { // by name, a signal may also be taken by one whose time ran out with it
        EXPECT_EQ(received, Signals);
    }
}

INSTANTIATE_TEST_SUITE_P(Flags, UnderContention, testing::Values(0u, QX_SYNC_SHARED));

} // namespace
