#pragma once

#include <atomic>
#include <cstdint>

#include <qx/platform/result.h>

#include <qx/platform/posix/sync/futex.h>

namespace qx::platform::shared {

/// How long a process sleeps at most for something in shared memory before it looks again.
constexpr uint32_t SliceInMs = 200;

/// Sleeps while the word, in memory that processes share, holds @p expected, but not for longer
/// than a slice: that bounds how long a waiter is held up by a process that was killed between
/// changing the word and waking, or that died with something in its hands. Otherwise as futexWait.
bool sleepForASlice(const uint32_t* word, uint32_t expected, const Deadline* deadline) noexcept;

/// A futex word in shared memory on which processes sleep until some other state, which they
/// examine themselves, lets them go on. Zeros are its initial state; the death of any process at
/// any point costs the others at most one slice.
///
/// Protocol: a waiter announces itself, examines the state, sleeps with the ticket it got; whoever
/// changes the state wakes afterwards. Waking costs a system call only while somebody may sleep.
class WaitWord {
public:
    /// Must be called before the state is examined.
    uint32_t announce() noexcept {
        // The ticket is read first. A waiter that a waker counted (by its announcement) then holds
        // a ticket from before that waker's step, so it cannot fall asleep behind it.
        const uint32_t ticket = m_sequence.load();
        m_announced.fetch_add(1);
        return ticket;
    }

    /// Sleeps until a wake that follows @p ticket, for a slice at most; true when there was one.
    bool sleep(uint32_t ticket, const Deadline* deadline) noexcept;

    /// Whether there was a wake that follows @p ticket.
    bool hasMovedSince(uint32_t ticket) const noexcept { return m_sequence.load() != ticket; }

    void wakeOne() noexcept { wake(1); }
    void wakeAll() noexcept { wake(WakeAll); }

private:
    void wake(int count) noexcept;

    // All three are used in one total order (sequentially consistent): a waiter that announces and
    // then examines, and a waker that changes the state and then looks for announcements, must not
    // both miss each other.
    std::atomic<uint32_t> m_sequence;  // the futex: steps at every wake
    std::atomic<uint32_t> m_announced; // waiters so far
    std::atomic<uint32_t> m_absent;    // m_announced when a wake last found nobody asleep
};

/// Sleeps on @p word until @p attempt returns true (0) or @p deadline (null: none) has passed
/// (0x800705B4). Calls @p afterSleep after every sleep.
template <class Attempt, class AfterSleep>
int32_t waitUntil(WaitWord& word, const Deadline* deadline, Attempt attempt,
                  AfterSleep afterSleep) {
    for (;;) {
        const uint32_t ticket = word.announce();
        if (attempt())
            return result::Ok;
        if (deadline != nullptr && deadline->hasPassed())
            return result::TimedOut;
        word.sleep(ticket, deadline);
        afterSleep();
    }
}

} // namespace qx::platform::shared
