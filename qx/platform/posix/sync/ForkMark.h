#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include <qx/platform/posix/sync/FutexLock.h>

namespace qx::platform {

/// Tells an object between the threads of one process whether it is older than the last fork. In a
/// child those who waited for it at that moment are gone, and their stacks are used for something
/// else: it must neither look at them nor count on them.
class ForkMark {
public:
    /// Always the same for one object in one process.
    bool isFromParent() const noexcept {
        return m_forks.load(std::memory_order_acquire) != s_forks;
    }

    /// Lets @p forgetWaiters take all traces of them out of an object that is from the parent,
    /// which is then this process's own. Every thread passes here before it touches what that
    /// takes out. True when the object was from the parent.
    template <class Forget>
    bool makeOwn(Forget forgetWaiters) noexcept {
        return isFromParent() && makeOwnOnce(forgetWaiters);
    }

    /// For forks, which hold the lock.
    static void lock() noexcept { s_lock.lock(); }
    static void unlock() noexcept { s_lock.unlock(); }
    static void countFork() noexcept { ++s_forks; }

private:
    template <class Forget>
    QX_CONTENDED bool makeOwnOnce(Forget forgetWaiters) noexcept {
        const std::lock_guard guard(s_lock);
        if (isFromParent()) {
            forgetWaiters();
            m_forks.store(s_forks, std::memory_order_release);
        }
        return true;
    }

    /// Forks between the first process and this one. Changes while a child has one thread only.
    [[gnu::visibility("hidden")]] static constinit uint32_t s_forks;
    [[gnu::visibility("hidden")]] static constinit FutexLock s_lock; // of every object

    std::atomic<uint32_t> m_forks{s_forks};
};

} // namespace qx::platform
