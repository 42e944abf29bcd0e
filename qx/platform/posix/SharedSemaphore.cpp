#include "qx/platform/posix/sharedsync.h"

#include "qx/platform/posix/SharedObject.h"
#include "qx/platform/posix/error.h"
#include "qx/platform/posix/handle.h"

namespace qx::platform::shared {

namespace {

/// A signal is the atomic count alone. A guard also knows who holds how many units: `units` and
/// `held` are the truth and change by one word at a time, under the lock; the count of a guard is
/// derived from them, so that a holder of the lock may die between any two writes.
struct SemaphoreState {
    static constexpr Kind ObjectKind = Kind::Semaphore;
    static constexpr int32_t HighestCount = INT32_MAX;

    explicit SemaphoreState(uint32_t initial) noexcept
        : lock(RobustLock::Recursion::None), isGuard(initial > 0), count(int32_t(initial)),
          units(int32_t(initial)) {}

    bool takeSignal() noexcept;
    int32_t postSignal() noexcept;
    bool takeUnit(uint32_t slot) noexcept;
    int32_t postUnit(uint32_t slot) noexcept;

    bool isInUse(uint32_t slot) const noexcept { return held[slot] != 0; }
    void giveBack(uint32_t slot) noexcept;
    void repair() noexcept;
    void leave(uint32_t slot) noexcept;

    RobustLock lock;
    const bool isGuard;
    std::atomic<int32_t> count; // units that can be taken
    int32_t units;              // of a guard, held ones included
    WaitWord waiters{};
    uint32_t held[SlotCount] = {};
};

bool SemaphoreState::takeSignal() noexcept {
    int32_t current = count.load();
    while (current > 0) {
        if (count.compare_exchange_weak(current, current - 1))
            return true;
    }
    return false;
}

int32_t SemaphoreState::postSignal() noexcept {
    int32_t current = count.load();
    do {
        if (current == HighestCount)
            return result::Overflow;
    } while (!count.compare_exchange_weak(current, current + 1));
    return result::Ok;
}

bool SemaphoreState::takeUnit(uint32_t slot) noexcept {
    const Locked locked(*this);
    const int32_t current = count.load(std::memory_order_relaxed);
    if (current == 0)
        return false;
    ++held[slot];
    count.store(current - 1, std::memory_order_relaxed);
    return true;
}

int32_t SemaphoreState::postUnit(uint32_t slot) noexcept {
    const Locked locked(*this);
    const int32_t current = count.load(std::memory_order_relaxed);
    if (held[slot] != 0)
        --held[slot];
    else if (units < HighestCount)
        ++units;
    else
        return result::Overflow;
    count.store(current + 1, std::memory_order_relaxed);
    return result::Ok;
}

void SemaphoreState::giveBack(uint32_t slot) noexcept {
    const auto returned = static_cast<int32_t>(held[slot]);
    held[slot] = 0;
    count.fetch_add(returned);
}

void SemaphoreState::repair() noexcept {
    int32_t free = units;
    for (const uint32_t unitsOfSlot : held)
        free -= static_cast<int32_t>(unitsOfSlot);
    count.store(free);
}

void SemaphoreState::leave(uint32_t slot) noexcept {
    if (!isGuard)
        return;
    {
        const Locked locked(*this);
        giveBack(slot);
    }
    waiters.wakeAll();
}

} // namespace

int32_t semaphoreCreate(uint32_t initialCount, const char* name, QXHandle* handle) noexcept {
    if (initialCount > static_cast<uint32_t>(SemaphoreState::HighestCount)) {
        if (handle != nullptr)
            *handle = NoHandle;
        return result::InvalidArgument;
    }
    return SharedObject::open(LayoutOf<SemaphoreState>, name, initialCount, handle);
}

int32_t semaphoreDestroy(QXHandle handle) noexcept {
    return SharedObject::close(LayoutOf<SemaphoreState>, handle);
}

int32_t semaphorePost(QXHandle handle) noexcept {
    return withObject<SemaphoreState>(handle, [](auto& object, auto& state) {
        const int32_t r = state.isGuard ? state.postUnit(object.slot()) : state.postSignal();
        if (r >= 0)
            state.waiters.wakeOne();
        return r;
    });
}

int32_t semaphoreWait(QXHandle handle) noexcept {
    return withObject<SemaphoreState>(handle, [](auto& object, auto& state) {
        if (!state.isGuard) {
            const auto take = [&] { return state.takeSignal(); };
            return take() ? result::Ok : waitUntil(state.waiters, TimeLimit(), take, [](bool) {});
        }
        const auto take = [&] { return state.takeUnit(object.slot()); };
        return take() ? result::Ok : waitReaping(object, state, TimeLimit(), take);
    });
}

int32_t semaphoreTryWait(QXHandle handle) noexcept {
    return withObject<SemaphoreState>(handle, [](auto& object, auto& state) {
        const bool taken =
            state.isGuard ? tryReaping(object, state, [&] { return state.takeUnit(object.slot()); })
                          : state.takeSignal();
        return taken ? result::Ok : result::Busy;
    });
}

int32_t semaphoreGetValue(QXHandle handle, int32_t* value) noexcept {
    if (value == nullptr)
        return result::NullPointer;
    *value = 0;
    return withObject<SemaphoreState>(handle, [=](auto& object, auto& state) {
        if (state.isGuard)
            reapIfDue(object, state);
        *value = state.count.load();
        return result::Ok;
    });
}

} // namespace qx::platform::shared
