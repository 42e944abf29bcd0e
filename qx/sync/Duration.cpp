#include "qx/sync/Duration.h"

#include <chrono>

namespace qx::sync {

using Clock = std::chrono::steady_clock;

// The present is rounded up at the start and down later, so that no part of the time is missing.

TimeBudget::TimeBudget(uint64_t milliseconds) noexcept
    : m_end(roundedUp<std::milli>(Clock::now().time_since_epoch())) {
    m_end = milliseconds > UINT64_MAX - m_end ? UINT64_MAX : m_end + milliseconds;
}

uint64_t TimeBudget::milliseconds() const noexcept {
    const auto present = static_cast<uint64_t>(
        std::chrono::floor<std::chrono::milliseconds>(Clock::now().time_since_epoch()).count());
    return present < m_end ? m_end - present : 0;
}

} // namespace qx::sync
