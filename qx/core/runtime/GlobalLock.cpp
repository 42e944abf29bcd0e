#include "qx/core/runtime/GlobalLock.h"

#include <qx/sync/LockObject.h>

namespace qx {

constinit sync::LockObject* g_pGlobalLock = nullptr;

std::unique_lock<sync::LockObject> holdGlobalLock() {
    return g_pGlobalLock ? std::unique_lock(*g_pGlobalLock) : std::unique_lock<sync::LockObject>();
}

} // namespace qx
