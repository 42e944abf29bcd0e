#pragma once

#include <atomic>
#include <cstdint>

#include <qx/platform/posix/shared/SharedObject.h>

namespace qx::platform::shared {

/// The waits for a signal between processes. Each has an entry, on whose word it sleeps, so that a
/// signal ends exactly one: that of whoever has waited longest. Waits begin and end and signals are
/// given under the lock of whoever owns the table; the table's own is for those who look for the
/// dead.
///
/// The word of an entry is the truth and changes in one write: everybody may be killed at any
/// point. The signal of a dead one goes to the next of those who waited when it was given. A wait
/// that finds all entries taken ends after a slice, as if it had been signalled.
class WaitTable {
public:
    static constexpr uint32_t EntryCount = SlotCount;

    struct Entry {
        std::atomic<uint64_t> number;   // of the wait, in the order in which they begin
        std::atomic<uint64_t> lastHeir; // of a signalled one: the last wait when it was given
        std::atomic<uint32_t> word;     // Free, or whose it is, and whether it is signalled
    };
    using Place = Entry*; // null where all are taken

    /// Whom to wake when the lock is free. The state may be gone by then.
    class Woken {
    public:
        explicit Woken(const uint32_t* word) noexcept : m_word(word) {}
        void grantAll() noexcept { futexWake(m_word, WakeAll, FutexScope::Machine); }

    private:
        const uint32_t* m_word;
    };

    void enter(Entry*& self, SharedObject& caller) noexcept;
    /// True when there was a signal, false when @p deadline (null: none) has passed.
    bool sleep(Entry* self, const Deadline* deadline, SharedObject& caller) noexcept;
    /// True when there was a signal, be it after the time ran out.
    bool leave(Entry* self, bool signalled, SharedObject& caller) noexcept;

    void signalOne() noexcept;
    void signalAll() noexcept;
    bool hasSignalled() const noexcept { return m_unwoken != NoEntry; }
    Woken takeSignalled() noexcept;

    bool tryLeave(SharedObject& caller) noexcept { return tryGiveBackOwn(caller, *this); }
    bool isInUse(uint32_t slot) const noexcept;
    void giveBack(uint32_t slot) noexcept;
    void repair() noexcept {}

    RobustLock lock;

private:
    static constexpr uint32_t NoEntry = EntryCount;

    /// Signals the longest of the waits up to that number; null when there is none.
    Entry* signalLongest(uint64_t last) noexcept;

    std::atomic<uint64_t> m_begun = 0;         // waits so far
    std::atomic<uint32_t> m_used = 0;          // no entry from here on was ever taken
    std::atomic<uint32_t> m_unwoken = NoEntry; // to be woken at the release
    Entry m_entries[EntryCount] = {};
};

} // namespace qx::platform::shared
