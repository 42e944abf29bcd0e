#include "qx/platform/posix/RobustLock.h"

#include <time.h>

namespace qx::platform::shared {

RobustLock::RobustLock(Recursion recursion) noexcept {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    if (recursion == Recursion::Counted)
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

int RobustLock::acquire() noexcept {
    int error = tryAcquire();
    // A holder killed between freeing the word and waking leaves its waiters asleep on kernels that
    // do not finish the wake for it, hence the slices. The realtime clock is the one this call has
    // everywhere; a jump of it only stretches or shortens one slice.
    while (error == EBUSY || error == ETIMEDOUT) {
        timespec end;
        clock_gettime(CLOCK_REALTIME, &end);
        end.tv_nsec += 200'000'000;
        if (end.tv_nsec >= 1'000'000'000) {
            end.tv_nsec -= 1'000'000'000;
            ++end.tv_sec;
        }
        error = pthread_mutex_timedlock(&m_mutex, &end);
    }
    return error;
}

} // namespace qx::platform::shared
