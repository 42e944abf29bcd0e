#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>

#include <qx/net/detail/HostConnection.h>
#include <qx/platform/net.h>

namespace qx::transport {

/// When something has to be done, if ever.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    /// Never.
    Deadline() = default;
    /// @param milliseconds  from now; 0: never
    explicit Deadline(int32_t milliseconds) {
        if (milliseconds != 0)
            m_end = Clock::now() + std::chrono::milliseconds(milliseconds);
    }

    bool hasPassed() const { return m_end && Clock::now() >= *m_end; }
    bool isBefore(const Deadline& other) const {
        return m_end && (!other.m_end || *m_end < *other.m_end);
    }

    /// net::NoLimit for no limit.
    uint64_t millisecondsLeft() const {
        if (!m_end)
            return net::NoLimit;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_end - Clock::now());
        return static_cast<uint64_t>(std::max<int64_t>(left.count(), 0));
    }

    /// What is left, in @p room; null for no limit.
    const qx_timeval* left(qx_timeval& room) const {
        if (!m_end)
            return nullptr;
        const auto left = std::chrono::ceil<std::chrono::microseconds>(*m_end - Clock::now());
        const int64_t microseconds = std::max<int64_t>(left.count(), 0);
        room = {static_cast<int32_t>(microseconds / 1'000'000),
                static_cast<int32_t>(microseconds % 1'000'000)};
        return &room;
    }

private:
    std::optional<Clock::time_point> m_end;
};

} // namespace qx::transport
