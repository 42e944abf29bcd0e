#pragma once

#include <qx/platform/posix/shared/SharedObject.h>

namespace qx::platform {

/// A reader-writer lock between processes. Everything changes under the robust lock. The readers of
/// each slot and the writer are the truth; the sums are derived, so that a holder of the robust
/// lock may die between any two writes.
///
/// Fairness: a writer that has to wait puts a claim, which keeps new readers out; a writer that
/// leaves admits the readers who wait at that moment, which keeps the next writer out until they
/// have been in. While nobody holds the lock each of these turns lasts for a slice at most: whoever
/// has it may be stopped.
///
/// What a dead writer left is doubtful until another writer has been in and given the lock back:
/// until then everybody who comes in is told. A dead reader has changed nothing.
class SharedRWLock {
public:
    int32_t acquireRead(shared::SharedObject& caller) noexcept;
    int32_t acquireWrite(shared::SharedObject& caller) noexcept;
    int32_t tryAcquireRead(shared::SharedObject& caller) noexcept;
    int32_t tryAcquireWrite(shared::SharedObject& caller) noexcept;
    int32_t releaseRead(shared::SharedObject& caller) noexcept;
    int32_t releaseWrite(shared::SharedObject& caller) noexcept;

    bool tryLeave(shared::SharedObject& caller) noexcept { return tryGiveBackOwn(caller, *this); }
    bool isInUse(uint32_t slot) const noexcept;
    void giveBack(uint32_t slot) noexcept;
    void repair() noexcept;
    void report(shared::StateReport& report) const noexcept;

    shared::RobustLock lock;
    shared::WaitWord waiters{};

private:
    struct Slot {
        uint32_t readers;
        uint32_t waitingReaders;
    };

    bool canWrite() const noexcept {
        return m_writer == NoThread && m_readers == 0 && m_admitted == 0;
    }
    bool isWriter(shared::SharedObject& caller) noexcept;
    bool enterAsReader(shared::SharedObject& caller) noexcept;
    bool enterAsWaitingReader(shared::SharedObject& caller, uint32_t since) noexcept;
    /// How often writers had admitted those who waited, when it began.
    uint32_t beginToWaitAsReader(uint32_t slot) noexcept;
    bool enterAsWriter(shared::SharedObject& caller) noexcept;
    bool enterAsWriterOrClaim(shared::SharedObject& caller) noexcept;
    void beginTurn() noexcept;
    /// Ends a turn that has lasted for a slice while nobody has the lock.
    void endLateTurn() noexcept {
        if (m_admitted != 0 || m_claim != 0) [[unlikely]]
            endTurnIfLate();
    }
    void endTurnIfLate() noexcept;

    uint64_t m_writer = NoThread;
    bool m_isDoubtful = false;     // a writer died, and none has been in since
    uint32_t m_claim = 0;          // slot + 1 of a waiting writer; 0 when there is none
    uint32_t m_readers = 0;        // sum over the slots
    uint32_t m_waitingReaders = 0; // sum over the slots
    uint32_t m_admitted = 0;       // waiting readers who go before the next writer
    uint32_t m_admissions = 0;     // by writers, so far: who waits since the last is not admitted
    uint64_t m_turnSinceMs = 0;    // of the admitted, else of the claim; monotonic clock
    Slot m_slots[shared::SlotCount] = {};
};

template <>
inline constexpr shared::Kind shared::KindOf<SharedRWLock> = Kind::RWLock;

} // namespace qx::platform
