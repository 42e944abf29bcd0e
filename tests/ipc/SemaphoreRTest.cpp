#include <qx/ipc/SemaphoreR.h>

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qxtest;
using qx::ipc::SemaphoreR;

namespace {

void onOtherThread(const std::function<void()>& body) { std::thread(body).join(); }

} // namespace

TEST(SemaphoreR, TakesOneUnitHoweverDeepItsOwnerIsAndWhoeverElseSignals) {
    const std::string name = uniqueName("sem");
    SemaphoreR semaphore(name.c_str(), 1, nullptr);
    ipc::Semaphore underlying(name.c_str(), 9);
    semaphore.wait();
    EXPECT_TRUE(semaphore.tryWait());
    semaphore.wait();
    EXPECT_EQ(semaphore.getValue(), 0);
    semaphore.signal();
    onOtherThread([&] {
        semaphore.signal();
        semaphore.signal();
        EXPECT_FALSE(semaphore.tryWait());
    });
    semaphore.signal();
    EXPECT_EQ(underlying.getValue(), 0);
    EXPECT_FALSE(underlying.tryWait());
    semaphore.signal();
    EXPECT_EQ(underlying.getValue(), 1);
    semaphore.signal(); // nobody's: ignored
    EXPECT_EQ(underlying.getValue(), 1);
    onOtherThread([&] { EXPECT_TRUE(std::unique_lock(semaphore, std::try_to_lock)); });
    EXPECT_EQ(semaphore.getValue(), 1);
}

TEST(SemaphoreR, ABlockedThreadDoesNotHoldTheGuard) {
    const Reference<sync::Mutex> guard(new sync::Mutex);
    {
        SemaphoreR semaphore(uniqueName("sem").c_str(), 1, guard);
        EXPECT_EQ(guard->GetRefCount(), 2u);
        semaphore.wait();
        BlockingThread waiter([&] {
            semaphore.wait();
            semaphore.signal();
        });
        waiter.awaitBlocked();
        EXPECT_FALSE(waiter.isFinished());
        semaphore.signal(); // hangs if the waiter had the guard
        waiter.join();
        EXPECT_EQ(semaphore.getValue(), 1);
    }
    EXPECT_EQ(guard->GetRefCount(), 1u);
}

TEST(SemaphoreR, ExcludesThreadsThroughOneObjectAndThroughSeveral) {
    const std::string name = uniqueName("sem");
    SemaphoreR common(name.c_str(), 1, nullptr);
    int counter = 0; // guarded by the semaphore
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            SemaphoreR own(name.c_str(), 1, nullptr);
            SemaphoreR& semaphore = i % 2 == 0 ? common : own;
            for (int round = 0; round < 300; ++round) {
                semaphore.wait();
                semaphore.wait();
                const int seen = counter;
                std::this_thread::yield();
                counter = seen + 1;
                semaphore.signal();
                semaphore.signal();
            }
        });
    }
    threads.clear();
    EXPECT_EQ(counter, 4 * 300);
    EXPECT_EQ(common.getValue(), 1);
}

TEST(SemaphoreR, ThrowsWhatThePlatformSays) {
    EXPECT_THROW(SemaphoreR("", 1, nullptr), ResultException);
    ipc::Semaphore full(uniqueName("sem").c_str(), 0x7FFFFFFF);
    expectThrowsResult(result::Overflow, [&] { full.signal(); });
    EXPECT_EQ(full.getValue(), 0x7FFFFFFF);
}
