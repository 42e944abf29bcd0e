#pragma once

#include <atomic>
#include <cstdint>

#include <qx/platform/result.h>

namespace qx::platform {

/// A lock that its holder may acquire again: QXMutex, and the lock of QXCondition. @p Lock is what
/// excludes: a FutexLock inside a process, a HolderLock between processes. @p Caller is what that
/// needs to know the calling thread by, if anything.
template <class Lock, class... Caller>
class RecursiveLock {
public:
    int32_t acquire(Caller... caller) noexcept {
        return m_lock.tryAsKnown(caller...) ? entered() : acquireAgainOrWait(caller...);
    }

    int32_t tryAcquire(Caller... caller) noexcept {
        return m_lock.tryAsKnown(caller...) ? entered() : tryAcquireAgain(caller...);
    }

    int32_t release(Caller... caller) noexcept {
        // A stranger's look at the depth decides nothing: the lock knows its holder.
        if (depth() == 0 && m_lock.tryUnlockUncontended(caller...))
            return result::Ok;
        if (!isHeld(caller...))
            return result::NotOwner;
        if (depth() != 0)
            setDepth(depth() - 1);
        else
            m_lock.unlock(caller...);
        return result::Ok;
    }

    bool isHeld(Caller... caller) const noexcept { return m_lock.isHeld(caller...); }

    /// Acquisitions of the holder beyond its first.
    uint64_t depth() const noexcept { return m_depth.load(std::memory_order_relaxed); }

    /// Gives up what the calling holder has acquired, whatever the depth.
    void releaseWhole(Caller... caller) noexcept {
        setDepth(0);
        m_lock.unlock(caller...);
    }

    /// Gives up what was acquired once, by a holder that has not looked at what the lock guards: it
    /// leaves the news of a dead one to the next.
    void releaseUnused(Caller... caller) noexcept {
        if constexpr (Lock::IsInherited)
            m_lock.unlockUnused(caller...);
        else
            m_lock.unlock(caller...);
    }

    /// Takes back what releaseWhole gave up.
    void acquireWhole(uint64_t depth, Caller... caller) noexcept {
        m_lock.lock(caller...);
        setDepth(depth);
    }

    /// See SharedObject: gives up what the calling process holds and is able to give up.
    bool tryLeave(Caller... caller) noexcept {
        m_lock.leave(caller...);
        return true;
    }

    /// See SharedObject.
    template <class Report>
    void report(Report& report) const noexcept {
        m_lock.report(report, depth());
    }

private:
    // Kept out of their callers, whose way would be longer for the registers that they need.
    [[gnu::noinline]] int32_t tryAcquireAgain(Caller... caller) noexcept {
        if (isHeld(caller...)) {
            setDepth(depth() + 1);
            return result::Ok;
        }
        return m_lock.try_lock(caller...) ? entered() : result::Busy;
    }

    [[gnu::noinline]] int32_t acquireAgainOrWait(Caller... caller) noexcept {
        if (tryAcquireAgain(caller...) == result::Ok)
            return result::Ok;
        m_lock.lockContended(caller...);
        return entered();
    }

    int32_t entered() noexcept {
        if constexpr (Lock::IsInherited)
            setDepth(0); // a holder that died has left its own
        return result::Ok;
    }

    void setDepth(uint64_t depth) noexcept { m_depth.store(depth, std::memory_order_relaxed); }

    Lock m_lock;
    std::atomic<uint64_t> m_depth{0}; // changed by the holder only
};

} // namespace qx::platform
