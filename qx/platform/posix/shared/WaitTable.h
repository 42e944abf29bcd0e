#pragma once

#include <atomic>
#include <cstdint>

#include <qx/platform/posix/shared/SharedObject.h>

namespace qx::platform::shared {

/// The waits for a signal between processes. Each has an entry, on whose word it sleeps, so that a
/// signal ends exactly one: that of whoever has waited longest. Waits begin and end and signals are
/// given under the lock of whoever owns the table. The table's own lock is only for those who look
/// for the dead, who do not hold the owner's.
///
/// The word of an entry is the truth and changes in one write: everybody may be killed at any
/// point. The signal of a dead one goes to the next of those who waited when it was given, and once
/// more when the one who passes it on is killed just then. A wait that finds all entries taken ends
/// after a slice, as if it had been signalled.
class WaitTable {
public:
    static constexpr uint32_t EntryCount = SlotCount;

    /// Whether a signal was given to the wait itself or passed on from a dead one.
    enum Signal : uint32_t { Given, PassedOn };

    struct Entry {
        std::atomic<uint64_t> word; // which wait of which slot it is, and its signal; or Free
        /// The last wait that had begun when the signal was given. One for each kind: whoever holds
        /// the owner's lock and whoever looks for the dead may signal at the same time.
        std::atomic<uint64_t> lastHeir[2];
    };
    using Place = Entry*; // null where all are taken

    /// Whom to wake when the lock is free. The state may be gone by then, which does no harm.
    class Woken {
    public:
        explicit Woken(const uint32_t* word) noexcept : m_word(word) {}
        void grantAll() noexcept { futexWake(m_word, WakeAll, FutexScope::Machine); }

    private:
        const uint32_t* m_word;
    };

    void enter(Place& self, SharedObject& caller) noexcept;
    /// True when there was a signal, false when @p deadline (null: none) has passed.
    bool sleep(Place self, const Deadline* deadline, SharedObject& caller) noexcept;
    /// True when there was a signal, even if it came after the time had run out.
    bool leave(Place self, bool signalled, SharedObject& caller) noexcept;

    void signalOne() noexcept;
    void signalAll() noexcept;
    bool hasSignalled() const noexcept { return m_unwoken != NoEntry; }
    Woken takeSignalled() noexcept;

    bool tryLeave(SharedObject& caller) noexcept;
    bool isInUse(uint32_t slot) const noexcept;
    void giveBack(uint32_t slot) noexcept;
    void repair() noexcept {}

    RobustLock lock;

private:
    static constexpr uint32_t NoEntry = EntryCount;

    void lookForDead(SharedObject& caller) noexcept;
    /// Signals the longest of the waits up to that number, if any. Who has to be woken, or null.
    const Entry* signalLongest(uint64_t last, Signal signal) noexcept;
    void passOn(uint64_t lastHeir) noexcept;

    std::atomic<uint64_t> m_begun = 0; // waits so far
    std::atomic<uint32_t> m_used = 0;  // no entry from here on was ever taken
    /// The first one signalled, to be woken at the release; those after it are woken at once.
    std::atomic<uint32_t> m_unwoken = NoEntry;
    Entry m_entries[EntryCount] = {};
};

} // namespace qx::platform::shared
