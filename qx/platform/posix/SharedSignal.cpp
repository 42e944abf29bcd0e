// Event and gate between processes: one atomic word each, so that no death can leave them half-way.

#include "qx/platform/posix/sharedsync.h"

#include "qx/platform/posix/SharedObject.h"
#include "qx/platform/posix/error.h"

namespace qx::platform::shared {

namespace {

constexpr auto Nothing = [](bool) {};

struct EventState {
    static constexpr Kind ObjectKind = Kind::Event;

    explicit EventState(uint32_t) noexcept {}

    bool take() noexcept {
        uint32_t expected = 1;
        return isSet.compare_exchange_strong(expected, 0);
    }
    int32_t wait(const TimeLimit& limit) noexcept {
        return waitUntil(
            waiters, limit, [this] { return take(); }, Nothing);
    }
    void leave(uint32_t) noexcept {}

    std::atomic<uint32_t> isSet = 0;
    WaitWord waiters{};
};

struct GateState {
    static constexpr Kind ObjectKind = Kind::Gate;
    static constexpr uint32_t OpenBit = 1;
    static constexpr uint32_t OneOpening = 2;

    explicit GateState(uint32_t) noexcept {}

    bool isOpen() const noexcept { return (openings.load() & OpenBit) != 0; }
    int32_t wait(const TimeLimit& limit) noexcept;
    void open() noexcept;
    void close() noexcept { openings.fetch_and(~OpenBit); }
    void leave(uint32_t) noexcept {}

    std::atomic<uint32_t> openings = 0; // how often it was opened, above the bit that says it is
    WaitWord waiters{};
};

int32_t GateState::wait(const TimeLimit& limit) noexcept {
    const uint32_t before = openings.load();
    // A gate that was opened and closed while we slept has let us through.
    return waitUntil(
        waiters, limit,
        [this, before] {
            const uint32_t now = openings.load();
            return (now & OpenBit) != 0 || now / OneOpening != before / OneOpening;
        },
        Nothing);
}

void GateState::open() noexcept {
    uint32_t before = openings.load();
    while ((before & OpenBit) == 0) {
        if (openings.compare_exchange_weak(before, (before + OneOpening) | OpenBit))
            break;
    }
    // Also when it was open already: who opened it may have been killed before he woke anybody.
    waiters.wakeAll();
}

} // namespace

int32_t eventCreate(const char* name, QXHandle* handle) noexcept {
    return SharedObject::open(LayoutOf<EventState>, name, 0, handle);
}

int32_t eventDestroy(QXHandle handle) noexcept {
    return SharedObject::close(LayoutOf<EventState>, handle);
}

int32_t eventSignal(QXHandle handle) noexcept {
    return withObject<EventState>(handle, [](auto&, auto& state) {
        state.isSet.store(1);
        state.waiters.wakeOne();
        return result::Ok;
    });
}

int32_t eventWait(QXHandle handle) noexcept {
    return withObject<EventState>(handle, [](auto&, auto& state) {
        return state.take() ? result::Ok : state.wait(TimeLimit());
    });
}

int32_t eventTimedWait(QXHandle handle, uint32_t milliseconds) noexcept {
    return withObject<EventState>(handle, [=](auto&, auto& state) {
        return state.take() ? result::Ok : state.wait(TimeLimit(milliseconds));
    });
}

int32_t gateCreate(const char* name, QXHandle* handle) noexcept {
    return SharedObject::open(LayoutOf<GateState>, name, 0, handle);
}

int32_t gateDestroy(QXHandle handle) noexcept {
    return SharedObject::close(LayoutOf<GateState>, handle);
}

int32_t gateOpen(QXHandle handle) noexcept {
    return withObject<GateState>(handle, [](auto&, auto& state) {
        state.open();
        return result::Ok;
    });
}

int32_t gateClose(QXHandle handle) noexcept {
    return withObject<GateState>(handle, [](auto&, auto& state) {
        state.close();
        return result::Ok;
    });
}

int32_t gateWait(QXHandle handle) noexcept {
    return withObject<GateState>(handle, [](auto&, auto& state) {
        return state.isOpen() ? result::Ok : state.wait(TimeLimit());
    });
}

int32_t gateTryWait(QXHandle handle) noexcept {
    return withObject<GateState>(
        handle, [](auto&, auto& state) { return state.isOpen() ? result::Ok : result::Busy; });
}

int32_t gateTimedWait(QXHandle handle, uint32_t milliseconds) noexcept {
    return withObject<GateState>(handle, [=](auto&, auto& state) {
        return state.isOpen() ? result::Ok : state.wait(TimeLimit(milliseconds));
    });
}

} // namespace qx::platform::shared
