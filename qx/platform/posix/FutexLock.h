#pragma once

#include "qx/platform/posix/futex.h"

namespace qx::platform {

/// The plain lock under the others: four bytes, neither recursive nor aware of its holder. Spins
/// for a moment when it is held, then sleeps. Free to be destroyed by the next holder while unlock
/// is still returning.
class FutexLock {
public:
    bool try_lock() noexcept {
        uint32_t expected = Free;
        return m_state.compare_exchange_strong(expected, Held, std::memory_order_acquire,
                                               std::memory_order_relaxed);
    }

    void lock() noexcept {
        if (!try_lock())
            lockContended();
    }

    void unlock() noexcept {
        const uint32_t* word = futexWord(m_state);
        if (m_state.exchange(Free, std::memory_order_release) == Contended)
            futexWake(word, 1);
    }

    /// What lock does once a try has failed.
    void lockContended() noexcept;

private:
    enum State : uint32_t {
        Free,
        Held,
        Contended, // held, and somebody may sleep
    };

    std::atomic<uint32_t> m_state{Free};
};

} // namespace qx::platform
