#include "qx/platform/sync.h"

#include <qx/platform/posix/sync/synchandle.h>

using namespace qx::platform;

int32_t QXSyncAcquiredFromDead(QXHandle handle) {
    if (handle == 0 || handle == NoHandle)
        return qx::result::InvalidHandle;
    if (!isShared(handle))
        return 0; // what a thread that ended held in here is never acquired again
    shared::SharedObject* const object = shared::SharedObject::find(handle);
    return object != nullptr ? object->heirs().isHeir() : qx::result::InvalidHandle;
}
