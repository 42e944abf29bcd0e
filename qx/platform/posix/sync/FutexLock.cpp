#include "qx/platform/posix/sync/FutexLock.h"

namespace qx::platform {

void FutexLock::lockContended() noexcept {
    const auto isFreeAndTaken = [this] {
        return m_state.load(std::memory_order_relaxed) == NoThread && try_lock();
    };
    if (spin(isFreeAndTaken))
        return;
    const ThreadIdentity self = currentThread();
    uint64_t state = m_state.load(std::memory_order_relaxed);
    for (;;) {
        if (state == NoThread) {
            // Taken as contended, since others may sleep beside this thread.
            if (m_state.compare_exchange_weak(state, self | Contended, std::memory_order_acquire,
                                              std::memory_order_relaxed))
                return;
        } else if ((state & Contended) != 0 ||
                   m_state.compare_exchange_weak(state, state | Contended,
                                                 std::memory_order_relaxed)) {
            // The kernel compares the low half, which has the bit and is as good as unique.
            futexWait(futexWord(m_state), static_cast<uint32_t>(state | Contended));
            state = m_state.load(std::memory_order_relaxed);
        }
    }
}

bool FutexLock::tryLockForTheFirstTime() noexcept {
    identifyThread();
    return try_lock();
}

void FutexLock::unlockContended() noexcept {
    const uint32_t* word = futexWord(m_state);
    m_state.store(NoThread, std::memory_order_release);
    futexWake(word, 1);
}

} // namespace qx::platform
