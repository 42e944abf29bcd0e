#include "qx/core/runtime/GlobalLock.h"

#include <qx/platform/detail/ForkWatch.h>
#include <qx/sync/LockObject.h>

namespace qx {

constinit sync::LockObject* g_pGlobalLock = nullptr;

namespace {

constinit platform::ForkNode s_node{&platform::HeldIfThere<g_pGlobalLock>};

[[gnu::constructor(101)]] void watchForks() { platform::enterForksFirst(s_node); }

} // namespace

std::unique_lock<sync::LockObject> holdGlobalLock() {
    return g_pGlobalLock ? std::unique_lock(*g_pGlobalLock) : std::unique_lock<sync::LockObject>();
}

} // namespace qx
