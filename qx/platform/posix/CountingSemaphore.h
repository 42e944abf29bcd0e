#pragma once

#include <qx/platform/result.h>

#include "qx/platform/posix/futex.h"

namespace qx::platform {

/// Count and number of waiters in one word, so that a post knows whether to wake without touching
/// the object again: the thread it releases may destroy it.
class CountingSemaphore {
public:
    static constexpr uint32_t MaximumCount = 0x7FFFFFFF;

    explicit CountingSemaphore(uint32_t count) noexcept : m_state(count) {}

    int32_t post() noexcept {
        const uint32_t* word = futexWord(m_state);
        uint64_t state = m_state.load(std::memory_order_relaxed);
        do {
            if (countOf(state) == MaximumCount)
                return result::Overflow;
        } while (!m_state.compare_exchange_weak(state, state + 1, std::memory_order_release,
                                                std::memory_order_relaxed));
        if (state >= OneWaiter)
            futexWake(word, 1);
        return result::Ok;
    }

    int32_t tryWait() noexcept { return tryTake(1) ? result::Ok : result::Busy; }

    int32_t wait() noexcept { return waitUntil(nullptr); }

    /// Gives TimedOut when @p deadline (null: none) has passed.
    int32_t waitUntil(const Deadline* deadline) noexcept {
        return tryTake(1) ? result::Ok : waitContended(deadline);
    }

    int32_t getValue(int32_t* value) noexcept {
        if (value == nullptr)
            return result::NullPointer;
        *value = static_cast<int32_t>(countOf(m_state.load(std::memory_order_relaxed)));
        return result::Ok;
    }

private:
    static constexpr uint64_t OneWaiter = uint64_t{1} << 32;

    static uint32_t countOf(uint64_t state) noexcept { return static_cast<uint32_t>(state); }

    /// Subtracts @p amount, one unit and perhaps one waiter, unless the count is 0.
    bool tryTake(uint64_t amount) noexcept {
        uint64_t state = m_state.load(std::memory_order_relaxed);
        while (countOf(state) != 0) {
            if (m_state.compare_exchange_weak(state, state - amount, std::memory_order_acquire,
                                              std::memory_order_relaxed))
                return true;
        }
        return false;
    }

    int32_t waitContended(const Deadline* deadline) noexcept;

    std::atomic<uint64_t> m_state; // count in the low half, waiters in the high half
};

} // namespace qx::platform
