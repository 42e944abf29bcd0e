#include "qx/platform/sync.h"

#include <qx/platform/posix/shared/WaitTable.h>
#include <qx/platform/posix/sync/ForkMark.h>
#include <qx/platform/posix/sync/FutexLock.h>
#include <qx/platform/posix/sync/HolderLock.h>
#include <qx/platform/posix/sync/RecursiveLock.h>
#include <qx/platform/posix/sync/WaitQueue.h>
#include <qx/platform/posix/sync/synchandle.h>

namespace qx::platform {

namespace {

/// A lock and those who wait for a signal; both are of the process or between processes. A
/// signalled waiter, between processes the first of several, is woken when the signaller lets go of
/// the lock: earlier it would only wait for that.
template <class Waiters, class Lock, class... Caller>
class Condition {
public:
    int32_t acquire(Caller... caller) noexcept { return m_lock.acquire(caller...); }
    int32_t tryAcquire(Caller... caller) noexcept { return m_lock.tryAcquire(caller...); }

    int32_t release(Caller... caller) noexcept {
        if (!m_lock.isHeld(caller...))
            return result::NotOwner;
        if (m_lock.depth() != 0)
            return m_lock.release(caller...);
        releaseAndWake(caller...);
        return result::Ok;
    }

    int32_t wait(Caller... caller) noexcept { return waitUntil(nullptr, caller...); }

    int32_t timedWait(Caller... caller, uint32_t milliseconds) noexcept {
        const Deadline deadline = Deadline::after(milliseconds);
        return waitUntil(&deadline, caller...);
    }

    int32_t signal(Caller... caller) noexcept {
        return tell([this] { m_waiters.signalOne(); }, caller...);
    }

    int32_t broadcast(Caller... caller) noexcept {
        return tell([this] { m_waiters.signalAll(); }, caller...);
    }

    bool tryLeave(Caller... caller) noexcept {
        return m_lock.tryLeave(caller...) && m_waiters.tryLeave(caller...);
    }

    template <class Report>
    void report(Report& report) const noexcept {
        m_lock.report(report);
    }

private:
    int32_t waitUntil(const Deadline* deadline, Caller... caller) noexcept;

    template <class Signal>
    int32_t tell(Signal signal, Caller... caller) noexcept {
        acquire(caller...); // once more where the caller holds it already
        signal();
        if (m_lock.depth() != 0)
            return m_lock.release(caller...);
        wakeAfter([&] { m_lock.releaseUnused(caller...); });
        return result::Ok;
    }

    void releaseAndWake(Caller... caller) noexcept {
        wakeAfter([&] { m_lock.releaseWhole(caller...); });
    }

    /// Wakes whoever has been signalled once @p release has let go of the lock.
    template <class Release>
    void wakeAfter(Release release) noexcept {
        if (m_waiters.hasSignalled())
            wakeSignalledAfter(release);
        else
            release();
    }

    template <class Release>
    QX_CONTENDED void wakeSignalledAfter(Release release) noexcept {
        auto woken = m_waiters.takeSignalled();
        release();
        woken.grantAll();
    }

    Lock m_lock;
    Waiters m_waiters; // guarded by m_lock
};

template <class Waiters, class Lock, class... Caller>
int32_t Condition<Waiters, Lock, Caller...>::waitUntil(const Deadline* deadline,
                                                       Caller... caller) noexcept {
    if (!m_lock.isHeld(caller...))
        return result::NotOwner;
    const uint64_t depth = m_lock.depth();
    typename Waiters::Place self;
    m_waiters.enter(self, caller...);
    releaseAndWake(caller...);
    const bool granted = m_waiters.sleep(self, deadline, caller...);
    m_lock.acquireWhole(depth, caller...);
    return m_waiters.leave(self, granted, caller...) ? result::Ok : result::TimedOut;
}

/// Every waiter sleeps on a word of its own, so that a signal ends exactly one wait.
class LocalWaiters {
public:
    using Place = Waiter;

    void enter(Waiter& self) noexcept {
        forgetParents();
        m_waiting.push(self);
    }
    bool sleep(Waiter& self, const Deadline* deadline) noexcept { return self.wait(deadline); }
    bool leave(Waiter& self, bool granted) noexcept {
        if (granted)
            return true;
        if (m_waiting.remove(self))
            return false;
        // Signalled while the lock was taken back: the signaller is about to touch self once more.
        return self.wait();
    }

    void signalOne() noexcept {
        if (m_waiting.isEmpty())
            return;
        forgetParents();
        if (!m_waiting.isEmpty())
            m_signalled.push(m_waiting.pop());
    }
    void signalAll() noexcept {
        if (m_waiting.isEmpty())
            return;
        forgetParents();
        m_signalled.append(std::move(m_waiting));
    }
    bool hasSignalled() const noexcept { return !m_signalled.isEmpty(); }
    WaitQueue takeSignalled() noexcept {
        forgetParents();
        return std::move(m_signalled);
    }

private:
    /// Before a waiter is touched: in a child of fork those of the parent are not there.
    void forgetParents() noexcept {
        m_mark.makeOwn([this] {
            m_waiting.forgetAll();
            m_signalled.forgetAll();
        });
    }

    ForkMark m_mark;
    WaitQueue m_waiting;
    WaitQueue m_signalled; // to be woken at the release
};

} // namespace

namespace {

using LocalCondition = Condition<LocalWaiters, RecursiveLock<FutexLock>>;
using SharedCondition =
    Condition<shared::WaitTable, RecursiveLock<shared::HolderLock, shared::SharedObject&>,
              shared::SharedObject&>;

} // namespace

template <>
constexpr shared::Kind shared::KindOf<SharedCondition> = Kind::Condition;
constexpr shared::Layout shared::ConditionLayout = LayoutOf<SharedCondition>;

} // namespace qx::platform

using namespace qx::platform;

int32_t QXConditionCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<LocalCondition, SharedCondition>(name, flags, handle);
}

int32_t QXConditionDestroy(QXHandle handle) {
    return destroySync<LocalCondition, SharedCondition>(handle);
}

int32_t QXConditionAcquire(QXHandle handle) {
    return callSync<&LocalCondition::acquire, &SharedCondition::acquire>(handle);
}

int32_t QXConditionTryAcquire(QXHandle handle) {
    return callSync<&LocalCondition::tryAcquire, &SharedCondition::tryAcquire>(handle);
}

int32_t QXConditionRelease(QXHandle handle) {
    return callSync<&LocalCondition::release, &SharedCondition::release>(handle);
}

int32_t QXConditionWait(QXHandle handle) {
    return callSync<&LocalCondition::wait, &SharedCondition::wait>(handle);
}

int32_t QXConditionTimedWait(QXHandle handle, uint32_t milliseconds) {
    return callSync<&LocalCondition::timedWait, &SharedCondition::timedWait>(handle, milliseconds);
}

int32_t QXConditionSignal(QXHandle handle) {
    return callSync<&LocalCondition::signal, &SharedCondition::signal>(handle);
}

int32_t QXConditionBroadcast(QXHandle handle) {
    return callSync<&LocalCondition::broadcast, &SharedCondition::broadcast>(handle);
}
