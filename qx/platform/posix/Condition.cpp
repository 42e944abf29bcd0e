#include "qx/platform/posix/RecursiveLock.h"
#include "qx/platform/posix/WaitQueue.h"
#include "qx/platform/posix/synchandle.h"

namespace qx::platform {

namespace {

/// Every waiter sleeps on a word of its own, so that a signal ends exactly one wait. A signalled
/// waiter is woken when the signaller lets go of the lock: earlier it would only wait for that.
class Condition {
public:
    int32_t acquire() noexcept { return m_lock.acquire(); }
    int32_t tryAcquire() noexcept { return m_lock.tryAcquire(); }

    int32_t release() noexcept {
        if (!m_lock.isHeld())
            return result::NotOwner;
        if (m_lock.depth() != 0)
            return m_lock.release();
        releaseAndWake();
        return result::Ok;
    }

    int32_t wait() noexcept { return waitUntil(nullptr); }

    int32_t timedWait(uint32_t milliseconds) noexcept {
        const Deadline deadline = Deadline::after(milliseconds);
        return waitUntil(&deadline);
    }

    int32_t signal() noexcept {
        acquire(); // once more where the caller holds it already
        if (!m_waiting.isEmpty())
            m_signalled.push(m_waiting.pop());
        return release();
    }

    int32_t broadcast() noexcept {
        acquire();
        m_signalled.append(std::move(m_waiting));
        return release();
    }

private:
    int32_t waitUntil(const Deadline* deadline) noexcept;
    void releaseAndWake() noexcept;

    RecursiveLock m_lock;
    WaitQueue m_waiting;   // guarded by m_lock, like m_signalled
    WaitQueue m_signalled; // to be woken at the release
};

int32_t Condition::waitUntil(const Deadline* deadline) noexcept {
    if (!m_lock.isHeld())
        return result::NotOwner;
    const uint64_t depth = m_lock.depth();
    Waiter self;
    m_waiting.push(self);
    releaseAndWake();
    const bool granted = self.wait(deadline);
    m_lock.acquireWhole(depth);
    if (!granted) {
        if (m_waiting.remove(self))
            return result::TimedOut;
        // Signalled while the lock was taken back: the signaller is about to touch self once more.
        self.wait();
    }
    return result::Ok;
}

void Condition::releaseAndWake() noexcept {
    WaitQueue woken = std::move(m_signalled);
    m_lock.releaseWhole();
    woken.grantAll();
}

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXConditionCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<Condition, &shared::conditionCreate>(name, flags, handle);
}

int32_t QXConditionDestroy(QXHandle handle) {
    return destroySync<Condition, &shared::conditionDestroy>(handle);
}

int32_t QXConditionAcquire(QXHandle handle) {
    return callSync<&Condition::acquire, &shared::conditionAcquire>(handle);
}

int32_t QXConditionTryAcquire(QXHandle handle) {
    return callSync<&Condition::tryAcquire, &shared::conditionTryAcquire>(handle);
}

int32_t QXConditionRelease(QXHandle handle) {
    return callSync<&Condition::release, &shared::conditionRelease>(handle);
}

int32_t QXConditionWait(QXHandle handle) {
    return callSync<&Condition::wait, &shared::conditionWait>(handle);
}

int32_t QXConditionTimedWait(QXHandle handle, uint32_t milliseconds) {
    return callSync<&Condition::timedWait, &shared::conditionTimedWait>(handle, milliseconds);
}

int32_t QXConditionSignal(QXHandle handle) {
    return callSync<&Condition::signal, &shared::conditionSignal>(handle);
}

int32_t QXConditionBroadcast(QXHandle handle) {
    return callSync<&Condition::broadcast, &shared::conditionBroadcast>(handle);
}
