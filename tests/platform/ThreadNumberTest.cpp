#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <qx/platform/native.h>

TEST(ThreadNumber, DiffersBetweenLiveThreadsAndStaysTheSame) {
    constexpr int Threads = 8;
    std::mutex mutex;
    std::multiset<uint32_t> numbers{QXThreadCurrentId()};
    std::vector<std::jthread> threads;
    for (int i = 0; i < Threads; ++i) {
        threads.emplace_back([&] {
            std::unique_lock lock(mutex);
            numbers.insert(QXThreadCurrentId());
            while (numbers.size() <= Threads) { // all alive at once
                lock.unlock();
                std::this_thread::yield();
                lock.lock();
            }
            EXPECT_EQ(numbers.count(QXThreadCurrentId()), 1u);
        });
    }
    threads.clear();
    EXPECT_EQ(numbers.count(0), 0u);
    EXPECT_EQ(numbers.count(QXThreadCurrentId()), 1u);
}

TEST(ThreadNumber, IsNotInheritedByAForkedChild) {
    const uint32_t parent = QXThreadCurrentId();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(QXThreadCurrentId() == parent ? 1 : 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
