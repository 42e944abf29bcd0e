#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <poll.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/sync/futex.h>

namespace qx::platform {

using TimeLimit = std::optional<std::chrono::nanoseconds>;

/// End of a wait by the monotonic clock, or never. The clock is read for a limit only.
class WaitEnd {
public:
    explicit WaitEnd(TimeLimit limit) {
        if (limit)
            m_end = Deadline::after(*limit);
    }

    bool hasPassed() const { return m_end && m_end->hasPassed(); }
    /// That time, or what is left of this one.
    std::chrono::nanoseconds atMost(std::chrono::nanoseconds time) const noexcept {
        if (!m_end)
            return time;
        const timespec left = m_end->timeLeft();
        return std::min<std::chrono::nanoseconds>(time, std::chrono::seconds(left.tv_sec) +
                                                            std::chrono::nanoseconds(left.tv_nsec));
    }

    /// poll until then, going on after signals.
    int poll(pollfd* entries, nfds_t count) const noexcept {
        return retryInterrupted([&] {
            const timespec left = m_end ? m_end->timeLeft() : timespec{};
            return ::ppoll(entries, count, m_end ? &left : nullptr, nullptr);
        });
    }

private:
    std::optional<Deadline> m_end;
};

} // namespace qx::platform
