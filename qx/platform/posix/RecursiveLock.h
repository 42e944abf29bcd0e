#pragma once

#include <qx/platform/result.h>

#include "qx/platform/posix/FutexLock.h"

namespace qx::platform {

/// A FutexLock that its holder may acquire again: QXMutex, and the lock of QXCondition.
class RecursiveLock {
public:
    int32_t acquire() noexcept { return m_lock.tryAsKnown() ? result::Ok : acquireAgainOrWait(); }

    int32_t tryAcquire() noexcept { return m_lock.tryAsKnown() ? result::Ok : tryAcquireAgain(); }

    int32_t release() noexcept {
        // A stranger's look at the depth decides nothing: the lock knows its holder.
        if (depth() == 0 && m_lock.tryUnlockUncontended())
            return result::Ok;
        if (!m_lock.isHeld())
            return result::NotOwner;
        if (depth() != 0)
            setDepth(depth() - 1);
        else
            m_lock.unlock();
        return result::Ok;
    }

    bool isHeld() const noexcept { return m_lock.isHeld(); }

    /// Acquisitions of the holder beyond its first.
    uint64_t depth() const noexcept { return m_depth.load(std::memory_order_relaxed); }

    /// Gives up what the calling holder has acquired, whatever the depth.
    void releaseWhole() noexcept {
        setDepth(0);
        m_lock.unlock();
    }

    /// Takes back what releaseWhole gave up.
    void acquireWhole(uint64_t depth) noexcept {
        m_lock.lock();
        setDepth(depth);
    }

private:
    // Kept out of their callers, whose way would be longer for the registers that they need.
    [[gnu::noinline]] int32_t tryAcquireAgain() noexcept {
        if (m_lock.isHeld())
            setDepth(depth() + 1);
        else if (!m_lock.try_lock())
            return result::Busy;
        return result::Ok;
    }

    [[gnu::noinline]] int32_t acquireAgainOrWait() noexcept {
        if (tryAcquireAgain() != result::Ok)
            m_lock.lockContended();
        return result::Ok;
    }

    void setDepth(uint64_t depth) noexcept { m_depth.store(depth, std::memory_order_relaxed); }

    FutexLock m_lock;
    std::atomic<uint64_t> m_depth{0}; // changed by the holder only
};

} // namespace qx::platform
