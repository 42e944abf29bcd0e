#include "qx/sync/Mutex.h"

#include <qx/core/Result.h>
#include <qx/sync/detail/Opened.h>

namespace qx::sync {

Mutex::Mutex(const char* name, unsigned int flags) {
    detail::throwIfNotOpened(QXMutexCreate(name, flags, m_handle.put()), name);
}

void Mutex::wait() { throwIfFailed(QXMutexAcquire(m_handle.get())); }

bool Mutex::tryWait() { return QXMutexTryAcquire(m_handle.get()) >= 0; }

void Mutex::signal() { throwIfFailed(QXMutexRelease(m_handle.get())); }

bool Mutex::acquiredFromDead() const {
    return throwIfFailed(QXSyncAcquiredFromDead(m_handle.get())) != 0;
}

} // namespace qx::sync
