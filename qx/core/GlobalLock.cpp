#include "qx/core/GlobalLock.h"

namespace qx {

constinit sync::LockObject* g_pGlobalLock = nullptr;

} // namespace qx
