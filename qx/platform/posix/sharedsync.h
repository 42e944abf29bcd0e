#pragma once

#include <cstdint>

#include <qx/platform/types.h>

/// The locks and signals of qx/platform/sync.h made for every process of the user: what their
/// Create functions forward to when QX_SYNC_SHARED is set. Contract and result codes are those of
/// the C function of the same name; a missing or empty name gives 0x80070057, the name of an object
/// of another kind 0x80070006.
///
/// Handles have bit 0 set, which no handle of an object inside one process has: that is how the C
/// functions tell them apart. Opening a name twice in one process gives the same handle, counted.
///
/// An object disappears when its last process closes it or dies. What a dead process held is given
/// back: a mutex at once, everything else by whoever waits, within half a second. A child made by
/// fork shares none of the parent's holdings: it uses its handles as a process of its own.
namespace qx::platform::shared {

/// True for a handle that belongs to the functions of this namespace.
inline bool isShared(QXHandle handle) noexcept { return (handle & 1u) != 0; }

int32_t mutexCreate(const char* name, QXHandle* handle) noexcept;
int32_t mutexDestroy(QXHandle handle) noexcept;
int32_t mutexAcquire(QXHandle handle) noexcept;
int32_t mutexTryAcquire(QXHandle handle) noexcept;
int32_t mutexRelease(QXHandle handle) noexcept;

int32_t conditionCreate(const char* name, QXHandle* handle) noexcept;
int32_t conditionDestroy(QXHandle handle) noexcept;
int32_t conditionAcquire(QXHandle handle) noexcept;
int32_t conditionTryAcquire(QXHandle handle) noexcept;
int32_t conditionRelease(QXHandle handle) noexcept;
/// A wait may end without a signal, as with every condition: callers test their predicate again.
int32_t conditionWait(QXHandle handle) noexcept;
int32_t conditionTimedWait(QXHandle handle, uint32_t milliseconds) noexcept;
int32_t conditionSignal(QXHandle handle) noexcept;
int32_t conditionBroadcast(QXHandle handle) noexcept;

int32_t eventCreate(const char* name, QXHandle* handle) noexcept;
int32_t eventDestroy(QXHandle handle) noexcept;
int32_t eventSignal(QXHandle handle) noexcept;
int32_t eventWait(QXHandle handle) noexcept;
int32_t eventTimedWait(QXHandle handle, uint32_t milliseconds) noexcept;

int32_t gateCreate(const char* name, QXHandle* handle) noexcept;
int32_t gateDestroy(QXHandle handle) noexcept;
int32_t gateOpen(QXHandle handle) noexcept;
int32_t gateClose(QXHandle handle) noexcept;
int32_t gateWait(QXHandle handle) noexcept;
int32_t gateTryWait(QXHandle handle) noexcept;
int32_t gateTimedWait(QXHandle handle, uint32_t milliseconds) noexcept;

/// Created with 1 or more units it guards resources: units belong to the process that took them,
/// and a process that ends gives its units back. Created with 0 it is a signal: nobody owns units.
int32_t semaphoreCreate(uint32_t initialCount, const char* name, QXHandle* handle) noexcept;
int32_t semaphoreDestroy(QXHandle handle) noexcept;
int32_t semaphorePost(QXHandle handle) noexcept;
int32_t semaphoreWait(QXHandle handle) noexcept;
int32_t semaphoreTryWait(QXHandle handle) noexcept;
int32_t semaphoreGetValue(QXHandle handle, int32_t* value) noexcept;

int32_t rwlockCreate(const char* name, QXHandle* handle) noexcept;
int32_t rwlockDestroy(QXHandle handle) noexcept;
int32_t rwlockAcquireRead(QXHandle handle) noexcept;
int32_t rwlockAcquireWrite(QXHandle handle) noexcept;
int32_t rwlockTryAcquireRead(QXHandle handle) noexcept;
int32_t rwlockTryAcquireWrite(QXHandle handle) noexcept;
int32_t rwlockReleaseRead(QXHandle handle) noexcept;
int32_t rwlockReleaseWrite(QXHandle handle) noexcept;

} // namespace qx::platform::shared
