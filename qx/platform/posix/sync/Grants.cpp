#include "qx/platform/posix/sync/Grants.h"

namespace qx::platform {

void Grants::grant() noexcept {
    const uint32_t* word = futexWord(m_state);
    if (m_state.fetch_add(1, std::memory_order_release) >= OneWaiter)
        futexWake(word, 1);
}

int32_t Grants::wait(const Deadline* deadline) noexcept {
    m_state.fetch_add(OneWaiter, std::memory_order_relaxed);
    bool inTime = true;
    while (!tryTake()) {
        if (!inTime) {
            m_state.fetch_sub(OneWaiter, std::memory_order_relaxed);
            return result::TimedOut;
        }
        inTime = futexWait(futexWord(m_state), 0, deadline);
    }
    return result::Ok;
}

/// Takes a grant, if there is one, for a waiter that is counted.
bool Grants::tryTake() noexcept {
    uint64_t state = m_state.load(std::memory_order_relaxed);
    while (static_cast<uint32_t>(state) != 0) {
        if (m_state.compare_exchange_weak(state, state - OneWaiter - 1, std::memory_order_acquire,
                                          std::memory_order_relaxed))
            return true;
    }
    return false;
}

} // namespace qx::platform
