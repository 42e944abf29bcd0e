#pragma once

/*
 * Files, folders and the process's standard streams. Paths are nul-terminated text in the default
 * encoding, with "/" or "\" between segments. Results are codes, negative on failure. Descriptors
 * are closed on exec; interrupted calls are continued.
 */

#include <stddef.h>

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Flag words of QXFileOpen. */
#define QX_FILE_READ 0x80000000u
#define QX_FILE_WRITE 0x40000000u
#define QX_FILE_AT_END 0x8u   /* positioned at the end */
#define QX_FILE_CREATE 0x100u /* create when missing */
#define QX_FILE_TRUNCATE 0x200u

/* @p mode: permission bits of a file that is created. The handle is a file descriptor. */
QX_API int32_t QXFileOpen(const char* path, uint32_t flags, uint32_t mode, QXHandle* handle);
QX_API int32_t QXFileClose(QXHandle handle);
QX_API int32_t QXFileGetSize(QXHandle handle, int64_t* size);
/* One read of up to @p length bytes, continued only when a signal interrupts it; 0 at the end. */
QX_API int32_t QXFileRead(QXHandle handle, void* buffer, int32_t length, int32_t* bytesRead);
/* One write; the count may be short. A closed pipe gives 0x8007006D and raises no signal. */
QX_API int32_t QXFileWrite(QXHandle handle, const void* buffer, int32_t length,
                           int32_t* bytesWritten);

#define QX_FILE_FROM_START 0
#define QX_FILE_FROM_CURRENT 1
#define QX_FILE_FROM_END 2
/* @p position (may be null) receives the new offset from the start. */
QX_API int32_t QXFileSeek(QXHandle handle, int64_t offset, int32_t origin, int64_t* position);
/* Makes what was written durable; does nothing for what cannot be (pipes, terminals). */
QX_API int32_t QXFileFlush(QXHandle handle);
/* Bytes that can be read without blocking; 0 when unknown. */
QX_API int32_t QXFileAvailable(QXHandle handle, int32_t* available);

/* Absolute, lexically normalised path with links resolved where they exist, with "/" separators.
 * @p capacity counts the terminating nul; 0x80004009 when it does not fit. */
QX_API int32_t QXPathExpand(const char* path, char* buffer, int32_t capacity);
/* Current and temporary folder; the capacity as above. */
QX_API int32_t QXGetCurrentDirectory(char* buffer, int32_t capacity);
QX_API int32_t QXGetTempDirectory(char* buffer, int32_t capacity);

/* Replaces the rule that no drive is mapped: "X:" stands for @p folder from now on; null removes
 * it. @p drive is a letter. */
QX_API int32_t QXDriveMap(char drive, const char* folder);

/* Removes a file; renames one, replacing an existing @p to at once; creates a new file that only
 * the owner can use beside @p path under a random name, stored in @p buffer. */
QX_API int32_t QXFileRemove(const char* path);
QX_API int32_t QXFileRename(const char* from, const char* to);
QX_API int32_t QXFileCreateBeside(const char* path, char* buffer, int32_t capacity,
                                  QXHandle* handle);

/* The process's standard streams as handles; not owned, never closed. */
QX_API QXHandle QXFileStandardInput(void);
QX_API QXHandle QXFileStandardOutput(void);
QX_API QXHandle QXFileStandardError(void);
QX_API int32_t QXFileIsTerminal(QXHandle handle); /* 1 for a terminal, else 0 */

/* One keystroke from the terminal without echo and line editing, 0 to 255. Control-C and control-Z
 * come as 0x03 and 0x1A. Without a terminal one byte of standard input. 0x80070026 at its end. */
QX_API int32_t QXConsoleReadKey(int32_t* key);

#ifdef __cplusplus
}
#endif
