#include "qx/ipc/Semaphore.h"

#include <qx/core/CastTo.h>
#include <qx/core/Result.h>
#include <qx/ipc/SemaphoreR.h>
#include <qx/platform/sync.h>
#include <qx/sync/TimedWait.h>
#include <qx/sync/detail/Opened.h>

namespace qx::ipc {

Semaphore::Semaphore(const char* name, uint32_t value) {
    sync::detail::throwIfNotOpened(QXNamedSemOpen(name, value, m_handle.put()), name);
}

void Semaphore::wait() { throwIfFailed(QXSemaphoreWait(m_handle.get())); }

bool Semaphore::tryWait() { return QXSemaphoreTryWait(m_handle.get()) >= 0; }

/// What a recursive one adds to it is done here: the table of virtual functions ends with those
/// that callers know.
bool Semaphore::tryWait(uint32_t milliseconds) {
    if (tryWait())
        return true;
    if (!sync::signalled(QXSemaphoreTimedWait(m_handle.get(), milliseconds)))
        return false;
    if (auto* const recursive = castTo<SemaphoreR>(this))
        recursive->becomeOwner();
    return true;
}

void Semaphore::signal() { throwIfFailed(QXSemaphorePost(m_handle.get())); }

int32_t Semaphore::getValue() {
    int32_t value = 0;
    throwIfFailed(QXSemaphoreGetValue(m_handle.get(), &value));
    return value;
}

bool Semaphore::acquiredFromDead() const {
    return throwIfFailed(QXSyncAcquiredFromDead(m_handle.get())) != 0;
}

} // namespace qx::ipc
