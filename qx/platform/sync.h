#pragma once

/// @file
/// Locks and signals inside one process, and with QX_SYNC_SHARED between the processes of a user.
///
/// Every function returns a result code, negative on failure. A Create call stores all ones in the
/// out-handle before it does anything else; Destroy frees the object, which nobody may be using.
/// Uncontended operations make no system call. A try succeeds when its result is 0 or more. A timed
/// wait gives 0 when signalled and 0x800705B4 when the time, measured by the monotonic clock, ran
/// out. A handle of zero or all ones is 0x80070006. Signals delivered to a thread never end its
/// wait.
///
/// Name and flags: with flags 0 the name (null for none, copied) is a label for debugging only.
/// With QX_SYNC_SHARED the object is the one of that name for every process of the user, a name is
/// required, and locks survive the death of their holder: the next caller acquires them within a
/// second. Where the machine lacks what that needs, Create gives 0x80004007 (see
/// QXSharedObjectsLack in shared.h).
///
/// Locks belong to threads. What a thread still holds when it ends belongs to nobody: nobody can
/// acquire or release it, but for a mutex or condition of QX_SYNC_SHARED, which the next caller
/// acquires as after the death of a process.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define QX_SYNC_SHARED 1u

/// Recursive mutual exclusion. Release by a thread that does not hold it: 0x80070120.
QX_API int32_t QXMutexCreate(const char* name, uint32_t flags, QXHandle* handle);
QX_API int32_t QXMutexDestroy(QXHandle handle);
QX_API int32_t QXMutexAcquire(QXHandle handle);
QX_API int32_t QXMutexTryAcquire(QXHandle handle);
QX_API int32_t QXMutexRelease(QXHandle handle);

/// A condition with its own recursive lock. Wait and TimedWait are called by the holder of the lock
/// (others get 0x80070120); a wait gives the lock up whole, whatever its depth, and takes it back
/// before it returns, also when the time ran out. Signal wakes one waiter, the longest waiting,
/// Broadcast all of them; the lock is taken for the call where the caller does not hold it. With
/// QX_SYNC_SHARED a wait may also end without a signal: test the predicate again.
QX_API int32_t QXConditionCreate(const char* name, uint32_t flags, QXHandle* handle);
QX_API int32_t QXConditionDestroy(QXHandle handle);
QX_API int32_t QXConditionAcquire(QXHandle handle);
QX_API int32_t QXConditionTryAcquire(QXHandle handle);
QX_API int32_t QXConditionRelease(QXHandle handle);
QX_API int32_t QXConditionWait(QXHandle handle);
QX_API int32_t QXConditionTimedWait(QXHandle handle, uint32_t milliseconds);
QX_API int32_t QXConditionSignal(QXHandle handle);
QX_API int32_t QXConditionBroadcast(QXHandle handle);

/// Auto-reset: a signal releases one waiter and is remembered, once, while nobody waits.
QX_API int32_t QXEventCreate(const char* name, uint32_t flags, QXHandle* handle);
QX_API int32_t QXEventDestroy(QXHandle handle);
QX_API int32_t QXEventSignal(QXHandle handle);
QX_API int32_t QXEventWait(QXHandle handle);
QX_API int32_t QXEventTimedWait(QXHandle handle, uint32_t milliseconds);

/// Manual: created closed; open lets every waiter through until it is closed again.
QX_API int32_t QXGateCreate(const char* name, uint32_t flags, QXHandle* handle);
QX_API int32_t QXGateDestroy(QXHandle handle);
QX_API int32_t QXGateOpen(QXHandle handle);
QX_API int32_t QXGateClose(QXHandle handle);
QX_API int32_t QXGateWait(QXHandle handle);
QX_API int32_t QXGateTryWait(QXHandle handle);
QX_API int32_t QXGateTimedWait(QXHandle handle, uint32_t milliseconds);

/// Counting semaphore, 0 to 0x7FFFFFFF; a larger initial count is 0x80070057, a post at the limit
/// 0x80070216. The same four operations serve named semaphores (shared.h).
QX_API int32_t QXSemaphoreCreate(uint32_t initialCount, const char* name, uint32_t flags,
                                 QXHandle* handle);
QX_API int32_t QXSemaphoreDestroy(QXHandle handle);
QX_API int32_t QXSemaphorePost(QXHandle handle);
QX_API int32_t QXSemaphoreWait(QXHandle handle);
QX_API int32_t QXSemaphoreTryWait(QXHandle handle);
QX_API int32_t QXSemaphoreGetValue(QXHandle handle, int32_t* value);

/// Shared and exclusive holders; not recursive. Readers and writers that wait are admitted in
/// turns, so neither side starves. A writer that acquires again: 0x8007046B. ReleaseWrite by a
/// thread that does not hold it, and ReleaseRead while there is no reader: 0x80070120.
QX_API int32_t QXRWLockCreate(const char* name, uint32_t flags, QXHandle* handle);
QX_API int32_t QXRWLockDestroy(QXHandle handle);
QX_API int32_t QXRWLockAcquireRead(QXHandle handle);
QX_API int32_t QXRWLockAcquireWrite(QXHandle handle);
QX_API int32_t QXRWLockTryAcquireRead(QXHandle handle);
QX_API int32_t QXRWLockTryAcquireWrite(QXHandle handle);
QX_API int32_t QXRWLockReleaseRead(QXHandle handle);
QX_API int32_t QXRWLockReleaseWrite(QXHandle handle);

#ifdef __cplusplus
}
#endif
