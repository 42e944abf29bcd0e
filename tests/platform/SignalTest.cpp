#include <atomic>
#include <deque>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include "tests/support/BlockingThread.h"

// Events, gates, semaphores and conditions of one process.

namespace {

namespace result = qx::result;
using qxtest::BlockingThread;

using Event = qx::PlatformHandle<&QXEventDestroy>;
using Gate = qx::PlatformHandle<&QXGateDestroy>;
using Semaphore = qx::PlatformHandle<&QXSemaphoreDestroy>;
using ConditionHandle = qx::PlatformHandle<&QXConditionDestroy>;

TEST(EventTest, RemembersOneSignal) {
    Event event;
    ASSERT_EQ(QXEventCreate(nullptr, 0, event.put()), result::Ok);
    EXPECT_EQ(QXEventSignal(event.get()), result::Ok);
    EXPECT_EQ(QXEventSignal(event.get()), result::Ok);
    EXPECT_EQ(QXEventTimedWait(event.get(), 0), result::Ok);
    EXPECT_EQ(QXEventTimedWait(event.get(), 0), result::TimedOut);
    EXPECT_EQ(QXEventTimedWait(event.get(), 1), result::TimedOut); // leaves no trace either
    EXPECT_EQ(QXEventSignal(event.get()), result::Ok);
    EXPECT_EQ(QXEventWait(event.get()), result::Ok);
}

TEST(EventTest, EverySignalReleasesOneWaiter) {
    constexpr int Waiters = 4;
    Event event;
    ASSERT_EQ(QXEventCreate(nullptr, 0, event.put()), result::Ok);
    std::atomic<int> released{0};
    std::deque<BlockingThread> waiters;
    for (int i = 0; i < Waiters; ++i) {
        waiters.emplace_back([&, i] {
            EXPECT_EQ(i % 2 == 0 ? QXEventWait(event.get())
                                 : QXEventTimedWait(event.get(), 100'000),
                      result::Ok);
            ++released;
        });
    }
    for (const BlockingThread& waiter : waiters)
        waiter.awaitBlocked();
    // All in a row: the second comes before the first waiter had the time to run.
    for (int i = 0; i < Waiters; ++i)
        EXPECT_EQ(QXEventSignal(event.get()), result::Ok);
    waiters.clear();
    EXPECT_EQ(released, Waiters);
    EXPECT_EQ(QXEventTimedWait(event.get(), 0), result::TimedOut);
}

TEST(EventTest, ATimeOutLosesNoSignal) {
    // Each signal is answered through the other event, so that none may be dropped although the
    // waits run out all the time.
    constexpr int Rounds = 2'000;
    Event request;
    Event answer;
    ASSERT_EQ(QXEventCreate(nullptr, 0, request.put()), result::Ok);
    ASSERT_EQ(QXEventCreate(nullptr, 0, answer.put()), result::Ok);
    int shared = 0; // plain: handed over by the signals
    const std::jthread server([&] {
        for (int i = 0; i < Rounds; ++i) {
            while (QXEventTimedWait(request.get(), static_cast<uint32_t>(i % 2)) != result::Ok) {
            }
            ++shared;
            EXPECT_EQ(QXEventSignal(answer.get()), result::Ok);
        }
    });
    for (int i = 0; i < Rounds; ++i) {
        EXPECT_EQ(QXEventSignal(request.get()), result::Ok);
        while (QXEventTimedWait(answer.get(), 1) != result::Ok) {
        }
        EXPECT_EQ(shared, i + 1);
    }
}

TEST(GateTest, StaysOpenUntilClosed) {
    Gate gate;
    ASSERT_EQ(QXGateCreate(nullptr, 0, gate.put()), result::Ok);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(QXGateTryWait(gate.get()), result::Busy);
        EXPECT_EQ(QXGateTimedWait(gate.get(), 1), result::TimedOut);
        EXPECT_EQ(QXGateOpen(gate.get()), result::Ok);
        EXPECT_EQ(QXGateOpen(gate.get()), result::Ok);
        EXPECT_EQ(QXGateTryWait(gate.get()), result::Ok);
        EXPECT_EQ(QXGateWait(gate.get()), result::Ok);
        EXPECT_EQ(QXGateTimedWait(gate.get(), 0), result::Ok);
        EXPECT_EQ(QXGateClose(gate.get()), result::Ok);
        EXPECT_EQ(QXGateClose(gate.get()), result::Ok);
    }
}

TEST(GateTest, OpeningForAMomentReleasesEveryWaiter) {
    Gate gate;
    ASSERT_EQ(QXGateCreate(nullptr, 0, gate.put()), result::Ok);
    for (int round = 0; round < 20; ++round) {
        std::deque<BlockingThread> waiters;
        for (int i = 0; i < 4; ++i) {
            waiters.emplace_back([&, i] {
                EXPECT_EQ(i % 2 == 0 ? QXGateWait(gate.get())
                                     : QXGateTimedWait(gate.get(), 100'000),
                          result::Ok);
            });
        }
        for (const BlockingThread& waiter : waiters)
            waiter.awaitBlocked();
        EXPECT_EQ(QXGateOpen(gate.get()), result::Ok);
        EXPECT_EQ(QXGateClose(gate.get()), result::Ok);
        waiters.clear(); // joins: hangs if a waiter was missed
        EXPECT_EQ(QXGateTryWait(gate.get()), result::Busy);
    }
}

TEST(SemaphoreTest, CountsWithinItsLimits) {
    constexpr uint32_t Maximum = 0x7FFFFFFF;
    Semaphore semaphore;
    EXPECT_EQ(QXSemaphoreCreate(Maximum + 1, nullptr, 0, semaphore.put()), result::InvalidArgument);
    EXPECT_FALSE(semaphore);
    int32_t value = -1;

    ASSERT_EQ(QXSemaphoreCreate(Maximum, nullptr, 0, semaphore.put()), result::Ok);
    EXPECT_EQ(QXSemaphorePost(semaphore.get()), result::Overflow);
    EXPECT_EQ(QXSemaphoreGetValue(semaphore.get(), &value), result::Ok);
    EXPECT_EQ(value, 0x7FFFFFFF);
    EXPECT_EQ(QXSemaphoreGetValue(semaphore.get(), nullptr), result::NullPointer);

    ASSERT_EQ(QXSemaphoreCreate(1, nullptr, 0, semaphore.put()), result::Ok);
    EXPECT_EQ(QXSemaphoreTryWait(semaphore.get()), result::Ok);
    EXPECT_EQ(QXSemaphoreTryWait(semaphore.get()), result::Busy);
    EXPECT_EQ(QXSemaphoreGetValue(semaphore.get(), &value), result::Ok);
    EXPECT_EQ(value, 0);
}

TEST(SemaphoreTest, NoUnitIsLostOrMadeUnderContention) {
    constexpr int Producers = 2;
    constexpr int Consumers = 3; // uneven, so that some sleep while others take
    constexpr int Units = 6'000;
    Semaphore semaphore;
    ASSERT_EQ(QXSemaphoreCreate(0, nullptr, 0, semaphore.put()), result::Ok);
    std::atomic<int> posted{0};
    std::atomic<int> taken{0};
    std::vector<std::jthread> threads;
    for (int t = 0; t < Consumers; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < Units / Consumers; ++i) {
                EXPECT_EQ(QXSemaphoreWait(semaphore.get()), result::Ok);
                const int takenNow = ++taken;
                EXPECT_LE(takenNow, posted);
            }
        });
    }
    for (int t = 0; t < Producers; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < Units / Producers; ++i) {
                ++posted;
                EXPECT_EQ(QXSemaphorePost(semaphore.get()), result::Ok);
                if (i % 16 == 0)
                    std::this_thread::yield();
            }
        });
    }
    threads.clear();
    int32_t value = -1;
    EXPECT_EQ(QXSemaphoreGetValue(semaphore.get(), &value), result::Ok);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(taken, Units);
}

class ConditionTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(QXConditionCreate("test", 0, m_owner.put()), result::Ok); }

    QXHandle condition() const { return m_owner.get(); }
    void acquire() const { EXPECT_EQ(QXConditionAcquire(condition()), result::Ok); }
    void release() const { EXPECT_EQ(QXConditionRelease(condition()), result::Ok); }

private:
    ConditionHandle m_owner;
};

TEST_F(ConditionTest, IsWaitedForAndReleasedByItsHolderOnly) {
    EXPECT_EQ(QXConditionRelease(condition()), result::NotOwner);
    EXPECT_EQ(QXConditionWait(condition()), result::NotOwner);
    EXPECT_EQ(QXConditionTimedWait(condition(), 1), result::NotOwner);
    acquire();
    std::jthread([this] {
        EXPECT_EQ(QXConditionRelease(condition()), result::NotOwner);
        EXPECT_EQ(QXConditionWait(condition()), result::NotOwner);
    }).join();
    release();
}

TEST_F(ConditionTest, AWaitGivesUpTheWholeDepthAndTakesItBack) {
    for (const bool timesOut : {false, true}) {
        SCOPED_TRACE(timesOut);
        BlockingThread waiter([&, timesOut] {
            acquire();
            acquire();
            acquire();
            EXPECT_EQ(timesOut ? QXConditionTimedWait(condition(), 20)
                               : QXConditionWait(condition()),
                      timesOut ? result::TimedOut : result::Ok);
            release();
            release();
            release();
            EXPECT_EQ(QXConditionRelease(condition()), result::NotOwner);
        });
        waiter.awaitBlocked();
        acquire(); // hangs if the waiter kept a part of the lock
        if (!timesOut) {
            EXPECT_EQ(QXConditionSignal(condition()), result::Ok);
        }
        release();
    }
}

TEST_F(ConditionTest, SignalEndsTheLongestWaitAndBroadcastAll) {
    constexpr int Waiters = 4;
    std::vector<int> order; // guarded by the condition
    std::deque<BlockingThread> waiters;
    for (int i = 0; i < Waiters; ++i) {
        waiters.emplace_back([&, i] {
            acquire();
            EXPECT_EQ(QXConditionWait(condition()), result::Ok);
            order.push_back(i);
            release();
        });
        waiters.back().awaitBlocked();
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(QXConditionSignal(condition()), result::Ok); // without holding it
        waiters[static_cast<size_t>(i)].join();
    }
    acquire();
    EXPECT_EQ(order, (std::vector<int>{0, 1}));
    EXPECT_EQ(QXConditionBroadcast(condition()), result::Ok);
    release();
    waiters[2].join();
    waiters[3].join();
    EXPECT_EQ(order.size(), 4u);
    waiters.clear();

    // Nothing is remembered for later waits.
    EXPECT_EQ(QXConditionSignal(condition()), result::Ok);
    acquire();
    EXPECT_EQ(QXConditionTimedWait(condition(), 1), result::TimedOut);
    release();
}

TEST_F(ConditionTest, SignalsAndTimeOutsThatMeetAddUp) {
    constexpr int Waiters = 3;
    constexpr int Signals = 1'000;
    // All guarded by the condition. A wait that has begun and was not signalled yet can take a
    // signal, also while its time is just running out.
    int unsignalled = 0;
    int given = 0;
    int received = 0;
    std::vector<std::jthread> threads;
    for (int t = 0; t < Waiters; ++t) {
        threads.emplace_back([&, t] {
            acquire();
            while (given < Signals) {
                ++unsignalled;
                if (QXConditionTimedWait(condition(), static_cast<uint32_t>(t % 2)) == result::Ok)
                    ++received;
                else
                    --unsignalled;
            }
            release();
        });
    }
    for (bool done = false; !done;) {
        acquire();
        if (unsignalled > 0) {
            EXPECT_EQ(QXConditionSignal(condition()), result::Ok);
            --unsignalled;
            ++given;
        }
        done = given == Signals;
        release();
        std::this_thread::yield();
    }
    threads.clear();
    EXPECT_EQ(received, Signals);
}

TEST_F(ConditionTest, HandsAQueueOver) {
    constexpr int Items = 5'000;
    std::deque<int> queue;
    int64_t sum = 0;
    std::vector<std::jthread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < Items; ++i) {
                acquire();
                while (queue.empty())
                    QXConditionWait(condition());
                sum += queue.front();
                queue.pop_front();
                if (queue.size() == 15)
                    QXConditionBroadcast(condition());
                release();
            }
        });
        threads.emplace_back([&] {
            for (int i = 1; i <= Items; ++i) {
                acquire();
                while (queue.size() == 16)
                    QXConditionWait(condition());
                queue.push_back(i);
                QXConditionBroadcast(condition());
                release();
            }
        });
    }
    threads.clear();
    EXPECT_EQ(sum, int64_t{Items} * (Items + 1));
}

} // namespace
