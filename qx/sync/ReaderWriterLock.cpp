#include "qx/sync/ReaderWriterLock.h"

#include <qx/core/Result.h>
#include <qx/sync/detail/Opened.h>

namespace qx::sync {

ReaderWriterLock::ReaderWriterLock(const char* name, unsigned int flags) {
    detail::throwIfNotOpened(QXRWLockCreate(name, flags, m_handle.put()), name);
}

void ReaderWriterLock::wait() { throwIfFailed(QXRWLockAcquireWrite(m_handle.get())); }

bool ReaderWriterLock::tryWait() { return QXRWLockTryAcquireWrite(m_handle.get()) >= 0; }

void ReaderWriterLock::signal() { throwIfFailed(QXRWLockReleaseWrite(m_handle.get())); }

void ReaderWriterLock::waitShared() { throwIfFailed(QXRWLockAcquireRead(m_handle.get())); }

bool ReaderWriterLock::tryWaitShared() { return QXRWLockTryAcquireRead(m_handle.get()) >= 0; }

void ReaderWriterLock::signalShared() { throwIfFailed(QXRWLockReleaseRead(m_handle.get())); }

bool ReaderWriterLock::acquiredFromDead() const {
    return throwIfFailed(QXSyncAcquiredFromDead(m_handle.get())) != 0;
}

} // namespace qx::sync
