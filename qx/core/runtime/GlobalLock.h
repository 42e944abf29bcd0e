#pragma once

#include <mutex>

#include <qx/platform/export.h>

namespace qx {

namespace sync {
class LockObject;
}

/// The library-wide lock, for the creation and destruction of singletons. Null before start-up and
/// after shut-down.
extern QX_API sync::LockObject* g_pGlobalLock;

/// Holds that lock; nothing where there is none, since there is only one thread then.
std::unique_lock<sync::LockObject> holdGlobalLock();

} // namespace qx
