#pragma once

#include <qx/platform/posix/process/ThreadIdentity.h>
#include <qx/platform/posix/sync/futex.h>

namespace qx::platform {

/// The lock under the others: one word that names its holder, so that acquiring, releasing and
/// asking who holds it touch nothing else. The next holder may destroy it while unlock is still
/// returning.
class FutexLock {
public:
    static constexpr bool IsInherited = false; // nobody gets it when its holder ends

    [[nodiscard]] bool try_lock() noexcept {
        return tryAsKnown() || (!t_callingThread.isKnown() && tryLockForTheFirstTime());
    }

    /// The same, but fails as well when the calling thread has no identity yet.
    bool tryAsKnown() noexcept {
        uint64_t expected = t_callingThread.freeLock;
        return m_state.compare_exchange_strong(expected, t_callingThread.identity,
                                               std::memory_order_acquire,
                                               std::memory_order_relaxed);
    }

    void lock() noexcept {
        if (!try_lock())
            lockContended();
    }

    /// For the holder only.
    void unlock() noexcept {
        if (!tryUnlockUncontended())
            unlockContended();
    }

    /// Unlocks when the caller is the holder and nobody sleeps. False: nothing has happened.
    bool tryUnlockUncontended() noexcept {
        uint64_t expected = t_callingThread.identity;
        return m_state.compare_exchange_strong(expected, NoThread, std::memory_order_release,
                                               std::memory_order_relaxed);
    }

    /// True when the calling thread is the holder. Relaxed is enough: a thread finds its own
    /// identity only where it has itself stored it.
    bool isHeld() const noexcept {
        return (m_state.load(std::memory_order_relaxed) & ~Contended) == t_callingThread.identity;
    }

    /// What lock does once a try has failed.
    QX_CONTENDED void lockContended() noexcept;

private:
    static constexpr uint64_t Contended = 1; // in the holder's free low bit: somebody may sleep

    QX_CONTENDED bool tryLockForTheFirstTime() noexcept;
    QX_CONTENDED void unlockContended() noexcept;

    std::atomic<uint64_t> m_state{NoThread};
};

} // namespace qx::platform
