#include "qx/platform/posix/RecursiveLock.h"
#include "qx/platform/posix/synchandle.h"

using namespace qx::platform;

int32_t QXMutexCreate(const char* name, uint32_t flags, QXHandle* handle) {
    return createSync<RecursiveLock, &shared::mutexCreate>(name, flags, handle);
}

int32_t QXMutexDestroy(QXHandle handle) {
    return destroySync<RecursiveLock, &shared::mutexDestroy>(handle);
}

int32_t QXMutexAcquire(QXHandle handle) {
    return callSync<&RecursiveLock::acquire, &shared::mutexAcquire>(handle);
}

int32_t QXMutexTryAcquire(QXHandle handle) {
    return callSync<&RecursiveLock::tryAcquire, &shared::mutexTryAcquire>(handle);
}

int32_t QXMutexRelease(QXHandle handle) {
    return callSync<&RecursiveLock::release, &shared::mutexRelease>(handle);
}
