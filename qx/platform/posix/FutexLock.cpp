#include "qx/platform/posix/FutexLock.h"

namespace qx::platform {

namespace {

/// Pauses double between two looks at a held lock, so that the holder keeps the cache line to
/// itself most of the time; all of them together last about as long as a sleep and wake-up.
constexpr int LongestPause = 128;

} // namespace

void FutexLock::lockContended() noexcept {
    for (int pause = 1; pause <= LongestPause; pause *= 2) {
        for (int i = 0; i < pause; ++i)
            relax();
        if (m_state.load(std::memory_order_relaxed) == NoThread && try_lock())
            return;
    }
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

void FutexLock::unlockContended() noexcept {
    const uint32_t* word = futexWord(m_state);
    m_state.store(NoThread, std::memory_order_release);
    futexWake(word, 1);
}

} // namespace qx::platform
