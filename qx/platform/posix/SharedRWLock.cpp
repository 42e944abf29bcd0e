#include "qx/platform/posix/sharedsync.h"

#include "qx/platform/posix/SharedObject.h"
#include "qx/platform/posix/error.h"

namespace qx::platform::shared {

namespace {

/// Everything changes under the robust lock. The readers of each slot and the writer are the truth;
/// the sums are derived, so that a holder of the robust lock may die between any two writes.
///
/// Fairness: a writer that has to wait puts a claim, which keeps new readers out; a writer that
/// leaves admits the readers who wait at that moment, which keeps the next writer out until they
/// have been in.
struct RWLockState {
    static constexpr Kind ObjectKind = Kind::RWLock;

    explicit RWLockState(uint32_t) noexcept : lock(RobustLock::Recursion::None) {}

    bool enterAsReader(uint32_t slot) noexcept;
    bool enterAsWaitingReader(uint32_t slot) noexcept;
    void beginToWaitAsReader(uint32_t slot) noexcept;
    bool enterAsWriter(uint32_t slot) noexcept;
    bool enterAsWriterOrClaim(uint32_t slot) noexcept;
    void dropStaleAdmissions() noexcept;
    int32_t leaveAsReader(uint32_t slot) noexcept;
    int32_t leaveAsWriter(uint32_t slot) noexcept;

    bool isInUse(uint32_t slot) const noexcept;
    void giveBack(uint32_t slot) noexcept;
    void repair() noexcept;
    void leave(uint32_t slot) noexcept;

    struct Slot {
        uint32_t readers;
        uint32_t waitingReaders;
    };

    RobustLock lock;
    WaitWord waiters{};
    uint64_t writer = 0;         // slot + 1 and thread of the writer; 0 when there is none
    uint32_t claim = 0;          // slot + 1 of a waiting writer; 0 when there is none
    uint32_t readers = 0;        // sum over the slots
    uint32_t waitingReaders = 0; // sum over the slots
    uint32_t admitted = 0;       // waiting readers who go before the next writer
    Slot slots[SlotCount] = {};

private:
    bool canWrite() const noexcept { return writer == 0 && readers == 0 && admitted == 0; }
};

bool RWLockState::enterAsReader(uint32_t slot) noexcept {
    const Locked locked(*this);
    if (writer != 0 || claim != 0)
        return false;
    ++slots[slot].readers;
    ++readers;
    return true;
}

void RWLockState::beginToWaitAsReader(uint32_t slot) noexcept {
    const Locked locked(*this);
    ++slots[slot].waitingReaders;
    ++waitingReaders;
}

bool RWLockState::enterAsWaitingReader(uint32_t slot) noexcept {
    const Locked locked(*this);
    if (writer != 0 || (claim != 0 && admitted == 0))
        return false;
    if (admitted > 0)
        --admitted;
    --slots[slot].waitingReaders;
    --waitingReaders;
    ++slots[slot].readers;
    ++readers;
    return true;
}

bool RWLockState::enterAsWriter(uint32_t slot) noexcept {
    const Locked locked(*this);
    if (!canWrite())
        return false;
    writer = callerIn(slot);
    return true;
}

bool RWLockState::enterAsWriterOrClaim(uint32_t slot) noexcept {
    const Locked locked(*this);
    if (!canWrite()) {
        // Writers of other slots that wait put theirs when they are next awake.
        if (claim == 0)
            claim = slot + 1;
        return false;
    }
    writer = callerIn(slot);
    claim = 0;
    return true;
}

void RWLockState::dropStaleAdmissions() noexcept {
    const Locked locked(*this);
    // Admitted readers had a whole slice to come in: they are dead or stopped.
    if (writer == 0 && readers == 0)
        admitted = 0;
}

int32_t RWLockState::leaveAsReader(uint32_t slot) noexcept {
    {
        const Locked locked(*this);
        if (slots[slot].readers == 0)
            return result::NotOwner;
        --slots[slot].readers;
        if (--readers > 0)
            return result::Ok;
    }
    waiters.wakeAll();
    return result::Ok;
}

int32_t RWLockState::leaveAsWriter(uint32_t slot) noexcept {
    {
        const Locked locked(*this);
        if (writer != callerIn(slot))
            return result::NotOwner;
        writer = 0;
        admitted = waitingReaders;
    }
    waiters.wakeAll();
    return result::Ok;
}

bool RWLockState::isInUse(uint32_t slot) const noexcept {
    return slots[slot].readers != 0 || slots[slot].waitingReaders != 0 || claim == slot + 1 ||
           writer >> 32 == slot + 1;
}

void RWLockState::giveBack(uint32_t slot) noexcept {
    if (writer >> 32 == slot + 1)
        writer = 0;
    slots[slot] = {};
    repair();
}

void RWLockState::repair() noexcept {
    readers = 0;
    waitingReaders = 0;
    for (const Slot& slot : slots) {
        readers += slot.readers;
        waitingReaders += slot.waitingReaders;
    }
    // Both only order who goes first, and are put again by those who wait.
    claim = 0;
    admitted = 0;
}

void RWLockState::leave(uint32_t slot) noexcept {
    {
        const Locked locked(*this);
        if (!isInUse(slot))
            return;
        giveBack(slot);
    }
    waiters.wakeAll();
}

} // namespace

int32_t rwlockCreate(const char* name, QXHandle* handle) noexcept {
    return SharedObject::open(LayoutOf<RWLockState>, name, 0, handle);
}

int32_t rwlockDestroy(QXHandle handle) noexcept {
    return SharedObject::close(LayoutOf<RWLockState>, handle);
}

int32_t rwlockAcquireRead(QXHandle handle) noexcept {
    return withObject<RWLockState>(handle, [](auto& object, auto& state) {
        const uint32_t slot = object.slot();
        if (state.enterAsReader(slot))
            return result::Ok;
        state.beginToWaitAsReader(slot);
        return waitReaping(object, state, TimeLimit(),
                           [&] { return state.enterAsWaitingReader(slot); });
    });
}

int32_t rwlockAcquireWrite(QXHandle handle) noexcept {
    return withObject<RWLockState>(handle, [](auto& object, auto& state) {
        const uint32_t slot = object.slot();
        if (state.enterAsWriter(slot))
            return result::Ok;
        return waitUntil(
            state.waiters, TimeLimit(), [&] { return state.enterAsWriterOrClaim(slot); },
            [&](bool woken) {
                reapIfDue(object, state);
                if (!woken)
                    state.dropStaleAdmissions();
            });
    });
}

int32_t rwlockTryAcquireRead(QXHandle handle) noexcept {
    return withObject<RWLockState>(handle, [](auto& object, auto& state) {
        const bool entered =
            tryReaping(object, state, [&] { return state.enterAsReader(object.slot()); });
        return entered ? result::Ok : result::Busy;
    });
}

int32_t rwlockTryAcquireWrite(QXHandle handle) noexcept {
    return withObject<RWLockState>(handle, [](auto& object, auto& state) {
        const bool entered =
            tryReaping(object, state, [&] { return state.enterAsWriter(object.slot()); });
        return entered ? result::Ok : result::Busy;
    });
}

int32_t rwlockReleaseRead(QXHandle handle) noexcept {
    return withObject<RWLockState>(
        handle, [](auto& object, auto& state) { return state.leaveAsReader(object.slot()); });
}

int32_t rwlockReleaseWrite(QXHandle handle) noexcept {
    return withObject<RWLockState>(
        handle, [](auto& object, auto& state) { return state.leaveAsWriter(object.slot()); });
}

} // namespace qx::platform::shared
