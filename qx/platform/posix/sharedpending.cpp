#include <qx/platform/result.h>

#include "qx/platform/posix/sharedsync.h"

// The process-shared objects are not there yet; their definitions replace these weak ones.

namespace qx::platform::shared {

[[gnu::weak]] int32_t mutexCreate(const char*, QXHandle*) noexcept {
    return result::NotImplemented;
}
[[gnu::weak]] int32_t mutexDestroy(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t mutexAcquire(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t mutexTryAcquire(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t mutexRelease(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t conditionCreate(const char*, QXHandle*) noexcept {
    return result::NotImplemented;
}
[[gnu::weak]] int32_t conditionDestroy(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t conditionAcquire(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t conditionRelease(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t conditionWait(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t conditionTimedWait(QXHandle, uint32_t) noexcept {
    return result::NotImplemented;
}
[[gnu::weak]] int32_t conditionSignal(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t conditionBroadcast(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t eventCreate(const char*, QXHandle*) noexcept {
    return result::NotImplemented;
}
[[gnu::weak]] int32_t eventDestroy(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t eventSignal(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t eventWait(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t eventTimedWait(QXHandle, uint32_t) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t gateCreate(const char*, QXHandle*) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t gateDestroy(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t gateOpen(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t gateClose(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t gateWait(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t gateTryWait(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t gateTimedWait(QXHandle, uint32_t) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t semaphoreCreate(uint32_t, const char*, QXHandle*) noexcept {
    return result::NotImplemented;
}
[[gnu::weak]] int32_t semaphoreDestroy(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t semaphorePost(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t semaphoreWait(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t semaphoreTryWait(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t semaphoreGetValue(QXHandle, int32_t*) noexcept {
    return result::NotImplemented;
}
[[gnu::weak]] int32_t rwlockCreate(const char*, QXHandle*) noexcept {
    return result::NotImplemented;
}
[[gnu::weak]] int32_t rwlockDestroy(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t rwlockAcquireRead(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t rwlockAcquireWrite(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t rwlockTryAcquireRead(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t rwlockTryAcquireWrite(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t rwlockReleaseRead(QXHandle) noexcept { return result::NotImplemented; }
[[gnu::weak]] int32_t rwlockReleaseWrite(QXHandle) noexcept { return result::NotImplemented; }

} // namespace qx::platform::shared
