#include "qx/sync/Event.h"

#include <qx/core/Result.h>
#include <qx/sync/TimedWait.h>
#include <qx/sync/detail/Opened.h>

namespace qx::sync {

Event::Event(const char* name, unsigned int flags) {
    detail::throwIfNotOpened(QXEventCreate(name, flags, m_handle.put()), name);
}

void Event::wait() { throwIfFailed(QXEventWait(m_handle.get())); }

bool Event::tryWait() { return false; }

bool Event::wait(uint32_t milliseconds) {
    return signalled(QXEventTimedWait(m_handle.get(), milliseconds));
}

void Event::signal() { throwIfFailed(QXEventSignal(m_handle.get())); }

} // namespace qx::sync
