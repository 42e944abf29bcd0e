#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include "tests/ipc/IpcTesting.h"

// Mutexes and reader-writer locks, of one process and by name, that several threads want at once.

namespace {

namespace result = qx::result;

/// Runs with the flags of the object.
class UnderContention : public testing::TestWithParam<uint32_t> {
protected:
    void SetUp() override {
        if (GetParam() == QX_SYNC_SHARED) {
            QX_SKIP_UNLESS_SHARED();
        }
        const std::string name = qxtest::uniqueName("contention");
        ASSERT_EQ(QXMutexCreate(name.c_str(), GetParam(), m_mutex.put()), result::Ok);
        ASSERT_EQ(QXRWLockCreate((name + ".lock").c_str(), GetParam(), m_lock.put()), result::Ok);
    }

    QXHandle mutex() const { return m_mutex.get(); }
    QXHandle lock() const { return m_lock.get(); }

private:
    qx::PlatformHandle<&QXMutexDestroy> m_mutex;
    qx::PlatformHandle<&QXRWLockDestroy> m_lock;
};

TEST_P(UnderContention, AMutexExcludes) {
    constexpr int Threads = 4;
    constexpr int Rounds = 20'000;
    int64_t count = 0; // plain: the sanitizer watches it
    std::vector<std::jthread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < Rounds; ++i) {
                const bool nested = (i + t) % 3 == 0;
                if (i % 5 != 0)
                    QXMutexAcquire(mutex());
                else
                    while (QXMutexTryAcquire(mutex()) < 0)
                        std::this_thread::yield();
                if (nested)
                    QXMutexAcquire(mutex());
                ++count;
                if (nested)
                    QXMutexRelease(mutex());
                QXMutexRelease(mutex());
            }
        });
    }
    threads.clear();
    EXPECT_EQ(count, int64_t{Threads} * Rounds);
}

TEST_P(UnderContention, NeitherReadersNorWritersStarve) {
    // Two threads of one side keep the lock busy without a gap until the other side got in often
    // enough; hangs if it never does.
    constexpr int Rounds = 50;
    for (const bool writersAreMany : {false, true}) {
        SCOPED_TRACE(writersAreMany);
        const auto enter = [&](bool write) {
            EXPECT_EQ((write ? QXRWLockAcquireWrite : QXRWLockAcquireRead)(lock()), result::Ok);
        };
        const auto leave = [&](bool write) {
            EXPECT_EQ((write ? QXRWLockReleaseWrite : QXRWLockReleaseRead)(lock()), result::Ok);
        };
        std::atomic<bool> done{false};
        std::vector<std::jthread> many;
        for (int i = 0; i < 3; ++i) {
            many.emplace_back([&] {
                while (!done) {
                    enter(writersAreMany);
                    std::this_thread::yield();
                    leave(writersAreMany);
                }
            });
        }
        for (int i = 0; i < Rounds; ++i) {
            enter(!writersAreMany);
            leave(!writersAreMany);
        }
        done = true;
    }
}

TEST_P(UnderContention, WritersAreAlone) {
    constexpr int Threads = 4;
    constexpr int Rounds = 5'000;
    int64_t first = 0; // plain, and equal whenever no writer is inside
    int64_t second = 0;
    std::vector<std::jthread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < Rounds; ++i) {
                if ((i + t) % 4 == 0) {
                    QXRWLockAcquireWrite(lock());
                    ++first;
                    ++second;
                    QXRWLockReleaseWrite(lock());
                } else {
                    while (i % 7 == 0 ? QXRWLockTryAcquireRead(lock()) < 0
                                      : QXRWLockAcquireRead(lock()) < 0)
                        std::this_thread::yield();
                    EXPECT_EQ(first, second);
                    QXRWLockReleaseRead(lock());
                }
            }
        });
    }
    threads.clear();
    EXPECT_EQ(first, int64_t{Threads} * Rounds / 4);
}

INSTANTIATE_TEST_SUITE_P(Flags, UnderContention, testing::Values(0u, QX_SYNC_SHARED));

} // namespace
