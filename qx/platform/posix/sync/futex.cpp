#include "qx/platform/posix/sync/futex.h"

#include <cerrno>
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qx::platform {

namespace {

int operation(int ofTheMachine, FutexScope scope) noexcept {
    return scope == FutexScope::Process ? ofTheMachine | FUTEX_PRIVATE_FLAG : ofTheMachine;
}

constinit std::atomic<int> s_cpus{0}; // 0: not asked yet

} // namespace

constinit thread_local SpinHabit t_spinHabit;

bool hasSeveralCpus() noexcept {
    int cpus = s_cpus.load(std::memory_order_relaxed);
    if (cpus == 0) {
        const int savedErrno = errno;
        // Those of the first thread: the calling one may be tied to a CPU that others do not use.
        // The set is too small for a machine that has very many.
        cpu_set_t usable;
        cpus = sched_getaffinity(getpid(), sizeof usable, &usable) == 0 ? CPU_COUNT(&usable)
                                                                        : CPU_SETSIZE;
        s_cpus.store(cpus, std::memory_order_relaxed);
        errno = savedErrno;
    }
    return cpus > 1;
}

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
