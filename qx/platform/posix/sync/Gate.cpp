#include "qx/platform/sync.h"

#include <qx/platform/posix/shared/WaitWord.h>
#include <qx/platform/posix/sync/synchandle.h>

namespace qx::platform {

namespace {

/// The state counts closings, so that a waiter which only runs after the gate has been opened and
/// closed again still sees that it was open. It is all in one word, which no death can leave
/// half-way: the same gate serves one process and several, but for how they sleep on the word.
template <FutexScope Scope, class... Caller>
class Gate {
public:
    int32_t open() noexcept {
        const uint32_t* word = futexWord(m_state);
        uint32_t state = m_state.load(std::memory_order_relaxed);
        // An open gate is written again: what this thread did before must reach later waiters.
        while (!m_state.compare_exchange_weak(state, (state & ~Waiters) | Open,
                                              std::memory_order_release,
                                              std::memory_order_relaxed)) {
        }
        if ((state & Waiters) != 0)
            futexWake(word, WakeAll, Scope);
        return result::Ok;
    }

    int32_t close() noexcept {
        uint32_t state = m_state.load(std::memory_order_relaxed);
        while ((state & Open) != 0) {
            if (m_state.compare_exchange_weak(state, (state & ~Open) + OneClosing,
                                              std::memory_order_relaxed))
                break;
        }
        return result::Ok;
    }

    int32_t wait(Caller... caller) noexcept {
        const uint32_t state = look();
        return isOpen(state) ? result::Ok : waitShown(state, nullptr, caller...);
    }

    int32_t tryWait() noexcept { return isOpen(look()) ? result::Ok : result::Busy; }

    int32_t timedWait(Caller... caller, uint32_t milliseconds) noexcept {
        const uint32_t state = look();
        if (isOpen(state))
            return result::Ok;
        if (milliseconds == 0)
            return result::TimedOut;
        const Deadline deadline = Deadline::after(milliseconds);
        return waitShown(state, &deadline, caller...);
    }

    void report(shared::StateReport& report) const noexcept {
        report.value = m_state.load(std::memory_order_relaxed) & Open;
    }

private:
    static constexpr uint32_t Open = 1;
    static constexpr uint32_t Waiters = 2; // somebody may sleep
    static constexpr uint32_t OneClosing = 4;

    uint32_t look() const noexcept { return m_state.load(std::memory_order_acquire); }
    static bool isOpen(uint32_t state) noexcept { return (state & Open) != 0; }

    QX_CONTENDED int32_t waitShown(uint32_t first, const Deadline* deadline) noexcept {
        return waitUntil(first, deadline);
    }
    QX_CONTENDED int32_t waitShown(uint32_t first, const Deadline* deadline,
                                   shared::SharedObject& caller) noexcept {
        const shared::ShownWaiting shown(caller);
        return waitUntil(first, deadline);
    }
    /// Waits until the gate is open, or was since the call found it closed at its @p first look.
    int32_t waitUntil(uint32_t first, const Deadline* deadline) noexcept;
    bool sleep(uint32_t state, const Deadline* deadline) noexcept {
        if constexpr (Scope == FutexScope::Machine)
            return shared::sleepForASlice(futexWord(m_state), state, deadline);
        else
            return futexWait(futexWord(m_state), state, deadline);
    }

    std::atomic<uint32_t> m_state{0};
};

template <FutexScope Scope, class... Caller>
int32_t Gate<Scope, Caller...>::waitUntil(uint32_t first, const Deadline* deadline) noexcept {
    uint32_t state = first;
    const auto wasOpened = [&] {
        state = look();
        return isOpen(state) || state / OneClosing != first / OneClosing;
    };
    if (spinForAnswer(wasOpened))
        return result::Ok;
    bool inTime = true;
    while (!wasOpened()) {
        if (!inTime)
            return result::TimedOut;
        if ((state & Waiters) == 0 &&
            !m_state.compare_exchange_weak(state, state | Waiters, std::memory_order_relaxed))
            continue;
        inTime = sleep(state | Waiters, deadline);
    }
    return result::Ok;
}

using LocalGate = Gate<FutexScope::Process>;
using SharedGate = Gate<FutexScope::Machine, shared::SharedObject&>;

} // namespace

template <>
constexpr shared::Kind shared::KindOf<SharedGate> = Kind::Gate;
constexpr shared::Layout shared::GateLayout = LayoutOf<SharedGate>;

} // namespace qx::platform

using namespace qx::platform;

int32_t QXGateCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<LocalGate, SharedGate>(name, flags, handle);
}

int32_t QXGateDestroy(QXHandle handle) { return destroySync<LocalGate, SharedGate>(handle); }

int32_t QXGateOpen(QXHandle handle) {
    return callSync<&LocalGate::open, &SharedGate::open>(handle);
}

int32_t QXGateClose(QXHandle handle) {
    return callSync<&LocalGate::close, &SharedGate::close>(handle);
}

int32_t QXGateWait(QXHandle handle) {
    return callSync<&LocalGate::wait, &SharedGate::wait>(handle);
}

int32_t QXGateTryWait(QXHandle handle) {
    return callSync<&LocalGate::tryWait, &SharedGate::tryWait>(handle);
}

int32_t QXGateTimedWait(QXHandle handle, uint32_t milliseconds) {
    return callSync<&LocalGate::timedWait, &SharedGate::timedWait>(handle, milliseconds);
}
