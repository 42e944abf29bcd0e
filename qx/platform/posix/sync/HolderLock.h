#pragma once

#include <qx/platform/posix/shared/SharedObject.h>

namespace qx::platform::shared {

/// What FutexLock is inside a process: a lock that knows its holder. The kernel passes it on when
/// the holder dies.
class HolderLock {
public:
    static constexpr bool IsInherited = true;

    bool tryAsKnown(SharedObject& caller) noexcept {
        return isAcquired(m_lock, m_lock.tryAcquire(), [] {}) && enter(caller);
    }
    [[nodiscard]] bool try_lock(SharedObject& caller) noexcept { return tryAsKnown(caller); }
    void lock(SharedObject& caller) noexcept {
        isAcquired(m_lock, m_lock.acquire(), [] {});
        enter(caller);
    }
    void lockContended(SharedObject& caller) noexcept { lock(caller); }

    void unlock(SharedObject&) noexcept {
        m_holder.store(NoThread, std::memory_order_relaxed);
        m_lock.release();
    }
    bool tryUnlockUncontended(SharedObject& caller) noexcept {
        if (!isHeld(caller))
            return false;
        unlock(caller);
        return true;
    }

    bool isHeld(SharedObject& caller) const noexcept {
        return m_holder.load(std::memory_order_relaxed) == caller.caller();
    }

    /// Unlocks when the calling thread holds it. A process that comes to its slot only forgets a
    /// holder that had the slot before, for whom its own threads would be taken.
    void leave(SharedObject& caller) noexcept {
        uint64_t holder = m_holder.load(std::memory_order_relaxed);
        if (caller.isOwn(holder) && m_holder.compare_exchange_strong(holder, NoThread) &&
            caller.isUsable() && holder == caller.caller())
            m_lock.release();
    }

private:
    bool enter(SharedObject& caller) noexcept {
        m_holder.store(caller.caller(), std::memory_order_relaxed);
        return true;
    }

    RobustLock m_lock;
    std::atomic<uint64_t> m_holder = NoThread;
};

} // namespace qx::platform::shared
