#include <qx/ipc/SemaphoreR.h>

#include <atomic>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>

#include "tests/ipc/IpcTesting.h"

using namespace qx;
using namespace qxtest;
using qx::ipc::SemaphoreR;

namespace {

void onOtherThread(const std::function<void()>& body) { std::thread(body).join(); }

} // namespace

TEST(SemaphoreR, TakesOneUnitHoweverDeepItsOwnerIs) {
    const std::string name = uniqueName("sem");
    SemaphoreR semaphore(name.c_str(), 1, nullptr);
    ipc::Semaphore underlying(name.c_str(), 9);
    semaphore.wait();
    EXPECT_TRUE(semaphore.tryWait());
    semaphore.wait();
    EXPECT_EQ(semaphore.getValue(), 0);
    semaphore.signal();
    semaphore.signal();
    EXPECT_EQ(underlying.getValue(), 0);
    EXPECT_FALSE(underlying.tryWait());
    semaphore.signal();
    EXPECT_EQ(underlying.getValue(), 1);
    semaphore.signal(); // nobody's: ignored
    EXPECT_EQ(underlying.getValue(), 1);
}

TEST(SemaphoreR, AStrangersSignalChangesNothing) {
    SemaphoreR semaphore(uniqueName("sem").c_str(), 1, nullptr);
    semaphore.wait();
    semaphore.wait();
    onOtherThread([&] {
        semaphore.signal();
        semaphore.signal();
        EXPECT_FALSE(semaphore.tryWait());
    });
    EXPECT_EQ(semaphore.getValue(), 0);
    semaphore.signal();
    EXPECT_EQ(semaphore.getValue(), 0);
    semaphore.signal();
    onOtherThread([&] {
        const std::unique_lock held(semaphore, std::try_to_lock);
        EXPECT_TRUE(held);
    });
    EXPECT_EQ(semaphore.getValue(), 1);
}

TEST(SemaphoreR, ABlockedThreadDoesNotHoldTheGuard) {
    const Reference<sync::Mutex> guard(new sync::Mutex);
    SemaphoreR semaphore(uniqueName("sem").c_str(), 1, guard);
    semaphore.wait();
    std::atomic<bool> acquired = false;
    std::thread waiter([&] {
        semaphore.wait();
        acquired = true;
        semaphore.signal();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(acquired);
    semaphore.signal(); // hangs if the waiter had the guard
    waiter.join();
    EXPECT_TRUE(acquired);
    EXPECT_EQ(semaphore.getValue(), 1);
}

TEST(SemaphoreR, ExcludesThreadsThroughOneObjectAndThroughSeveral) {
    const std::string name = uniqueName("sem");
    SemaphoreR common(name.c_str(), 1, nullptr);
    int counter = 0; // guarded by the semaphore
    std::vector<std::thread> threads;
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
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 4 * 300);
    EXPECT_EQ(common.getValue(), 1);
}

TEST(SemaphoreR, HoldsAReferenceOnItsGuard) {
    const Reference<sync::Mutex> guard(new sync::Mutex);
    {
        SemaphoreR semaphore(uniqueName("sem").c_str(), 1, guard);
        EXPECT_EQ(guard->GetRefCount(), 2u);
    }
    EXPECT_EQ(guard->GetRefCount(), 1u);
}

TEST(SemaphoreR, ThrowsWhatThePlatformSays) {
    EXPECT_THROW(SemaphoreR("", 1, nullptr), ResultException);
    ipc::Semaphore full(uniqueName("sem").c_str(), 0x7FFFFFFE);
    full.signal();
    try {
        full.signal();
        FAIL() << "counted beyond its limit";
    } catch (const ResultException& e) {
        EXPECT_EQ(e.getResult(), result::Overflow);
        EXPECT_EQ(full.getValue(), 0x7FFFFFFF);
    }
}
