#include "qx/platform/posix/sync/futex.h"

#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qx::platform {

namespace {

int operation(int ofTheMachine, FutexScope scope) noexcept {
    return scope == FutexScope::Process ? ofTheMachine | FUTEX_PRIVATE_FLAG : ofTheMachine;
}

} // namespace

bool futexWait(const uint32_t* word, uint32_t expected, const Deadline* deadline,
               FutexScope scope) noexcept {
    const int savedErrno = errno;
    const timespec end = deadline ? deadline->time() : timespec{};
    const long result = syscall(SYS_futex, word, operation(FUTEX_WAIT_BITSET, scope), expected,
                                deadline ? &end : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
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
