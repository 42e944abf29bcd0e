#pragma once

#include <chrono>
#include <optional>
#include <poll.h>

#include <qx/platform/posix/error.h>

namespace qx::platform {

using TimeLimit = std::optional<std::chrono::nanoseconds>;

/// End of a wait by the monotonic clock, or never. The clock is read for a limit only.
class WaitEnd {
public:
    explicit WaitEnd(TimeLimit limit) {
        if (limit)
            m_end = std::chrono::steady_clock::now() + *limit;
    }

    bool hasPassed() const { return m_end && std::chrono::steady_clock::now() >= *m_end; }

    /// poll until then, going on after signals.
    int poll(pollfd* entries, nfds_t count) const noexcept {
        return retryInterrupted([&] {
            if (!m_end)
                return ::ppoll(entries, count, nullptr, nullptr);
            const auto left =
                std::max(*m_end - std::chrono::steady_clock::now(), std::chrono::nanoseconds(0));
            const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
            const timespec limit{seconds.count(), (left - seconds).count()};
            return ::ppoll(entries, count, &limit, nullptr);
        });
    }

private:
    std::optional<std::chrono::steady_clock::time_point> m_end;
};

} // namespace qx::platform
