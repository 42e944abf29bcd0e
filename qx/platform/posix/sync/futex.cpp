#include "qx/platform/posix/sync/futex.h"

#include <cerrno>
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qx::platform {

constinit bool g_hasSeveralCpus = true;

namespace {

int operation(int ofTheMachine, FutexScope scope) noexcept {
    return scope == FutexScope::Process ? ofTheMachine | FUTEX_PRIVATE_FLAG : ofTheMachine;
}

/// When the library is loaded: a thread that waits later may be tied to a CPU of its own, and so
/// may the one that loads it, so that the first thread of the process is asked. The set is too
/// small for a machine that has very many.
[[gnu::constructor]] void countCpus() {
    cpu_set_t usable;
    if (sched_getaffinity(getpid(), sizeof usable, &usable) == 0)
        g_hasSeveralCpus = CPU_COUNT(&usable) > 1;
}

} // namespace

constinit thread_local SpinHabit t_spinHabit;

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
