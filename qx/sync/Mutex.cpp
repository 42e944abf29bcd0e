#include <qx/sync/Mutex.h>

#include <qx/core/Result.h>

namespace qx::sync {

Mutex::Mutex(const char* name, unsigned int flags) {
    throwIfFailed(QXMutexCreate(name, flags, m_handle.put()));
}

void Mutex::wait() { throwIfFailed(QXMutexAcquire(m_handle.get())); }

bool Mutex::tryWait() { return QXMutexTryAcquire(m_handle.get()) >= 0; }

void Mutex::signal() { throwIfFailed(QXMutexRelease(m_handle.get())); }

} // namespace qx::sync
