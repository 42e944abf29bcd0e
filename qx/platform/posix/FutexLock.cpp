#include "qx/platform/posix/FutexLock.h"

namespace qx::platform {

namespace {

/// Looks at a held lock before sleeping: a few microseconds, what a sleep and wake-up costs.
constexpr int SpinLimit = 100;

} // namespace

void FutexLock::lockContended() noexcept {
    for (int spin = 0; spin < SpinLimit; ++spin) {
        if (m_state.load(std::memory_order_relaxed) == Free && try_lock())
            return;
        relax();
    }
    // Whoever has slept takes the lock as contended, since others may sleep beside it.
    while (m_state.exchange(Contended, std::memory_order_acquire) != Free)
        futexWait(futexWord(m_state), Contended);
}

} // namespace qx::platform
