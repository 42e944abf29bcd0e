#include "qx/sync/Semaphore.h"

#include <qx/core/Result.h>
#include <qx/sync/TimedWait.h>
#include <qx/sync/detail/Opened.h>

namespace qx::sync {

Semaphore::Semaphore(uint32_t initialCount, const char* name, unsigned int flags) {
    detail::throwIfNotOpened(QXSemaphoreCreate(initialCount, name, flags, m_handle.put()), name);
}

void Semaphore::wait() { throwIfFailed(QXSemaphoreWait(m_handle.get())); }

bool Semaphore::tryWait() { return QXSemaphoreTryWait(m_handle.get()) >= 0; }

bool Semaphore::tryWait(uint32_t milliseconds) {
    return signalled(QXSemaphoreTimedWait(m_handle.get(), milliseconds));
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

} // namespace qx::sync
