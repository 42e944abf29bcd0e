#include "qx/platform/sync.h"

#include <qx/platform/posix/sync/ForkMark.h>
#include <qx/platform/posix/sync/Grants.h>
#include <qx/platform/posix/sync/synchandle.h>

namespace qx::platform {

namespace {

/// A signal that finds waiters is handed to them as a grant, so that two signals in a row
/// release two waiters even before the first one has run.
class LocalEvent {
public:
    int32_t signal() noexcept {
        int32_t balance = m_balance.load(std::memory_order_relaxed);
        // A remembered signal is written again: what this thread did before must reach the waiter.
        while (balance >= 0) {
            if (m_balance.compare_exchange_weak(balance, Signalled, std::memory_order_release,
                                                std::memory_order_relaxed))
                return result::Ok;
        }
        return signalWaiter();
    }

    int32_t wait() noexcept { return tryTake() ? result::Ok : waitContended(); }

    int32_t timedWait(uint32_t milliseconds) noexcept {
        if (tryTake())
            return result::Ok;
        if (milliseconds == 0)
            return result::TimedOut;
        forgetParents();
        const Deadline deadline = Deadline::after(milliseconds);
        return m_balance.fetch_sub(1, std::memory_order_acquire) == Signalled
                   ? result::Ok
                   : m_grants.wait(m_balance, deadline);
    }

private:
    static constexpr int32_t Signalled = 1;

    bool tryTake() noexcept {
        int32_t balance = Signalled;
        return m_balance.compare_exchange_strong(balance, 0, std::memory_order_acquire,
                                                 std::memory_order_relaxed);
    }

    QX_CONTENDED int32_t waitContended() noexcept {
        forgetParents();
        return m_balance.fetch_sub(1, std::memory_order_acquire) == Signalled ? result::Ok
                                                                              : m_grants.wait();
    }

    QX_CONTENDED int32_t signalWaiter() noexcept {
        forgetParents();
        int32_t balance = m_balance.load(std::memory_order_relaxed);
        while (!m_balance.compare_exchange_weak(
            balance, balance == Signalled ? balance : balance + 1, std::memory_order_release,
            std::memory_order_relaxed)) {
        }
        if (balance < 0)
            m_grants.grant();
        return result::Ok;
    }

    /// Before a wait and before a signal for one who waits: in a child of fork those of the parent
    /// are not there.
    void forgetParents() noexcept {
        m_mark.makeOwn([this] {
            int32_t balance = m_balance.load(std::memory_order_relaxed);
            while (balance < 0 &&
                   !m_balance.compare_exchange_weak(balance, 0, std::memory_order_relaxed)) {
            }
            m_grants.forgetAll();
        });
    }

    std::atomic<int32_t> m_balance{0}; // 1: a signal is remembered; -n: n waiters without a grant
    Grants m_grants;
    ForkMark m_mark;
};

/// The same between processes. Any of them may die: the waiters of each slot are the truth, the sum
/// is derived.
class SharedEvent {
public:
    int32_t signal(shared::SharedObject& caller) noexcept {
        if (m_waiting != 0) // by the dead perhaps, who take no signal
            reapIfDue(caller, *this);
        {
            const shared::Locked locked(*this);
            if (m_granted < m_waiting)
                ++m_granted;
            else
                m_isSet = true;
        }
        waiters.wakeOne();
        return result::Ok;
    }

    int32_t wait(shared::SharedObject& caller) noexcept { return waitUntil(nullptr, caller); }

    int32_t timedWait(shared::SharedObject& caller, uint32_t milliseconds) noexcept {
        const Deadline deadline = Deadline::after(milliseconds);
        return waitUntil(&deadline, caller);
    }

    bool tryLeave(shared::SharedObject& caller) noexcept { return tryGiveBackOwn(caller, *this); }
    bool isInUse(uint32_t slot) const noexcept { return m_waitingOf[slot] != 0; }
    void giveBack(uint32_t slot) noexcept {
        m_waitingOf[slot] = 0;
        repair();
    }
    void repair() noexcept {
        m_waiting = 0;
        for (const uint32_t each : m_waitingOf)
            m_waiting += each;
        if (m_granted > m_waiting) { // a signal of somebody who died before he took it
            m_granted = m_waiting;
            m_isSet = true;
        }
    }

    void report(shared::StateReport& report) const noexcept { report.value = m_isSet; }

    shared::RobustLock lock;
    shared::WaitWord waiters{};

private:
    int32_t waitUntil(const Deadline* deadline, shared::SharedObject& caller) noexcept {
        if (!takeOrEnter(caller.slot())) {
            const auto take = [&] { return takeGrant(caller.slot()); };
            if (waitReaping(caller, *this, deadline, take) != result::Ok && !leave(caller.slot()))
                return result::TimedOut;
        }
        return result::Ok;
    }

    /// Takes a remembered signal, or begins to wait.
    bool takeOrEnter(uint32_t slot) noexcept {
        const shared::Locked locked(*this);
        if (m_isSet) {
            m_isSet = false;
            return true;
        }
        ++m_waitingOf[slot];
        ++m_waiting;
        return false;
    }

    bool takeGrant(uint32_t slot) noexcept {
        const shared::Locked locked(*this);
        if (m_granted == 0)
            return false;
        --m_granted;
        stopWaiting(slot);
        return true;
    }

    /// Stops waiting; true when every waiter has been granted a signal, this one too.
    bool leave(uint32_t slot) noexcept {
        const shared::Locked locked(*this);
        const bool isGranted = m_granted == m_waiting;
        if (isGranted)
            --m_granted;
        stopWaiting(slot);
        return isGranted;
    }

    void stopWaiting(uint32_t slot) noexcept {
        --m_waitingOf[slot];
        --m_waiting;
    }

    bool m_isSet = false;
    std::atomic<uint32_t> m_waiting = 0;
    uint32_t m_granted = 0; // of those who wait
    uint32_t m_waitingOf[shared::SlotCount] = {};
};

} // namespace

template <>
constexpr shared::Kind shared::KindOf<SharedEvent> = Kind::Event;
constexpr shared::Layout shared::EventLayout = LayoutOf<SharedEvent>;

} // namespace qx::platform

using namespace qx::platform;

int32_t QXEventCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<LocalEvent, SharedEvent>(name, flags, handle);
}

int32_t QXEventDestroy(QXHandle handle) { return destroySync<LocalEvent, SharedEvent>(handle); }

int32_t QXEventSignal(QXHandle handle) {
    return callSync<&LocalEvent::signal, &SharedEvent::signal>(handle);
}

int32_t QXEventWait(QXHandle handle) {
    return callSync<&LocalEvent::wait, &SharedEvent::wait>(handle);
}

int32_t QXEventTimedWait(QXHandle handle, uint32_t milliseconds) {
    return callSync<&LocalEvent::timedWait, &SharedEvent::timedWait>(handle, milliseconds);
}
