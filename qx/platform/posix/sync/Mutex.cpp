#include "qx/platform/sync.h"

#include <qx/platform/posix/sync/FutexLock.h>
#include <qx/platform/posix/sync/HolderLock.h>
#include <qx/platform/posix/sync/RecursiveLock.h>
#include <qx/platform/posix/sync/synchandle.h>

namespace qx::platform {

namespace {

using LocalMutex = RecursiveLock<FutexLock>;
using SharedMutex = RecursiveLock<shared::HolderLock, shared::SharedObject&>;

} // namespace

template <>
constexpr shared::Kind shared::KindOf<SharedMutex> = Kind::Mutex;
constexpr shared::Layout shared::MutexLayout = LayoutOf<SharedMutex>;

} // namespace qx::platform

using namespace qx::platform;

int32_t QXMutexCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<LocalMutex, SharedMutex>(name, flags, handle);
}

int32_t QXMutexDestroy(QXHandle handle) { return destroySync<LocalMutex, SharedMutex>(handle); }

int32_t QXMutexAcquire(QXHandle handle) {
    return callSync<&LocalMutex::acquire, &SharedMutex::acquire>(handle);
}

int32_t QXMutexTryAcquire(QXHandle handle) {
    return callSync<&LocalMutex::tryAcquire, &SharedMutex::tryAcquire>(handle);
}

int32_t QXMutexRelease(QXHandle handle) {
    return callSync<&LocalMutex::release, &SharedMutex::release>(handle);
}
