#pragma once

#include <qx/platform/result.h>

#include "qx/platform/posix/FutexLock.h"
#include "qx/platform/posix/ThreadIdentity.h"

namespace qx::platform {

/// A FutexLock that knows its holder: QXMutex, and the lock of QXCondition.
class RecursiveLock {
public:
    int32_t acquire() noexcept {
        const ThreadIdentity self = currentThread();
        if (!m_lock.try_lock()) {
            if (isHeldBy(self)) {
                ++m_depth;
                return result::Ok;
            }
            m_lock.lockContended();
        }
        m_holder.store(self, std::memory_order_relaxed);
        return result::Ok;
    }

    int32_t tryAcquire() noexcept {
        const ThreadIdentity self = currentThread();
        if (m_lock.try_lock()) {
            m_holder.store(self, std::memory_order_relaxed);
            return result::Ok;
        }
        if (!isHeldBy(self))
            return result::Busy;
        ++m_depth;
        return result::Ok;
    }

    int32_t release() noexcept {
        if (!isHeldBy(currentThread()))
            return result::NotOwner;
        if (m_depth != 0) {
            --m_depth;
            return result::Ok;
        }
        m_holder.store(NoThread, std::memory_order_relaxed);
        m_lock.unlock();
        return result::Ok;
    }

    bool isHeld() const noexcept { return isHeldBy(currentThread()); }

    /// Acquisitions of the holder beyond its first.
    uint64_t depth() const noexcept { return m_depth; }

    /// Gives up what the calling holder has acquired, whatever the depth.
    void releaseWhole() noexcept {
        m_depth = 0;
        release();
    }

    /// Takes back what releaseWhole gave up.
    void acquireWhole(uint64_t depth) noexcept {
        acquire();
        m_depth = depth;
    }

private:
    // Relaxed is enough: a thread reads its own identity only where it has itself stored it.
    bool isHeldBy(ThreadIdentity thread) const noexcept {
        return m_holder.load(std::memory_order_relaxed) == thread;
    }

    FutexLock m_lock;
    std::atomic<ThreadIdentity> m_holder{NoThread};
    uint64_t m_depth = 0; // guarded by m_lock
};

} // namespace qx::platform
