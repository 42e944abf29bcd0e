#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/result.h>
#include <qx/platform/sync.h>

// Events, semaphores and conditions of one process under contention.

namespace {

namespace result = qx::result;

using Event = qx::PlatformHandle<&QXEventDestroy>;
using Semaphore = qx::PlatformHandle<&QXSemaphoreDestroy>;
using ConditionHandle = qx::PlatformHandle<&QXConditionDestroy>;

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
    EXPECT_EQ(QXSemaphoreGetValue(semaphore.get(), nullptr), result::NullPointer);
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

} // namespace
