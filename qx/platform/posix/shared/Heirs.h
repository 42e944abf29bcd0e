#pragma once

#include <atomic>
#include <cstdint>

#include <qx/platform/posix/process/ThreadIdentity.h>

namespace qx::platform::shared {

/// The threads of this process whose last acquisition of an object came after a holder who died, or
/// went without giving back. It takes no lock, so that a child of fork finds it whole, and costs a
/// look at one number as long as nobody died.
class Heirs {
public:
    /// Notes an acquisition of the calling thread.
    void note(bool isFromDead) noexcept {
        forget();
        if (isFromDead) [[unlikely]]
            add();
    }
    /// Notes that the calling thread has given back.
    void forget() noexcept {
        if (m_count.load(std::memory_order_relaxed) != 0) [[unlikely]]
            remove();
    }
    bool isHeir() const noexcept {
        if (m_count.load(std::memory_order_relaxed) == 0) [[likely]]
            return false;
        const ThreadIdentity self = currentThread();
        for (const auto& each : m_threads) {
            if (each.load(std::memory_order_relaxed) == self)
                return true;
        }
        return false;
    }
    /// In a child after fork, which has acquired nothing.
    void clear() noexcept {
        for (auto& each : m_threads)
            each.store(NoThread, std::memory_order_relaxed);
        m_count.store(0, std::memory_order_relaxed);
    }

private:
    // A thread that ends without giving back stays here, so that there is a limit: only those who
    // were told last are remembered.
    static constexpr uint32_t Capacity = 64;

    void add() noexcept {
        const uint32_t place = m_next.fetch_add(1, std::memory_order_relaxed) % Capacity;
        m_count.fetch_add(1, std::memory_order_relaxed);
        if (m_threads[place].exchange(currentThread(), std::memory_order_relaxed) != NoThread)
            m_count.fetch_sub(1, std::memory_order_relaxed);
    }
    void remove() noexcept {
        const ThreadIdentity self = currentThread();
        for (auto& each : m_threads) {
            ThreadIdentity expected = self; // another thread may put itself in its place
            if (each.compare_exchange_strong(expected, NoThread, std::memory_order_relaxed))
                m_count.fetch_sub(1, std::memory_order_relaxed);
        }
    }

    std::atomic<ThreadIdentity> m_threads[Capacity] = {};
    std::atomic<uint32_t> m_count = 0;
    std::atomic<uint32_t> m_next = 0;
};

} // namespace qx::platform::shared
