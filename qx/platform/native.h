#pragma once

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Result code of the calling thread's last native error; negative.
QX_API int32_t QXResultFromNative(void);

/// The result code of a system error such as ENOENT; 0x80004005 for one without.
QX_API int32_t QXResultFromErrno(int32_t error);
/// The system error that a result code stands for, the first of several; 0 for none.
QX_API int32_t QXErrnoFromResult(int32_t result);

/// The C library's text for that error, in the language of the process and the default encoding.
/// What does not fit is cut off.
QX_API void QXNativeErrorText(char* buffer, int32_t capacity);

/// Number of the calling thread: never 0, unique among the threads that live in this process. The
/// system gives the numbers of ended threads to new ones: to remember a thread, take its identity.
QX_API uint32_t QXThreadCurrentId(void);

/// Identity of the calling thread: never 0, and no other thread of this process ever has it.
QX_API uint64_t QXThreadIdentity(void);

#ifdef __cplusplus
}
#endif
