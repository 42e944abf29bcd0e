#pragma once

/// @file
/// Named semaphores and shared memory, for the processes of one user.
///
/// Functions return a result code, negative on failure; out-parameters are all ones or null
/// after one. A name is any nul-terminated text that is not empty, path separators included.
/// Semaphores share their names with the objects of sync.h, where the Open of another kind gives
/// 0x80070006; memory has names of its own. An Open gives 0x800700AA when another process has been
/// setting up or removing the object of that name for some seconds, which only happens when it is
/// stopped just then.
///
/// What a process has opened before it becomes another user, as a service does that gives up root,
/// it can go on using; what it opens then is the new user's, also under the same name. A child that
/// it forks then has no rights to what was opened before: its handles of semaphores and of shared
/// locks and signals give 0x80070006. Nor can the process remove the files: the last to close gives
/// back their memory unless it has forked since it opened them, as a child may go on using it. The
/// files stay until a process of their owner opens them again or makes its first object.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// What this machine lacks that named semaphores, shared memory and the locks and signals of
/// QX_SYNC_SHARED need, as a text in English that says where it was looked for; null when nothing.
/// Where something is lacking they cannot be opened: 0x80004007.
QX_API const char* QXSharedObjectsLack(void);

/// Opens the semaphore of that name, creating it with @p value units when nobody has it open; an
/// existing one keeps its count. Use the handle with QXSemaphoreWait, TryWait, TimedWait, Post and
/// GetValue (sync.h). The semaphore disappears when its last user closes it or dies.
///
/// Created with 1 or more it guards resources: units belong to the process that took them, and
/// those of a process that ends, or closes its last handle of the name, are given back: waiters
/// elsewhere go on within a second. A post by a process that holds no unit adds one for good.
/// Created with 0 it is a signal: nobody owns units, what was posted or taken stays so.
///
/// A child made by fork may use the handles it inherits. It is a process of its own that holds no
/// units, so it must not post what its parent took.
QX_API int32_t QXNamedSemOpen(const char* name, uint32_t value, QXHandle* handle);
/// Closes a handle of a named semaphore.
QX_API int32_t QXNamedSemClose(QXHandle handle);

/// Flags of QXSharedMemOpen. Without CREATE the block must exist: 0x80070002 if not.
#define QX_SHAREDMEM_CREATE 1u    ///< create it, filled with zeros, when it does not exist
#define QX_SHAREDMEM_EXCLUSIVE 2u ///< with CREATE: fail with 0x80070050 when it exists
#define QX_SHAREDMEM_READ_ONLY 4u ///< not with CREATE: can be attached for reading only

/// Opens the block of that name, which exists from its creation until its last user closes it or
/// dies.
///
/// @p permissions: 0 for a block of this user alone. Otherwise the block lies in a name space
/// common to all users, and the bits (those of 0666) say what group and others may do; who opens
/// such a block of another user passes them too and trusts its owner. With CREATE it is only taken
/// when they let that user write, as one of all or of the group that the file has: else 0x80070005.
/// Where the last user may only read another user's block, file and memory stay until a process of
/// the owner opens the block or makes its first object.
/// @p size: in bytes, 1 or more to create. An existing block may be larger, never smaller
/// (0x80070057); 0 takes it as it is. The space is reserved here: 0x80070070 when it is not there.
QX_API int32_t QXSharedMemOpen(const char* name, uint32_t flags, uint32_t permissions,
                               uint32_t size, QXHandle* handle);
/// Maps the whole block. @p access: 0x80000000 to read, 0x40000000 to write, or both. The
/// block stays in use until what was mapped is detached, also when the handle is closed before.
QX_API int32_t QXSharedMemAttach(QXHandle handle, uint32_t access, void** address);
/// Unmaps what Attach mapped at this address.
QX_API int32_t QXSharedMemDetach(void* address);
/// Closes a handle of a block.
QX_API int32_t QXSharedMemClose(QXHandle handle);

// What there is, for whoever looks at it from outside.

/// Kinds of named objects.
/// Being made just now or left unfinished, of another version of the library, or not to be read.
#define QX_SHARED_KIND_UNKNOWN 0u
#define QX_SHARED_KIND_MUTEX 1u
#define QX_SHARED_KIND_CONDITION 2u
#define QX_SHARED_KIND_EVENT 3u
#define QX_SHARED_KIND_GATE 4u
#define QX_SHARED_KIND_SEMAPHORE 5u ///< created with 1 or more units
#define QX_SHARED_KIND_SIGNAL 6u    ///< a semaphore created with 0
#define QX_SHARED_KIND_RWLOCK 7u
#define QX_SHARED_KIND_MEMORY 8u

/// A process that uses an object, or that died and left something in it.
typedef struct QXSharedUser {
    int32_t processId;   ///< 0 for a dead one, and for those that the system does not show
    int32_t isAlive;     ///< 0 or 1
    uint32_t held;       ///< acquisitions of the holder, units, or readers
    int32_t isWriter;    ///< 0 or 1
    uint32_t waiting;    ///< threads that wait
    const char* command; ///< the command line with blanks between arguments; empty if not shown
} QXSharedUser;

/// A named object at about one moment. Everything is valid during the call that hands it over.
typedef struct QXSharedObject {
    const char* name; ///< of a long one its beginning, "~" and a hash
    const char* path; ///< of the file
    uint32_t kind;    ///< QX_SHARED_KIND_...
    /// Acquisitions of the holder of a mutex or condition; readers of a lock, -1 for a writer; 1
    /// for an event that is signalled and a gate that is open; units that can be taken, those of
    /// the dead included; bytes of memory.
    int64_t value;
    const QXSharedUser* users;
    uint32_t userCount;
    int32_t isFromDead; ///< 1: QXSyncAcquiredFromDead tells whoever acquires it next; else 0
} QXSharedObject;

/// Gets one object after the other; a negative result ends the call that hands them over, and is
/// its result.
typedef int32_t (*QXSharedObjectVisitor)(const QXSharedObject* object, void* context);

/// Hands over all objects of the user in the order of their names. Takes no lock, changes nothing
/// and is no user of them: what it tells may be different before it returns. Process numbers come
/// from the process file system. A dead user is shown until another process takes its place in the
/// object or what it held, isFromDead for as long as somebody is to be told. Users of memory cannot
/// be told apart: those that the system does not show appear, as one, where it shows none.
QX_API int32_t QXSharedObjectsVisit(QXSharedObjectVisitor visit, void* context);

/// 1 when the object has that name, of which a long one is not whole in its `name`; else 0.
QX_API int32_t QXSharedObjectHasName(const QXSharedObject* object, const char* name);

/// Removes the objects that no process uses, which killed ones have left, and hands over what they
/// were. An object that is taken into use meanwhile stays.
QX_API int32_t QXSharedObjectsClean(QXSharedObjectVisitor visit, void* context);

#ifdef __cplusplus
}
#endif
