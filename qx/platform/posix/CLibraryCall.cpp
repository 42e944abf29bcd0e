#include "qx/platform/posix/CLibraryCall.h"

#include <pthread.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/sync/FutexLock.h>
#include <qx/platform/posix/sync/RecursiveLock.h>

namespace qx::platform {

namespace {

/// Shared by the calls. One may wait for the loader's lock, which a thread holds that loads
/// something that calls as well: it must get in, past a fork that waits.
constinit pthread_rwlock_t s_lock = PTHREAD_RWLOCK_INITIALIZER;
constinit RecursiveLock<FutexLock> s_loader; // the loader itself lets only one thread in

} // namespace

CLibraryCall::CLibraryCall() noexcept { ::pthread_rwlock_rdlock(&s_lock); }

CLibraryCall::~CLibraryCall() { ::pthread_rwlock_unlock(&s_lock); }

LoaderCall::LoaderCall() noexcept { s_loader.acquire(); }

LoaderCall::~LoaderCall() { s_loader.release(); }

constexpr ForkSteps LoaderForkSteps{[](void*) noexcept { s_loader.acquire(); },
                                    [](void*) noexcept { s_loader.release(); },
                                    [](void*) noexcept { s_loader.release(); }};

constexpr ForkSteps CLibraryForkSteps{
    [](void*) noexcept { ::pthread_rwlock_wrlock(&s_lock); },
    [](void*) noexcept { ::pthread_rwlock_unlock(&s_lock); },
    [](void*) noexcept {
        ::pthread_rwlock_unlock(&s_lock);
        s_lock = PTHREAD_RWLOCK_INITIALIZER; // it counts those who have begun to wait
    }};

} // namespace qx::platform
