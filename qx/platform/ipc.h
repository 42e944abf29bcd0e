#pragma once

/*
 * Named semaphores and shared memory, for the processes of one user.
 *
 * Every function returns a result code, negative on failure; out-parameters are all ones or null
 * after one. Names are any nul-terminated text, path separators included.
 */

#include <stddef.h>

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opens the semaphore of that name, creating it with @p value units when nobody has it open. The
 * handle is used with QXSemaphoreWait, TryWait, Post and GetValue (sync.h) and is crash-safe:
 * created with 1 or more it guards resources, and units held by a process that ends or is killed
 * are given back within a second; created with 0 it is a signal and nothing is given back. It
 * disappears when its last user closes it or dies. */
QX_API int32_t QXNamedSemOpen(const char* name, uint32_t value, QXHandle* handle);
QX_API int32_t QXNamedSemClose(QXHandle handle);

/* Access and creation flags of QXSharedMemOpen. */
#define QX_SHAREDMEM_CREATE 1u    /* create when it does not exist */
#define QX_SHAREDMEM_EXCLUSIVE 2u /* with CREATE: fail with 0x80070050 when it exists */
#define QX_SHAREDMEM_REMOVE 4u    /* the name disappears when this handle is closed */

/* Opens the block of that name. @p permissions are the bits for others (0: owner only), @p size is
 * in bytes and may be 0 for an existing block. Space is reserved here: a full memory file system
 * gives 0x80070070. */
QX_API int32_t QXSharedMemOpen(const char* name, uint32_t flags, uint32_t permissions,
                               uint32_t size, QXHandle* handle);
/* Maps the whole block. @p access: 0x80000000 read, 0x40000000 write. */
QX_API int32_t QXSharedMemAttach(QXHandle handle, uint32_t access, void** address);
QX_API int32_t QXSharedMemDetach(void* address);
QX_API int32_t QXSharedMemClose(QXHandle handle);

#ifdef __cplusplus
}
#endif
