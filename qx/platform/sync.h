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
/// required, and 0x80070006 says that an object of another kind has it: mutexes, events and the
/// others share their names with the semaphores of shared.h. Locks survive the death of their
/// holder: the next caller acquires them within a second. A process that is stopped in the moment
/// in which it changes the state of an object may hold up whoever uses that object until it goes
/// on, even a try or a timed wait. Where the machine lacks what all this needs, Create gives
/// 0x80004007 (see QXSharedObjectsLack in shared.h).
///
/// Locks belong to threads. What a thread still holds when it ends belongs to nobody: nobody can
/// acquire or release it, but for a mutex or condition of QX_SYNC_SHARED, which the next caller
/// acquires as after the death of a process.
///
/// In a child made by fork nobody waits for an object inside one process: those who waited in the
/// parent are not there. What the thread that forks holds, the child holds; what another thread of
/// the parent held belongs to nobody there, as after the end of a thread.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Flag of the Create functions: the object of that name is common to the processes of the user.
#define QX_SYNC_SHARED 1u

/// 1 when the calling thread holds the object and its last acquisition came after a holder who died
/// inside, or ended or closed its last handle without giving back: what the object guards may be
/// half changed. 0 otherwise, and always inside one process. An acquisition that a holder repeats
/// is part of its first one. Whoever is told and dies too leaves it to the next.
///
/// Of a mutex or condition the next holder is told. Of a reader-writer lock, after a writer has
/// died, every reader and writer is, until a writer gives it back; a dead reader has changed
/// nothing. Of a semaphore that guards resources each unit that came back is taken before others
/// and told once; where one process holds several, each of its threads is asked for its last one. A
/// thread that reads, or holds units, several times over is told until it has given one back. A
/// kill just between two steps of taking or giving back may tell one too many, never one too few.
///
/// A process remembers the 64 threads that were told last. A child made by fork holds nothing.
QX_API int32_t QXSyncAcquiredFromDead(QXHandle handle);

// Recursive mutual exclusion.

/// Creates a mutex that nobody holds.
QX_API int32_t QXMutexCreate(const char* name, uint32_t flags, QXHandle* handle);
/// Frees the mutex, which no thread of this process may be using. One of QX_SYNC_SHARED lives on
/// while other processes use it.
QX_API int32_t QXMutexDestroy(QXHandle handle);
/// Waits until the calling thread holds the mutex. Its holder may acquire it again.
QX_API int32_t QXMutexAcquire(QXHandle handle);
/// The same without waiting: 0x800700AA while another thread holds it.
QX_API int32_t QXMutexTryAcquire(QXHandle handle);
/// Undoes one acquisition; 0x80070120 for a thread that does not hold the mutex.
QX_API int32_t QXMutexRelease(QXHandle handle);

// A condition with its own recursive lock. A signal ends one wait. With QX_SYNC_SHARED the signal
// of a waiter that was killed goes to the next, or to two if the one that passes it on is killed
// just then, and a wait beside 1,024 others ends after a moment without a signal: test the
// predicate again.

/// Creates a condition whose lock nobody holds.
QX_API int32_t QXConditionCreate(const char* name, uint32_t flags, QXHandle* handle);
/// Frees the condition, which no thread of this process may be using. One of QX_SYNC_SHARED lives
/// on while other processes use it.
QX_API int32_t QXConditionDestroy(QXHandle handle);
/// Waits until the calling thread holds the lock. Its holder may acquire it again.
QX_API int32_t QXConditionAcquire(QXHandle handle);
/// The same without waiting: 0x800700AA while another thread holds it.
QX_API int32_t QXConditionTryAcquire(QXHandle handle);
/// Undoes one acquisition; 0x80070120 for a thread that does not hold the lock.
QX_API int32_t QXConditionRelease(QXHandle handle);
/// Waits for a signal; 0x80070120 for a thread that does not hold the lock. The wait gives up all
/// acquisitions of the lock and takes them back before it returns.
QX_API int32_t QXConditionWait(QXHandle handle);
/// The same for at most that time. The lock is also held again when the time ran out.
QX_API int32_t QXConditionTimedWait(QXHandle handle, uint32_t milliseconds);
/// Wakes the thread that has waited longest, if any; with QX_SYNC_SHARED, of all processes. A
/// caller who does not hold the lock acquires it for the call.
QX_API int32_t QXConditionSignal(QXHandle handle);
/// The same for all threads that wait.
QX_API int32_t QXConditionBroadcast(QXHandle handle);

// An event resets itself.

/// Creates an event that is not signalled.
QX_API int32_t QXEventCreate(const char* name, uint32_t flags, QXHandle* handle);
/// Frees the event, which no thread of this process may be using. One of QX_SYNC_SHARED lives on
/// while other processes use it.
QX_API int32_t QXEventDestroy(QXHandle handle);
/// Releases one thread that waits. While none does the event remembers one signal.
QX_API int32_t QXEventSignal(QXHandle handle);
/// Waits for a signal and takes it.
QX_API int32_t QXEventWait(QXHandle handle);
/// The same for at most that time.
QX_API int32_t QXEventTimedWait(QXHandle handle, uint32_t milliseconds);

// A gate lets every waiter through while it is open.

/// Creates a closed gate.
QX_API int32_t QXGateCreate(const char* name, uint32_t flags, QXHandle* handle);
/// Frees the gate, which no thread of this process may be using. One of QX_SYNC_SHARED lives on
/// while other processes use it.
QX_API int32_t QXGateDestroy(QXHandle handle);
/// Lets through all threads that wait, and all that come until the gate is closed.
QX_API int32_t QXGateOpen(QXHandle handle);
/// From now on threads wait.
QX_API int32_t QXGateClose(QXHandle handle);
/// Waits until the gate is open, or was since the call began.
QX_API int32_t QXGateWait(QXHandle handle);
/// Does not wait: 0x800700AA while the gate is closed.
QX_API int32_t QXGateTryWait(QXHandle handle);
/// Waits for at most that time.
QX_API int32_t QXGateTimedWait(QXHandle handle, uint32_t milliseconds);

// A semaphore counts units from 0 to 0x7FFFFFFF. The last five functions also serve the named
// semaphores of shared.h.

/// Creates a semaphore; 0x80070057 for an initial count above the limit.
QX_API int32_t QXSemaphoreCreate(uint32_t initialCount, const char* name, uint32_t flags,
                                 QXHandle* handle);
/// Frees the semaphore, which no thread of this process may be using. One of QX_SYNC_SHARED lives
/// on while other processes use it.
QX_API int32_t QXSemaphoreDestroy(QXHandle handle);
/// Adds a unit; 0x80070216 at the limit.
QX_API int32_t QXSemaphorePost(QXHandle handle);
/// Waits until there is a unit and takes it.
QX_API int32_t QXSemaphoreWait(QXHandle handle);
/// The same without waiting: 0x800700AA when there is no unit.
QX_API int32_t QXSemaphoreTryWait(QXHandle handle);
/// Waits for at most that time.
QX_API int32_t QXSemaphoreTimedWait(QXHandle handle, uint32_t milliseconds);
/// The units that could be taken at a moment within the call, those of the dead included. Others
/// may have changed it meanwhile.
QX_API int32_t QXSemaphoreGetValue(QXHandle handle, int32_t* value);

// A lock with many readers or one writer, which is not recursive. Readers and writers that wait are
// admitted in turns, so that neither side starves.

/// Creates a lock that nobody holds.
QX_API int32_t QXRWLockCreate(const char* name, uint32_t flags, QXHandle* handle);
/// Frees the lock, which no thread of this process may be using. One of QX_SYNC_SHARED lives on
/// while other processes use it.
QX_API int32_t QXRWLockDestroy(QXHandle handle);
/// Waits until the caller is one of the readers; 0x8007046B for the writer.
QX_API int32_t QXRWLockAcquireRead(QXHandle handle);
/// Waits until the calling thread is the writer; 0x8007046B when it is already.
QX_API int32_t QXRWLockAcquireWrite(QXHandle handle);
/// Does not wait: 0x800700AA while there is a writer, or one waits.
QX_API int32_t QXRWLockTryAcquireRead(QXHandle handle);
/// Does not wait: 0x800700AA while anybody holds the lock.
QX_API int32_t QXRWLockTryAcquireWrite(QXHandle handle);
/// Gives one reader up; 0x80070120 while there is none.
QX_API int32_t QXRWLockReleaseRead(QXHandle handle);
/// Gives the writing up; 0x80070120 for a thread that is not the writer.
QX_API int32_t QXRWLockReleaseWrite(QXHandle handle);

#ifdef __cplusplus
}
#endif
