#pragma once

#include <qx/platform/result.h>

#include <qx/platform/posix/sync/futex.h>

namespace qx::platform {

/// Where the waiters of an event or a semaphore sleep: each takes one of the grants that are given
/// for them. Count and number of waiters share one word, so that a grant knows whether to wake
/// without touching the object again: the thread it lets go may destroy it.
class Grants {
public:
    QX_CONTENDED void grant() noexcept;

    /// Takes a grant; TimedOut when there is none before @p deadline (null: waits for ever).
    QX_CONTENDED int32_t wait(const Deadline* deadline = nullptr) noexcept;

    /// Waits as one of those whom @p balance counts: it is -n for n waiters without a grant. Who
    /// has none in time is taken out of it.
    template <class Number>
    int32_t wait(std::atomic<Number>& balance, const Deadline& deadline) noexcept {
        if (wait(&deadline) == result::Ok)
            return result::Ok;
        Number waiters = balance.load(std::memory_order_relaxed);
        while (waiters < 0) {
            if (balance.compare_exchange_weak(waiters, waiters + 1, std::memory_order_relaxed))
                return result::TimedOut;
        }
        return wait(); // every waiter has been granted one, so that it is on its way
    }

    /// Grants that nobody has taken yet.
    uint32_t count() const noexcept {
        return static_cast<uint32_t>(m_state.load(std::memory_order_relaxed));
    }

    /// Forgets grants and sleepers of a process that is not this one.
    void forgetAll() noexcept { m_state.store(0, std::memory_order_relaxed); }

private:
    static constexpr uint64_t OneWaiter = uint64_t{1} << 32;

    bool tryTake(uint64_t waiter) noexcept;

    std::atomic<uint64_t> m_state{0}; // grants in the low half, sleepers in the high half
};

} // namespace qx::platform
