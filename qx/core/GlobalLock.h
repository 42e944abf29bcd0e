#pragma once

#include <qx/platform/export.h>

namespace qx {

namespace sync {
class LockObject;
}

/// The library-wide lock, for the creation and destruction of singletons. Null before start-up and
/// after shut-down.
extern QX_API sync::LockObject* g_pGlobalLock;

} // namespace qx
