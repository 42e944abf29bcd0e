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
        const auto isFreeAndTaken = [&] {
            return m_holder.load(std::memory_order_relaxed) == NoThread && try_lock(caller);
        };
        if (spin(isFreeAndTaken))
            return;
        const ShownWaiting shown(caller);
        isAcquired(m_lock, m_lock.acquire(), [] {});
        enter(caller);
    }
    void lockContended(SharedObject& caller) noexcept { lock(caller); }

    /// A holder that is killed as soon as it has entered @p next has left nothing half done, and is
    /// not told of.
    void unlock(SharedObject& caller, uint64_t next = NoThread) noexcept {
        caller.heirs().forget();
        m_holder.store(next, std::memory_order_release);
        m_lock.release();
    }
    /// The same for a holder that has not looked at what a dead one left: the next one is told.
    void unlockUnused(SharedObject& caller) noexcept {
        unlock(caller, caller.heirs().isHeir() ? Abandoned : NoThread);
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

    /// Shows who holds it, and how often besides the first time.
    void report(StateReport& report, uint64_t depth) const noexcept {
        const uint64_t holder = m_holder.load(std::memory_order_relaxed);
        report.isFromDead = holder == Abandoned;
        const uint64_t slotNumber = SharedObject::slotNumberOf(holder);
        if (slotNumber == 0 || slotNumber > SlotCount)
            return;
        StateReport::Slot& slot = report.slots[slotNumber - 1];
        slot.held = static_cast<uint32_t>(depth + 1);
        report.value = slot.held;
    }

    /// Unlocks when the calling thread holds it. A process that comes to its slot only forgets
    /// which holder had the slot before, for whom its own threads would be taken.
    void leave(SharedObject& caller) noexcept {
        uint64_t holder = m_holder.load(std::memory_order_relaxed);
        if (caller.isOwn(holder) && m_holder.compare_exchange_strong(holder, Abandoned) &&
            caller.isUsable() && holder == caller.caller())
            m_lock.release();
    }

private:
    /// A holder that went without unlocking; no thread of any process.
    static constexpr uint64_t Abandoned = 1;

    /// Whoever finds a holder entered comes after one that has not unlocked. It is told before its
    /// own name stands there: when it is killed in between, the next one finds the same holder.
    bool enter(SharedObject& caller) noexcept {
        caller.heirs().note(m_holder.load(std::memory_order_relaxed) != NoThread);
        m_holder.store(caller.caller(), std::memory_order_relaxed);
        return true;
    }

    RobustLock m_lock;
    std::atomic<uint64_t> m_holder = NoThread;
};

} // namespace qx::platform::shared
