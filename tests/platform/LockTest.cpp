#include <atomic>
#include <barrier>
#include <chrono>
#include <deque>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include "tests/support/BlockingThread.h"

// Mutexes and reader-writer locks of one process.

namespace {

namespace result = qx::result;
using qxtest::BlockingThread;

class MutexTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(QXMutexCreate("test", 0, m_owner.put()), result::Ok); }

    QXHandle mutex() const { return m_owner.get(); }

private:
    qx::PlatformHandle<&QXMutexDestroy> m_owner;
};

template <class Body>
auto onAnotherThread(Body body) {
    decltype(body()) value{};
    std::jthread([&] { value = body(); }).join();
    return value;
}

TEST_F(MutexTest, IsHeldUntilReleasedAsOftenAsAcquired) {
    const auto othersTry = [this] {
        const int32_t acquired = QXMutexTryAcquire(mutex());
        return acquired == result::Ok ? QXMutexRelease(mutex()) : acquired;
    };
    EXPECT_EQ(QXMutexAcquire(mutex()), result::Ok);
    EXPECT_EQ(QXMutexAcquire(mutex()), result::Ok);
    EXPECT_EQ(QXMutexTryAcquire(mutex()), result::Ok);
    for (int depth = 3; depth > 0; --depth) {
        EXPECT_EQ(onAnotherThread(othersTry), result::Busy) << depth;
        EXPECT_EQ(QXMutexRelease(mutex()), result::Ok);
    }
    EXPECT_EQ(onAnotherThread(othersTry), result::Ok);
    EXPECT_EQ(QXMutexRelease(mutex()), result::NotOwner);
}

TEST_F(MutexTest, IsReleasedByItsHolderOnly) {
    const auto release = [this] { return QXMutexRelease(mutex()); };
    EXPECT_EQ(release(), result::NotOwner);
    EXPECT_EQ(QXMutexAcquire(mutex()), result::Ok);
    EXPECT_EQ(onAnotherThread(release), result::NotOwner);
    EXPECT_EQ(release(), result::Ok);
}

TEST_F(MutexTest, ExcludesUnderContention) {
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

TEST_F(MutexTest, ASleepingWaiterIsWoken) {
    std::deque<BlockingThread> waiters;
    ASSERT_EQ(QXMutexAcquire(mutex()), result::Ok);
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([this] {
            EXPECT_EQ(QXMutexAcquire(mutex()), result::Ok);
            EXPECT_EQ(QXMutexRelease(mutex()), result::Ok);
        });
    }
    for (const BlockingThread& waiter : waiters)
        waiter.awaitBlocked();
    EXPECT_EQ(QXMutexRelease(mutex()), result::Ok);
    waiters.clear(); // joins: hangs if one was missed
}

class RWLockTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(QXRWLockCreate("test", 0, m_owner.put()), result::Ok); }

    QXHandle lock() const { return m_owner.get(); }

    int32_t othersTryRead() const {
        return onAnotherThread([this] {
            const int32_t acquired = QXRWLockTryAcquireRead(lock());
            return acquired == result::Ok ? QXRWLockReleaseRead(lock()) : acquired;
        });
    }
    int32_t othersTryWrite() const {
        return onAnotherThread([this] {
            const int32_t acquired = QXRWLockTryAcquireWrite(lock());
            return acquired == result::Ok ? QXRWLockReleaseWrite(lock()) : acquired;
        });
    }

private:
    qx::PlatformHandle<&QXRWLockDestroy> m_owner;
};

TEST_F(RWLockTest, AdmitsReadersTogetherAndWritersAlone) {
    EXPECT_EQ(QXRWLockAcquireRead(lock()), result::Ok);
    EXPECT_EQ(othersTryRead(), result::Ok);
    EXPECT_EQ(othersTryWrite(), result::Busy);
    EXPECT_EQ(QXRWLockReleaseRead(lock()), result::Ok);

    EXPECT_EQ(QXRWLockAcquireWrite(lock()), result::Ok);
    EXPECT_EQ(othersTryRead(), result::Busy);
    EXPECT_EQ(othersTryWrite(), result::Busy);
    EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::Ok);
    EXPECT_EQ(othersTryWrite(), result::Ok);
}

TEST_F(RWLockTest, RefusesToReleaseWhatIsNotHeld) {
    EXPECT_EQ(QXRWLockReleaseRead(lock()), result::NotOwner);
    EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::NotOwner);

    ASSERT_EQ(QXRWLockAcquireRead(lock()), result::Ok);
    EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::NotOwner);
    EXPECT_EQ(QXRWLockReleaseRead(lock()), result::Ok);
    EXPECT_EQ(QXRWLockReleaseRead(lock()), result::NotOwner);

    ASSERT_EQ(QXRWLockAcquireWrite(lock()), result::Ok);
    EXPECT_EQ(QXRWLockReleaseRead(lock()), result::NotOwner);
    EXPECT_EQ(onAnotherThread([this] { return QXRWLockReleaseWrite(lock()); }), result::NotOwner);
    EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::Ok);
    EXPECT_EQ(othersTryWrite(), result::Ok); // nothing was left behind
}

TEST_F(RWLockTest, AWriterThatWouldWaitForItselfIsTold) {
    ASSERT_EQ(QXRWLockTryAcquireWrite(lock()), result::Ok);
    EXPECT_EQ(QXRWLockAcquireWrite(lock()), result::Deadlock);
    EXPECT_EQ(QXRWLockAcquireRead(lock()), result::Deadlock);
    EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::Ok);
}

TEST_F(RWLockTest, AWriterThatWaitsKeepsLaterReadersOut) {
    ASSERT_EQ(QXRWLockAcquireRead(lock()), result::Ok);
    BlockingThread writer([this] {
        EXPECT_EQ(QXRWLockAcquireWrite(lock()), result::Ok);
        EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::Ok);
    });
    writer.awaitBlocked();
    EXPECT_EQ(othersTryRead(), result::Busy);
    EXPECT_EQ(QXRWLockReleaseRead(lock()), result::Ok);
    writer.join();
    EXPECT_EQ(othersTryRead(), result::Ok);
}

TEST_F(RWLockTest, AWriterLetsAllWaitingReadersInBeforeTheNextWriter) {
    constexpr int Readers = 4;
    ASSERT_EQ(QXRWLockAcquireWrite(lock()), result::Ok);
    std::atomic<int> readersDone{0};
    BlockingThread nextWriter([&] {
        EXPECT_EQ(QXRWLockAcquireWrite(lock()), result::Ok);
        EXPECT_EQ(readersDone, Readers);
        EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::Ok);
    });
    nextWriter.awaitBlocked();
    std::barrier allInside(Readers); // hangs unless they hold the lock together
    std::deque<BlockingThread> readers;
    for (int i = 0; i < Readers; ++i) {
        readers.emplace_back([&] {
            EXPECT_EQ(QXRWLockAcquireRead(lock()), result::Ok);
            allInside.arrive_and_wait();
            ++readersDone;
            EXPECT_EQ(QXRWLockReleaseRead(lock()), result::Ok);
        });
    }
    for (const BlockingThread& reader : readers)
        reader.awaitBlocked();
    EXPECT_EQ(QXRWLockReleaseWrite(lock()), result::Ok);
}

TEST_F(RWLockTest, NeitherSideStarves) {
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

TEST_F(RWLockTest, KeepsItsPromiseUnderContention) {
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

} // namespace
