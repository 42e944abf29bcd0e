#include "qx/core/runtime/GlobalLock.h"

#include <qx/platform/detail/ForkWatch.h>
#include <qx/sync/LockObject.h>

namespace qx {

constinit sync::LockObject* g_pGlobalLock = nullptr;

namespace {

void hold(void*) noexcept {
    if (g_pGlobalLock)
        g_pGlobalLock->lock();
}

void letGo(void*) noexcept {
    if (g_pGlobalLock)
        g_pGlobalLock->unlock();
}

constexpr platform::ForkSteps Steps{&hold, &letGo, &letGo};
constinit platform::ForkNode s_node{&Steps};

[[gnu::constructor(101)]] void watchForks() { platform::enterForksFirst(s_node); }

} // namespace

std::unique_lock<sync::LockObject> holdGlobalLock() {
    return g_pGlobalLock ? std::unique_lock(*g_pGlobalLock) : std::unique_lock<sync::LockObject>();
}

} // namespace qx
