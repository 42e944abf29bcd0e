#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace qxtest {

/// Runs the body in as many threads at once, with their numbers from 0, and waits for them.
void inThreads(int count, auto body) {
    std::vector<std::jthread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back(body, number);
}

/// Returns when the thread of that number, of whatever process, sleeps in the kernel or the
/// predicate holds.
void awaitAsleep(int threadNumber, const std::function<bool()>& isFinished);

/// A thread whose body blocks at some point, and of which a test can tell when it does. Joined by
/// the destructor.
class BlockingThread {
public:
    explicit BlockingThread(auto body)
        : m_thread([this, body] {
              m_number = ownNumber();
              body();
              m_finished = true;
          }) {}

    bool isFinished() const { return m_finished; }
    /// Returns when the thread sleeps in the kernel, or is finished.
    void awaitBlocked() const;
    void join() { m_thread.join(); }

private:
    static int ownNumber();

    std::atomic<int> m_number{0};
    std::atomic<bool> m_finished{false};
    std::jthread m_thread; // last: its body uses the members above
};

} // namespace qxtest
