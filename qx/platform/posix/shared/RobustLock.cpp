#include "qx/platform/posix/shared/RobustLock.h"

#include <chrono>
#include <thread>

#include <qx/platform/posix/shared/WaitWord.h>

#if defined(__SANITIZE_THREAD__)
#define QX_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QX_THREAD_SANITIZER
#endif
#endif

namespace qx::platform::shared {

RobustLock::RobustLock() noexcept {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

/// A waiter may be killed after it was woken and before it has the lock. When somebody new takes
/// the lock in between, who knows of no waiters, neither he nor the kernel wakes the others. So
/// nobody sleeps for longer than a slice, as on a WaitWord.
int RobustLock::acquireContended() noexcept {
#ifdef QX_THREAD_SANITIZER
    const int savedErrno = errno; // which the sleep changes when a signal comes
    int error = EBUSY;
    while (error == EBUSY) { // the sanitizer does not know of locks that wait for a limited time
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        error = tryAcquire();
    }
    errno = savedErrno;
#else
    int error = ETIMEDOUT;
    while (error == ETIMEDOUT) {
        const timespec end = Deadline::after(SliceInMs).time();
        error = pthread_mutex_clocklock(&m_mutex, CLOCK_MONOTONIC, &end);
    }
#endif
    return error;
}

} // namespace qx::platform::shared
