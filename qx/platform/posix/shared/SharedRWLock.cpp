#include "qx/platform/posix/shared/SharedRWLock.h"

namespace qx::platform {

int32_t SharedRWLock::acquireRead(shared::SharedObject& caller) noexcept {
    if (enterAsReader(caller))
        return result::Ok;
    if (isWriter(caller))
        return result::Deadlock;
    const uint32_t since = beginToWaitAsReader(caller.slot());
    return waitReaping(caller, *this, nullptr, [&] { return enterAsWaitingReader(caller, since); });
}

int32_t SharedRWLock::acquireWrite(shared::SharedObject& caller) noexcept {
    if (enterAsWriter(caller))
        return result::Ok;
    if (isWriter(caller))
        return result::Deadlock;
    return waitReaping(caller, *this, nullptr, [&] { return enterAsWriterOrClaim(caller); });
}

int32_t SharedRWLock::tryAcquireRead(shared::SharedObject& caller) noexcept {
    const bool entered = tryReaping(caller, *this, [&] { return enterAsReader(caller); });
    return entered ? result::Ok : result::Busy;
}

int32_t SharedRWLock::tryAcquireWrite(shared::SharedObject& caller) noexcept {
    const bool entered = tryReaping(caller, *this, [&] { return enterAsWriter(caller); });
    return entered ? result::Ok : result::Busy;
}

bool SharedRWLock::isWriter(shared::SharedObject& caller) noexcept {
    const shared::Locked locked(*this);
    return m_writer == caller.caller();
}

bool SharedRWLock::enterAsReader(shared::SharedObject& caller) noexcept {
    const shared::Locked locked(*this);
    endLateTurn();
    if (m_writer != NoThread || m_claim != 0)
        return false;
    ++m_slots[caller.slot()].readers;
    ++m_readers;
    caller.heirs().note(m_isDoubtful);
    return true;
}

uint32_t SharedRWLock::beginToWaitAsReader(uint32_t slot) noexcept {
    const shared::Locked locked(*this);
    ++m_slots[slot].waitingReaders;
    ++m_waitingReaders;
    return m_admissions;
}

bool SharedRWLock::enterAsWaitingReader(shared::SharedObject& caller, uint32_t since) noexcept {
    Slot& slot = m_slots[caller.slot()];
    const shared::Locked locked(*this);
    endLateTurn();
    const bool isAdmitted = m_admitted > 0 && m_admissions != since;
    if (m_writer != NoThread || (m_claim != 0 && !isAdmitted))
        return false;
    if (isAdmitted)
        --m_admitted;
    --slot.waitingReaders;
    --m_waitingReaders;
    ++slot.readers;
    ++m_readers;
    caller.heirs().note(m_isDoubtful);
    return true;
}

bool SharedRWLock::enterAsWriter(shared::SharedObject& caller) noexcept {
    const shared::Locked locked(*this);
    endLateTurn();
    if (!canWrite())
        return false;
    m_writer = caller.caller();
    caller.heirs().note(m_isDoubtful);
    return true;
}

bool SharedRWLock::enterAsWriterOrClaim(shared::SharedObject& caller) noexcept {
    const shared::Locked locked(*this);
    endLateTurn();
    if (!canWrite()) {
        // Writers of other slots that wait put theirs when they are next awake.
        if (m_claim == 0)
            m_claim = caller.slot() + 1;
        return false;
    }
    m_writer = caller.caller();
    m_claim = 0;
    caller.heirs().note(m_isDoubtful);
    return true;
}

void SharedRWLock::beginTurn() noexcept {
    if (m_admitted != 0 || m_claim != 0)
        m_turnSinceMs = static_cast<uint64_t>(monotonicMs());
}

void SharedRWLock::endTurnIfLate() noexcept {
    if (m_writer != NoThread || m_readers != 0 ||
        static_cast<uint64_t>(monotonicMs()) - m_turnSinceMs < shared::SliceInMs)
        return;
    // Who did not come in a whole slice is dead or stopped. The claim comes behind the admitted.
    if (m_admitted == 0)
        m_claim = 0;
    m_admitted = 0;
    beginTurn();
}

int32_t SharedRWLock::releaseRead(shared::SharedObject& caller) noexcept {
    {
        const shared::Locked locked(*this);
        if (m_slots[caller.slot()].readers == 0)
            return result::NotOwner;
        caller.heirs().forget();
        --m_slots[caller.slot()].readers;
        if (--m_readers > 0)
            return result::Ok;
        if (m_admitted == 0) // else those who were admitted have had their turn since then
            beginTurn();
    }
    waiters.wakeAll();
    return result::Ok;
}

int32_t SharedRWLock::releaseWrite(shared::SharedObject& caller) noexcept {
    {
        const shared::Locked locked(*this);
        if (m_writer != caller.caller())
            return result::NotOwner;
        caller.heirs().forget();
        m_isDoubtful = false; // killed behind this, it is still the writer, and a dead one
        m_writer = NoThread;
        m_admitted = m_waitingReaders;
        ++m_admissions;
        beginTurn();
    }
    waiters.wakeAll();
    return result::Ok;
}

bool SharedRWLock::isInUse(uint32_t slot) const noexcept {
    return m_slots[slot].readers != 0 || m_slots[slot].waitingReaders != 0 || m_claim == slot + 1 ||
           shared::SharedObject::isOfSlot(m_writer, slot);
}

void SharedRWLock::giveBack(uint32_t slot) noexcept {
    if (shared::SharedObject::isOfSlot(m_writer, slot)) {
        m_isDoubtful = true; // before the lock is free: whoever gives back may be killed himself
        shared::keepOrderOfWrites();
        m_writer = NoThread;
    }
    m_slots[slot] = {};
    repair();
}

void SharedRWLock::repair() noexcept {
    m_readers = 0;
    m_waitingReaders = 0;
    for (const Slot& slot : m_slots) {
        m_readers += slot.readers;
        m_waitingReaders += slot.waitingReaders;
    }
    // Both only order who goes first, and are put again by those who wait.
    m_claim = 0;
    m_admitted = 0;
}

void SharedRWLock::report(shared::StateReport& report) const noexcept {
    for (uint32_t slot = 0; slot < shared::SlotCount; ++slot) {
        report.slots[slot].held = m_slots[slot].readers;
        report.slots[slot].isWriter = shared::SharedObject::isOfSlot(m_writer, slot);
        report.value += m_slots[slot].readers;
    }
    if (m_writer != NoThread)
        report.value = -1;
    report.isFromDead = m_isDoubtful;
}

constexpr shared::Layout shared::RWLockLayout = LayoutOf<SharedRWLock>;

} // namespace qx::platform
