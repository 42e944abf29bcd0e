#include "qx/platform/sync.h"

#include <memory>
#include <mutex>

#include <qx/platform/posix/process/ThreadIdentity.h>
#include <qx/platform/posix/shared/SharedRWLock.h>
#include <qx/platform/posix/sync/ForkMark.h>
#include <qx/platform/posix/sync/FutexLock.h>
#include <qx/platform/posix/sync/WaitQueue.h>
#include <qx/platform/posix/sync/synchandle.h>

namespace qx::platform {

namespace {

/// A phase-fair lock. While nobody waits it is one word. Whoever has to wait queues, which keeps
/// later comers from overtaking, and is handed the lock by a release: a writer by the last reader
/// of a phase, all waiting readers by a writer.
class LocalRWLock {
public:
    int32_t acquireRead() noexcept {
        return tryEnter(Reading) ? result::Ok : acquireContended(Reading, m_readers);
    }

    int32_t acquireWrite() noexcept {
        const int32_t acquired =
            tryEnter(Writing) ? result::Ok : acquireContended(Writing, m_writers);
        if (acquired == result::Ok)
            m_writer.store(currentThread(), std::memory_order_relaxed);
        return acquired;
    }

    int32_t tryAcquireRead() noexcept { return tryOnce(Reading) ? result::Ok : result::Busy; }

    int32_t tryAcquireWrite() noexcept {
        if (!tryOnce(Writing))
            return result::Busy;
        m_writer.store(currentThread(), std::memory_order_relaxed);
        return result::Ok;
    }

    int32_t releaseRead() noexcept;
    int32_t releaseWrite() noexcept;

private:
    static constexpr uint32_t Writer = 1;
    static constexpr uint32_t Queued = 2; // set while a queue is not empty; changed under m_guard
    static constexpr uint32_t OneReader = 4;

    /// How a side enters: it adds its share to a state that has none of the blocking bits.
    struct Side {
        uint32_t blocking;
        uint32_t share;
    };
    static constexpr Side Reading{Writer | Queued, OneReader};
    static constexpr Side Writing{~0u, Writer};

    bool tryEnter(Side side) noexcept {
        uint32_t state = m_state.load(std::memory_order_relaxed);
        while ((state & side.blocking) == 0) {
            if (m_state.compare_exchange_weak(state, state + side.share, std::memory_order_acquire,
                                              std::memory_order_relaxed))
                return true;
        }
        return false;
    }

    /// A first try may have failed for those who waited in the parent of this process.
    bool tryOnce(Side side) noexcept {
        return tryEnter(side) || (forgetParents() && tryEnter(side));
    }

    /// To be called before m_guard is acquired. In a child of fork, threads that are not there
    /// stand in the queues, and one may have held m_guard. True when there may have been some.
    bool forgetParents() noexcept {
        return m_mark.makeOwn([this] {
            std::construct_at(&m_guard);
            m_readers.forgetAll();
            m_writers.forgetAll();
            m_state.fetch_and(~Queued, std::memory_order_relaxed);
        });
    }

    QX_CONTENDED int32_t acquireContended(Side side, WaitQueue& queue) noexcept;
    bool enterOrQueue(Side side, WaitQueue& queue, Waiter& waiter) noexcept;
    QX_CONTENDED void admit(const WaitQueue& preferred) noexcept;

    std::atomic<uint32_t> m_state{0};
    FutexLock m_guard;
    std::atomic<ThreadIdentity> m_writer{NoThread};
    ForkMark m_mark;
    WaitQueue m_readers; // guarded by m_guard, like m_writers
    WaitQueue m_writers;
};

int32_t LocalRWLock::acquireContended(Side side, WaitQueue& queue) noexcept {
    if (m_writer.load(std::memory_order_relaxed) == t_callingThread.identity)
        return result::Deadlock;
    if (spin([this, side] { return tryEnter(side); }))
        return result::Ok;
    Waiter self;
    if (!enterOrQueue(side, queue, self))
        self.wait();
    return result::Ok;
}

/// True when the lock was free for @p side after all. Otherwise its holder, or the release that is
/// on its way to m_guard, will find the waiter.
bool LocalRWLock::enterOrQueue(Side side, WaitQueue& queue, Waiter& waiter) noexcept {
    forgetParents();
    const std::lock_guard guard(m_guard);
    uint32_t state = m_state.load(std::memory_order_relaxed);
    while ((state & Queued) == 0) {
        const bool enters = (state & side.blocking) == 0;
        if (m_state.compare_exchange_weak(state, enters ? state + side.share : state | Queued,
                                          std::memory_order_acquire, std::memory_order_relaxed)) {
            if (enters)
                return true;
            break;
        }
    }
    queue.push(waiter);
    return false;
}

int32_t LocalRWLock::releaseRead() noexcept {
    uint32_t state = m_state.load(std::memory_order_relaxed);
    do {
        if (state < OneReader)
            return result::NotOwner;
    } while (!m_state.compare_exchange_weak(state, state - OneReader, std::memory_order_acq_rel,
                                            std::memory_order_relaxed));
    if (state == OneReader + Queued)
        admit(m_writers);
    return result::Ok;
}

int32_t LocalRWLock::releaseWrite() noexcept {
    if (m_writer.load(std::memory_order_relaxed) != t_callingThread.identity)
        return result::NotOwner;
    m_writer.store(NoThread, std::memory_order_relaxed);
    uint32_t state = Writer;
    if (!m_state.compare_exchange_strong(state, 0, std::memory_order_release,
                                         std::memory_order_relaxed))
        admit(m_readers);
    return result::Ok;
}

/// Hands the lock, which nobody else can enter while Queued is set, to the next phase: the
/// @p preferred side if somebody waits there, else the other.
void LocalRWLock::admit(const WaitQueue& preferred) noexcept {
    WaitQueue admitted;
    forgetParents();
    {
        const std::lock_guard guard(m_guard);
        // Where Queued was only for threads of the parent, somebody may have entered after the last
        // reader, and who waits now is for that one to admit.
        if (&preferred == &m_writers && m_state.load(std::memory_order_relaxed) != Queued)
            return;
        const bool readers =
            m_writers.isEmpty() || (&preferred == &m_readers && !m_readers.isEmpty());
        if (readers)
            admitted.append(std::move(m_readers));
        else
            admitted.push(m_writers.pop());
        const bool stillQueued = !m_readers.isEmpty() || !m_writers.isEmpty();
        m_state.store((readers ? admitted.size() * OneReader : Writer) | (stillQueued ? Queued : 0),
                      std::memory_order_release);
    }
    admitted.grantAll();
}

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXRWLockCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<LocalRWLock, SharedRWLock>(name, flags, handle);
}

int32_t QXRWLockDestroy(QXHandle handle) { return destroySync<LocalRWLock, SharedRWLock>(handle); }

int32_t QXRWLockAcquireRead(QXHandle handle) {
    return callSync<&LocalRWLock::acquireRead, &SharedRWLock::acquireRead>(handle);
}

int32_t QXRWLockAcquireWrite(QXHandle handle) {
    return callSync<&LocalRWLock::acquireWrite, &SharedRWLock::acquireWrite>(handle);
}

int32_t QXRWLockTryAcquireRead(QXHandle handle) {
    return callSync<&LocalRWLock::tryAcquireRead, &SharedRWLock::tryAcquireRead>(handle);
}

int32_t QXRWLockTryAcquireWrite(QXHandle handle) {
    return callSync<&LocalRWLock::tryAcquireWrite, &SharedRWLock::tryAcquireWrite>(handle);
}

int32_t QXRWLockReleaseRead(QXHandle handle) {
    return callSync<&LocalRWLock::releaseRead, &SharedRWLock::releaseRead>(handle);
}

int32_t QXRWLockReleaseWrite(QXHandle handle) {
    return callSync<&LocalRWLock::releaseWrite, &SharedRWLock::releaseWrite>(handle);
}
