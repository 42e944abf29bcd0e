#include "qx/sync/Gate.h"

#include <qx/core/Result.h>
#include <qx/sync/TimedWait.h>
#include <qx/sync/detail/Opened.h>

namespace qx::sync {

Gate::Gate(const char* name, unsigned int flags) {
    detail::throwIfNotOpened(QXGateCreate(name, flags, m_handle.put()), name);
}

void Gate::wait() { throwIfFailed(QXGateWait(m_handle.get())); }

bool Gate::tryWait() { return QXGateTryWait(m_handle.get()) >= 0; }

bool Gate::wait(uint32_t milliseconds) {
    return signalled(QXGateTimedWait(m_handle.get(), milliseconds));
}

void Gate::open() { throwIfFailed(QXGateOpen(m_handle.get())); }

void Gate::close() { throwIfFailed(QXGateClose(m_handle.get())); }

} // namespace qx::sync
