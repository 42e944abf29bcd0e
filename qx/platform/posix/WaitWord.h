#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

#include <qx/platform/result.h>

namespace qx::platform::shared {

using Nanoseconds = std::chrono::nanoseconds;

/// Longest sleep between two looks at the state. It bounds how long a waiter is held up by a
/// process that was killed between changing the state and waking, or that died with something in
/// its hands.
inline constexpr Nanoseconds SliceLength = std::chrono::milliseconds(200);

/// End of a wait by the monotonic clock, or never.
class TimeLimit {
public:
    TimeLimit() = default;
    explicit TimeLimit(uint32_t milliseconds)
        : m_end(std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds)) {}

    bool hasPassed() const { return m_end && std::chrono::steady_clock::now() >= *m_end; }

    /// What may be slept now: one slice, or the shorter rest.
    Nanoseconds slice() const;

private:
    std::optional<std::chrono::steady_clock::time_point> m_end;
};

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

    /// Sleeps until a wake that follows @p ticket, for @p longest at most; true when there was one.
    bool sleep(uint32_t ticket, Nanoseconds longest) noexcept;

    void wakeOne() noexcept { wake(1); }
    void wakeAll() noexcept { wake(INT32_MAX); }

private:
    void wake(int32_t count) noexcept;

    std::atomic<uint32_t> m_sequence;  // the futex: steps at every wake
    std::atomic<uint32_t> m_announced; // waiters so far
    std::atomic<uint32_t> m_absent;    // m_announced when a wake last found nobody asleep
};

/// Sleeps on @p word until @p attempt returns true (0) or the time is over (0x800705B4). Calls
/// @p afterSleep after every sleep and tells it whether the word has moved, which under traffic it
/// always has.
template <class Attempt, class AfterSleep>
int32_t waitUntil(WaitWord& word, const TimeLimit& limit, Attempt attempt, AfterSleep afterSleep) {
    for (;;) {
        const uint32_t ticket = word.announce();
        if (attempt())
            return result::Ok;
        if (limit.hasPassed())
            return result::TimedOut;
        afterSleep(word.sleep(ticket, limit.slice()));
    }
}

} // namespace qx::platform::shared
