#include "qx/platform/posix/CLibraryCall.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <gnu/libc-version.h>
#include <memory>
#include <pthread.h>
#include <thread>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/sync/FutexLock.h>
#include <qx/platform/posix/sync/RecursiveLock.h>
#include <qx/platform/posix/sync/futex.h>

namespace qx::platform {

namespace {

/// Shared by the calls. One may wait for the loader's lock, which a thread holds that loads
/// something that calls as well: it must get in, past a fork that waits.
constinit pthread_rwlock_t s_lock = PTHREAD_RWLOCK_INITIALIZER;
constinit RecursiveLock<FutexLock> s_loader; // the loader itself lets only one thread in
constinit std::atomic<int> s_unloading{0};   // calls in one another, of the thread that holds it
constinit std::atomic<bool> s_isForkNext{false}; // who comes now waits, at most for a second

// What the fork that is under way has of the two.
constinit bool s_hasLock = false;
constinit bool s_hasLoader = false;

/// Whether whoever unloads a library waits until a fork is over. Before 2.36 the C library holds a
/// lock while it calls the steps of a fork and takes the same one when it unloads, behind the
/// destructors of the library. There a fork does not wait long for a thread that unloads, nor where
/// another may wait for that one. The child of one that gave up lacks locks that the C library
/// needs to load and to end.
bool doUnloadersWaitForForks() noexcept {
    return ::strverscmp(::gnu_get_libc_version(), "2.36") < 0;
}

Deadline endOfPatience() noexcept { return Deadline::after(std::chrono::seconds(1)); }

/// False when the loader was not acquired because the thread that has it may wait for the fork. One
/// that unloads and is past the destructors does not wait, and is soon done.
bool tryAcquireLoader() noexcept {
    const Deadline end = endOfPatience();
    const Deadline endOfUnload = Deadline::after(std::chrono::milliseconds(50));
    s_isForkNext.store(true, std::memory_order_relaxed);
    while (s_loader.tryAcquire() != result::Ok) {
        const bool isUnloading = s_unloading.load(std::memory_order_relaxed) > 0;
        if ((isUnloading ? endOfUnload : end).hasPassed())
            break;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    s_isForkNext.store(false, std::memory_order_relaxed);
    return s_loader.isHeld();
}

bool tryAcquireLock() noexcept {
    const timespec end = endOfPatience().time();
    return ::pthread_rwlock_clockwrlock(&s_lock, CLOCK_MONOTONIC, &end) == 0;
}

void holdLoader(void*) noexcept {
    const bool tryOnly = doUnloadersWaitForForks();
    s_hasLoader = tryOnly ? tryAcquireLoader() : s_loader.acquire() == result::Ok;
}

void letLoaderGo(void*) noexcept {
    if (s_hasLoader)
        s_loader.release();
}

void letLoaderGoInChild(void*) noexcept {
    if (s_hasLoader) {
        s_loader.release();
    } else { // whoever has it is not there
        std::construct_at(&s_loader);
        s_unloading.store(0, std::memory_order_relaxed);
    }
}

void holdLock(void*) noexcept {
    const bool tryOnly = doUnloadersWaitForForks();
    s_hasLock = tryOnly ? tryAcquireLock() : ::pthread_rwlock_wrlock(&s_lock) == 0;
}

void letLockGo(void*) noexcept {
    if (s_hasLock)
        ::pthread_rwlock_unlock(&s_lock);
}

void letLockGoInChild(void* state) noexcept {
    letLockGo(state);
    s_lock = PTHREAD_RWLOCK_INITIALIZER; // it counts those who have begun to wait
}

} // namespace

CLibraryCall::CLibraryCall() noexcept { ::pthread_rwlock_rdlock(&s_lock); }

CLibraryCall::~CLibraryCall() { ::pthread_rwlock_unlock(&s_lock); }

LoaderCall::LoaderCall() noexcept {
    while (s_isForkNext.load(std::memory_order_relaxed) && !s_loader.isHeld())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    s_loader.acquire();
}

LoaderCall::~LoaderCall() { s_loader.release(); }

constinit thread_local int UnloaderCall::t_depth = 0;

UnloaderCall::UnloaderCall() noexcept {
    ++t_depth;
    s_unloading.fetch_add(1, std::memory_order_relaxed);
}

UnloaderCall::~UnloaderCall() {
    s_unloading.fetch_sub(1, std::memory_order_relaxed);
    --t_depth;
}

constexpr ForkSteps LoaderForkSteps{&holdLoader, &letLoaderGo, &letLoaderGoInChild};
constexpr ForkSteps CLibraryForkSteps{&holdLock, &letLockGo, &letLockGoInChild};

} // namespace qx::platform
