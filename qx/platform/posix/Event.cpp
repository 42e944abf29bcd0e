#include "qx/platform/posix/Grants.h"
#include "qx/platform/posix/synchandle.h"

namespace qx::platform {

namespace {

/// A signal that finds waiters is handed to them as a grant, so that two signals in a row
/// release two waiters even before the first one has run.
class Event {
public:
    int32_t signal() noexcept {
        int32_t balance = m_balance.load(std::memory_order_relaxed);
        // A remembered signal is written again: what this thread did before must reach the waiter.
        while (!m_balance.compare_exchange_weak(
            balance, balance == Signalled ? balance : balance + 1, std::memory_order_release,
            std::memory_order_relaxed)) {
        }
        if (balance < 0)
            m_grants.grant();
        return result::Ok;
    }

    int32_t wait() noexcept {
        return m_balance.fetch_sub(1, std::memory_order_acquire) == Signalled ? result::Ok
                                                                              : m_grants.wait();
    }

    int32_t timedWait(uint32_t milliseconds) noexcept {
        int32_t balance = Signalled;
        if (m_balance.compare_exchange_strong(balance, 0, std::memory_order_acquire,
                                              std::memory_order_relaxed))
            return result::Ok;
        if (milliseconds == 0)
            return result::TimedOut;
        const Deadline deadline = Deadline::after(milliseconds);
        if (m_balance.fetch_sub(1, std::memory_order_acquire) == Signalled ||
            m_grants.wait(&deadline) == result::Ok)
            return result::Ok;
        return withdraw() ? result::TimedOut : m_grants.wait();
    }

private:
    static constexpr int32_t Signalled = 1;

    /// Stops waiting; false when every waiter has been granted a signal, so that one is on its way.
    bool withdraw() noexcept {
        int32_t balance = m_balance.load(std::memory_order_relaxed);
        while (balance < 0) {
            if (m_balance.compare_exchange_weak(balance, balance + 1, std::memory_order_relaxed))
                return true;
        }
        return false;
    }

    std::atomic<int32_t> m_balance{0}; // 1: a signal is remembered; -n: n waiters without a grant
    Grants m_grants;
};

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXEventCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<Event, &shared::eventCreate>(name, flags, handle);
}

int32_t QXEventDestroy(QXHandle handle) {
    return destroySync<Event, &shared::eventDestroy>(handle);
}

int32_t QXEventSignal(QXHandle handle) {
    return callSync<&Event::signal, &shared::eventSignal>(handle);
}

int32_t QXEventWait(QXHandle handle) { return callSync<&Event::wait, &shared::eventWait>(handle); }

int32_t QXEventTimedWait(QXHandle handle, uint32_t milliseconds) {
    return callSync<&Event::timedWait, &shared::eventTimedWait>(handle, milliseconds);
}
