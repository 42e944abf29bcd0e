// Mutex and condition between processes: a recursive robust lock, which the kernel passes on by
// itself when its holder dies.

#include "qx/platform/posix/sharedsync.h"

#include "qx/platform/posix/SharedObject.h"
#include "qx/platform/posix/error.h"

namespace qx::platform::shared {

namespace {

struct MutexState {
    static constexpr Kind ObjectKind = Kind::Mutex;

    explicit MutexState(uint32_t) noexcept : lock(RobustLock::Recursion::Counted) {}

    int32_t acquire(uint32_t slot) noexcept { return acquired(lock.acquire(), slot); }
    int32_t tryAcquire(uint32_t slot) noexcept { return acquired(lock.tryAcquire(), slot); }
    int32_t release(uint32_t slot) noexcept;
    /// Releases the lock whole when the calling thread holds it; how often it did.
    uint32_t releaseAll(uint32_t slot) noexcept;
    bool isHeldByCaller(uint32_t slot) const noexcept {
        return owner.load(std::memory_order_relaxed) == callerIn(slot);
    }
    void leave(uint32_t slot) noexcept { releaseAll(slot); }

    // Who holds the lock is known to the lock itself; the two fields only let a stranger's release
    // be told in advance and a wait give up the lock whole.
    RobustLock lock;
    std::atomic<uint64_t> owner = 0;
    uint32_t depth = 0; // of the owner

private:
    int32_t acquired(int error, uint32_t slot) noexcept;
};

struct ConditionState : MutexState {
    static constexpr Kind ObjectKind = Kind::Condition;
    using MutexState::MutexState;

    int32_t wait(uint32_t slot, const TimeLimit& limit) noexcept;

    WaitWord waiters{};
};

int32_t MutexState::acquired(int error, uint32_t slot) noexcept {
    if (error == EOWNERDEAD) {
        depth = 0;
        lock.markRepaired();
        error = 0;
    }
    if (error != 0)
        return resultFromErrno(error);
    owner.store(callerIn(slot), std::memory_order_relaxed);
    ++depth;
    return result::Ok;
}

int32_t MutexState::release(uint32_t slot) noexcept {
    if (!isHeldByCaller(slot))
        return result::NotOwner;
    if (--depth == 0)
        owner.store(0, std::memory_order_relaxed);
    lock.release();
    return result::Ok;
}

uint32_t MutexState::releaseAll(uint32_t slot) noexcept {
    uint32_t times = 0;
    while (release(slot) >= 0)
        ++times;
    return times;
}

int32_t ConditionState::wait(uint32_t slot, const TimeLimit& limit) noexcept {
    const uint32_t ticket = waiters.announce();
    const uint32_t held = releaseAll(slot);
    if (held == 0)
        return result::NotOwner;
    bool signalled = false;
    do
        signalled = waiters.sleep(ticket, limit.slice());
    while (!signalled && !limit.hasPassed());
    for (uint32_t i = 0; i < held; ++i) {
        if (const int32_t r = acquire(slot); r < 0)
            return r;
    }
    return signalled ? result::Ok : result::TimedOut;
}

} // namespace

int32_t mutexCreate(const char* name, QXHandle* handle) noexcept {
    return SharedObject::open(LayoutOf<MutexState>, name, 0, handle);
}

int32_t mutexDestroy(QXHandle handle) noexcept {
    return SharedObject::close(LayoutOf<MutexState>, handle);
}

int32_t mutexAcquire(QXHandle handle) noexcept {
    return withObject<MutexState>(
        handle, [](auto& object, auto& state) { return state.acquire(object.slot()); });
}

int32_t mutexTryAcquire(QXHandle handle) noexcept {
    return withObject<MutexState>(
        handle, [](auto& object, auto& state) { return state.tryAcquire(object.slot()); });
}

int32_t mutexRelease(QXHandle handle) noexcept {
    return withObject<MutexState>(
        handle, [](auto& object, auto& state) { return state.release(object.slot()); });
}

int32_t conditionCreate(const char* name, QXHandle* handle) noexcept {
    return SharedObject::open(LayoutOf<ConditionState>, name, 0, handle);
}

int32_t conditionDestroy(QXHandle handle) noexcept {
    return SharedObject::close(LayoutOf<ConditionState>, handle);
}

int32_t conditionAcquire(QXHandle handle) noexcept {
    return withObject<ConditionState>(
        handle, [](auto& object, auto& state) { return state.acquire(object.slot()); });
}

int32_t conditionTryAcquire(QXHandle handle) noexcept {
    return withObject<ConditionState>(
        handle, [](auto& object, auto& state) { return state.tryAcquire(object.slot()); });
}

int32_t conditionRelease(QXHandle handle) noexcept {
    return withObject<ConditionState>(
        handle, [](auto& object, auto& state) { return state.release(object.slot()); });
}

int32_t conditionWait(QXHandle handle) noexcept {
    return withObject<ConditionState>(
        handle, [](auto& object, auto& state) { return state.wait(object.slot(), TimeLimit()); });
}

int32_t conditionTimedWait(QXHandle handle, uint32_t milliseconds) noexcept {
    return withObject<ConditionState>(handle, [=](auto& object, auto& state) {
        return state.wait(object.slot(), TimeLimit(milliseconds));
    });
}

int32_t conditionSignal(QXHandle handle) noexcept {
    return withObject<ConditionState>(handle, [](auto& object, auto& state) {
        if (!state.isHeldByCaller(object.slot()))
            return result::NotOwner;
        state.waiters.wakeOne();
        return result::Ok;
    });
}

int32_t conditionBroadcast(QXHandle handle) noexcept {
    return withObject<ConditionState>(handle, [](auto& object, auto& state) {
        if (!state.isHeldByCaller(object.slot()))
            return result::NotOwner;
        state.waiters.wakeAll();
        return result::Ok;
    });
}

} // namespace qx::platform::shared
