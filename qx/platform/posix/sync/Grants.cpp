#include "qx/platform/posix/sync/Grants.h"

namespace qx::platform {

void Grants::grant() noexcept {
    const uint32_t* word = futexWord(m_state);
    if (m_state.fetch_add(1, std::memory_order_release) >= OneWaiter)
        futexWake(word, 1);
    else
        t_spinHabit.hasMetSpinner();
}

int32_t Grants::wait(const Deadline* deadline) noexcept {
    if (spinForAnswer([this] { return tryTake(0); }))
        return result::Ok;
    m_state.fetch_add(OneWaiter, std::memory_order_relaxed);
    bool inTime = true;
    while (!tryTake(OneWaiter)) {
        if (!inTime) {
            m_state.fetch_sub(OneWaiter, std::memory_order_relaxed);
            return result::TimedOut;
        }
        inTime = futexWait(futexWord(m_state), 0, deadline);
    }
    return result::Ok;
}

/// Takes a grant, if there is one, and @p waiter, which is OneWaiter for one that is counted: that
/// is woken, while one that spins will see.
bool Grants::tryTake(uint64_t waiter) noexcept {
    uint64_t state = m_state.load(std::memory_order_relaxed);
    while (static_cast<uint32_t>(state) != 0) {
        if (m_state.compare_exchange_weak(state, state - waiter - 1, std::memory_order_acquire,
                                          std::memory_order_relaxed))
            return true;
    }
    return false;
}

} // namespace qx::platform
