#include "qx/platform/posix/sync/futex.h"

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

bool Deadline::isBefore(const Deadline& other) const noexcept {
    return m_time.tv_sec != other.m_time.tv_sec ? m_time.tv_sec < other.m_time.tv_sec
                                                : m_time.tv_nsec < other.m_time.tv_nsec;
}

bool Deadline::hasPassed() const noexcept { return !after(0).isBefore(*this); }

namespace {

int operation(int ofTheMachine, FutexScope scope) noexcept {
    return scope == FutexScope::Process ? ofTheMachine | FUTEX_PRIVATE_FLAG : ofTheMachine;
}

} // namespace

bool futexWait(const uint32_t* word, uint32_t expected, const Deadline* deadline,
               FutexScope scope) noexcept {
    const int savedErrno = errno;
    const long result =
        syscall(SYS_futex, word, operation(FUTEX_WAIT_BITSET, scope), expected,
                deadline ? &deadline->time() : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
    const bool timedOut = result != 0 && errno == ETIMEDOUT;
    errno = savedErrno;
    return !timedOut;
}

long futexWake(const uint32_t* word, int count, FutexScope scope) noexcept {
    const int savedErrno = errno;
    const long woken = syscall(SYS_futex, word, operation(FUTEX_WAKE, scope), count);
    errno = savedErrno;
    return woken;
}

} // namespace qx::platform
