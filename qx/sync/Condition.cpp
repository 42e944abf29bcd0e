#include "qx/sync/Condition.h"

#include <qx/core/Result.h>
#include <qx/sync/TimedWait.h>
#include <qx/sync/detail/Opened.h>

namespace qx::sync {

Condition::Condition(const char* name, unsigned int flags) {
    detail::throwIfNotOpened(QXConditionCreate(name, flags, m_handle.put()), name);
}

void Condition::acquire() { throwIfFailed(QXConditionAcquire(m_handle.get())); }

bool Condition::tryAcquire() { return QXConditionTryAcquire(m_handle.get()) >= 0; }

void Condition::release() { throwIfFailed(QXConditionRelease(m_handle.get())); }

bool Condition::acquiredFromDead() const {
    return throwIfFailed(QXSyncAcquiredFromDead(m_handle.get())) != 0;
}

void Condition::wait() { throwIfFailed(QXConditionWait(m_handle.get())); }

void Condition::wait(uint32_t milliseconds) {
    throwIfFailed(QXConditionTimedWait(m_handle.get(), milliseconds));
}

bool Condition::tryWait(uint32_t milliseconds) {
    return signalled(QXConditionTimedWait(m_handle.get(), milliseconds));
}

void Condition::signal() { throwIfFailed(QXConditionSignal(m_handle.get())); }

void Condition::broadcast() { throwIfFailed(QXConditionBroadcast(m_handle.get())); }

Condition::Holder::Holder(Condition& condition) : m_condition(condition) { condition.acquire(); }

Condition::Holder::~Holder() { QXConditionRelease(m_condition.m_handle.get()); }

} // namespace qx::sync
