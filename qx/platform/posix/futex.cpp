#include "qx/platform/posix/futex.h"

#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qx::platform {

Deadline Deadline::after(uint32_t milliseconds) noexcept {
    Deadline deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline.m_time);
    deadline.m_time.tv_sec += milliseconds / 1000;
    deadline.m_time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (deadline.m_time.tv_nsec >= 1'000'000'000) {
        ++deadline.m_time.tv_sec;
        deadline.m_time.tv_nsec -= 1'000'000'000;
    }
    return deadline;
}

bool Deadline::hasPassed() const noexcept {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec != m_time.tv_sec ? now.tv_sec > m_time.tv_sec : now.tv_nsec >= m_time.tv_nsec;
}

bool futexWait(const uint32_t* word, uint32_t expected, const Deadline* deadline) noexcept {
    const int savedErrno = errno;
    const long result =
        syscall(SYS_futex, word, FUTEX_WAIT_BITSET_PRIVATE, expected,
                deadline ? &deadline->time() : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
    const bool timedOut = result != 0 && errno == ETIMEDOUT;
    errno = savedErrno;
    return !timedOut;
}

void futexWake(const uint32_t* word, int count) noexcept {
    const int savedErrno = errno;
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, count);
    errno = savedErrno;
}

} // namespace qx::platform
