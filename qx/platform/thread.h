#pragma once

/// @file
/// Threads of this process. Every function returns a result code, negative on failure; handles are
/// then all ones, ids 0. A handle is used by one thread at a time and is gone after Join or Detach;
/// one of zero or all ones is 0x80070006. So is that of a thread of the parent in a child made by
/// fork, where Detach gives it up all the same.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// What a thread runs; its result is the thread's exit value. Nothing may be thrown out of it.
typedef void* (*QXThreadEntry)(void* argument);

/// Starts a thread and stores the number that QXThreadCurrentId gives in it. @p flags must be 0:
/// the thread runs at once, scheduled as its creator. @p stackSize in bytes, raised to what a
/// thread needs; 0 for the system's default. 0x800700A4 when the system takes no more threads.
QX_API int32_t QXThreadCreate(QXThreadEntry entry, void* argument, uint32_t flags,
                              uint32_t stackSize, QXHandle* handle, uint32_t* id);
/// The same for a thread that debuggers and process listings show by @p name: UTF-8, copied, cut to
/// 15 bytes at a character's end. The thread has it before @p entry begins. Null or empty: it is
/// called like its creator.
QX_API int32_t QXThreadCreateNamed(const char* name, QXThreadEntry entry, void* argument,
                                   uint32_t flags, uint32_t stackSize, QXHandle* handle,
                                   uint32_t* id);
/// Waits for the end of the thread and stores its exit value; 0x8007046B for the calling thread
/// itself. After a failure the handle is as before.
QX_API int32_t QXThreadJoin(QXHandle handle, void** exitValue);
/// Lets the thread run on by itself; at its end nothing of it is left.
QX_API int32_t QXThreadDetach(QXHandle handle);

/// Suspends the calling thread for at least that time, whatever signals arrive; 0 lets another
/// thread that is ready run first.
QX_API void QXThreadSleep(uint32_t milliseconds);

#ifdef __cplusplus
}
#endif
