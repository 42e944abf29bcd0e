#include "qx/core/detail/Subsystem.h"

#include <qx/sync/Atomic.h>
#include <qx/sync/Event.h>
#include <qx/sync/FakeAtomic.h>
#include <qx/sync/FakeMutex.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>

namespace qx::sync {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<Atomic>(u"CQXAtomic"),
    creatable<Event>(u"CQXEvent"),
    creatable<FakeMutex>(u"CQXFakeMutex"),
    known<FakeAtomic>(u"qx::sync::FakeAtomic"),
    creatable<Gate>(u"CQXGate"),
    known<LockObject>(u"CQXLockObject"),
    creatable<Mutex>(u"CQXMutex"),
    creatable<ReaderWriterLock>(u"CQXRWLock"),
    creatable<Semaphore>(u"CQXSemaphore"),
    known<Object>(u"CQXSyncObject"),
};
// clang-format on

} // namespace

constinit const Subsystem subsystem{.classes = Classes};

} // namespace qx::sync
