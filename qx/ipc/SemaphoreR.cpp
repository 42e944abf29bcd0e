#include "qx/ipc/SemaphoreR.h"

#include <mutex>

#include <qx/platform/native.h>

namespace qx::ipc {

namespace {

/// The calling thread as no thread before or after it is: its identity, which tells the threads of
/// this process apart for ever, and its number, which a forked child does not share with its
/// parent.
uint64_t caller() noexcept { return QXThreadIdentity() << 32 | QXThreadCurrentId(); }

} // namespace

SemaphoreR::SemaphoreR(const char* name, uint32_t value, sync::Mutex* guard)
    : Semaphore(name, value), m_guard(guard != nullptr ? guard : new sync::Mutex) {}

void SemaphoreR::wait() {
    if (enterAgain())
        return;
    Semaphore::wait();
    becomeOwner();
}

bool SemaphoreR::tryWait() {
    if (enterAgain())
        return true;
    if (!Semaphore::tryWait())
        return false;
    becomeOwner();
    return true;
}

void SemaphoreR::signal() {
    const std::lock_guard lock(*m_guard);
    if (m_owner != caller())
        return;
    if (m_depth >= 2) {
        --m_depth;
        return;
    }
    Semaphore::signal();
    m_owner = 0;
    m_depth = 0;
}

bool SemaphoreR::enterAgain() {
    const std::lock_guard lock(*m_guard);
    if (m_owner != caller())
        return false;
    ++m_depth;
    return true;
}

/// Nobody else can have become the owner since enterAgain, but the last one may not have finished
/// its signal: the guard is his until owner and depth are 0.
void SemaphoreR::becomeOwner() {
    const std::lock_guard lock(*m_guard);
    m_owner = caller();
    m_depth = 1;
}

} // namespace qx::ipc
