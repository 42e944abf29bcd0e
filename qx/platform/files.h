#pragma once

/// @file
/// Files, folders and the process's standard streams. Paths are nul-terminated text in the default
/// encoding, with "/" or "\" between segments. A path that begins with a drive letter and ":" is
/// not found (0x80070002), unless the drive is mapped; so is the empty path. Results are codes,
/// negative on failure; out-parameters are then 0, empty or all ones. Descriptors are closed on
/// exec; interrupted calls are continued. All functions may be called from any thread.

#include <stddef.h>

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Flag words of QXFileOpen.
#define QX_FILE_READ 0x80000000u
#define QX_FILE_WRITE 0x40000000u
#define QX_FILE_AT_END 0x8u   ///< positioned at the end
#define QX_FILE_CREATE 0x100u ///< create when missing
#define QX_FILE_TRUNCATE 0x200u
#define QX_FILE_APPEND 0x400u ///< every write goes to the end that the file has at that moment
/// With READ alone: refuses what reading could wait for, such as a pipe in the place of a file,
/// with 0x80070005, and waits for nobody to open its other end. The null device is let through.
#define QX_FILE_REGULAR 0x1000u
/// With CREATE: refuses whatever has the name already, a symbolic link too, with 0x80070050.
#define QX_FILE_NEW 0x2000u

/// Opens a file. @p mode: permission bits of a file that is created, at most 0777. The lower 32
/// bits of the handle are a file descriptor, never one of the three standard ones; every call here
/// also takes a plain descriptor as handle. 0x80070057 for other flags, for no access, for TRUNCATE
/// or APPEND without WRITE, for REGULAR with it and for NEW without CREATE; 0x80070005 for a
/// folder.
QX_API int32_t QXFileOpen(const char* path, uint32_t flags, uint32_t mode, QXHandle* handle);
/// Closes a file. The handle is gone even when this fails because data could not be stored.
QX_API int32_t QXFileClose(QXHandle handle);
/// Size of a file in bytes; 0 for pipes and terminals.
QX_API int32_t QXFileGetSize(QXHandle handle, int64_t* size);
/// Reads up to @p length bytes by one call of the system; @p bytesRead is 0 at the end. Waits on a
/// descriptor that was made non-blocking, too.
QX_API int32_t QXFileRead(QXHandle handle, void* buffer, int32_t length, int32_t* bytesRead);
/// Writes bytes by one call of the system, which may take fewer than @p length. A closed pipe or
/// socket gives 0x8007006D and raises no signal. Waits on a descriptor that was made non-blocking,
/// too.
QX_API int32_t QXFileWrite(QXHandle handle, const void* buffer, int32_t length,
                           int32_t* bytesWritten);
/// Writes all bytes, by several calls of the system where one takes fewer; 0x80004005 for a device
/// that takes none and reports no error. When that fails in the middle, a file that QXFileOpen,
/// QXFileCreateBeside or QXFileReplaceBegin has opened ends again where the bytes began, unless
/// something else lies behind them. @p bytesWritten is how many are written, after a failure too.
QX_API int32_t QXFileWriteAll(QXHandle handle, const void* buffer, int32_t length,
                              int32_t* bytesWritten);

#define QX_FILE_FROM_START 0
#define QX_FILE_FROM_CURRENT 1
#define QX_FILE_FROM_END 2
/// Moves the position of the next read or write. @p origin: one of the numbers above. @p position,
/// which may be null, receives the new offset from the start.
QX_API int32_t QXFileSeek(QXHandle handle, int64_t offset, int32_t origin, int64_t* position);
/// Makes what was written durable; does nothing for what cannot be (pipes, terminals).
QX_API int32_t QXFileFlush(QXHandle handle);
/// Bytes that can be read without blocking: what is left of a file, what waits in a pipe, socket or
/// terminal; 0 when unknown.
QX_API int32_t QXFileAvailable(QXHandle handle, int32_t* available);
/// Makes durable which files the folder of @p path has, and their names. 0x80070005 for a folder
/// that the caller may not read.
QX_API int32_t QXFileFlushFolder(const char* path);
/// 1 when a read comes back at once, at the end too: for a regular file that had bytes when
/// QXFileOpen opened it. 0 for all others.
QX_API int32_t QXFileNeverWaits(QXHandle handle);
/// 1 for a regular file that QXFileOpen has opened, 0 for devices, pipes and all others.
QX_API int32_t QXFileIsRegular(QXHandle handle);

/// Absolute path with "/" separators and none at the end: ".", ".." and repeated separators are
/// removed as text, then links are resolved as far as the path exists. @p capacity counts the
/// terminating nul; 0x80004009 when it does not fit.
QX_API int32_t QXPathExpand(const char* path, char* buffer, int32_t capacity);
/// A path that goes on to mean the same when the process goes to another folder: a relative one
/// gets the current folder in front. Unchanged where that cannot be named, as by somebody who may
/// not go there by its name. The capacity as above.
QX_API int32_t QXPathAnchor(const char* path, char* buffer, int32_t capacity);
/// Current folder of the process, without a separator at the end; the capacity as above.
QX_API int32_t QXGetCurrentDirectory(char* buffer, int32_t capacity);
/// Folder for temporary files: that of the user's environment (TMPDIR), else "/tmp". Otherwise as
/// above.
QX_API int32_t QXGetTempDirectory(char* buffer, int32_t capacity);

/// From now on the drive stands for @p folder, a path of the system, for the whole process; null
/// removes it. @p drive is a letter in either case.
QX_API int32_t QXDriveMap(char drive, const char* folder);

/// The drive that @p path lies on: a letter with ":", or the folder where a file system is mounted.
/// The capacity as above.
QX_API int32_t QXDriveOfPath(const char* path, char* buffer, int32_t capacity);

#define QX_DRIVE_NO_ROOT 1 ///< there is no such drive
#define QX_DRIVE_FIXED 3
#define QX_DRIVE_REMOTE 4 ///< a network file system
/// The kind of a drive: one of the numbers above.
QX_API int32_t QXDriveGetType(const char* drive);
/// "\\server\share" and the folders below the share that a remote drive stands for, with "\"
/// between them. 0x80070002 for one that is not remote or does not name its server.
QX_API int32_t QXDriveGetRemoteName(const char* drive, char* buffer, int32_t capacity);
/// The table of mounts that these calls read, in the form of the kernel's mountinfo; null for the
/// kernel's own.
QX_API int32_t QXMountTableSet(const char* file);

/// Removes a file.
QX_API int32_t QXFileRemove(const char* path);
/// Renames a file. One that has the name @p to is replaced, so that there is one at any moment.
QX_API int32_t QXFileRename(const char* from, const char* to);
/// Creates a new file beside @p path, open for reading and writing. It has the bits of @p mode, at
/// most 0777, less the umask. Its name, stored in @p buffer, is
/// ".<name>.<16 upper-case hexadecimal digits>.tmp".
QX_API int32_t QXFileCreateBeside(const char* path, uint32_t mode, char* buffer, int32_t capacity,
                                  QXHandle* handle);

/// The process's standard input as a handle, which the caller does not own and never closes.
QX_API QXHandle QXFileStandardInput(void);
/// The process's standard output, as above.
QX_API QXHandle QXFileStandardOutput(void);
/// The process's standard error output, as above.
QX_API QXHandle QXFileStandardError(void);
QX_API int32_t QXFileIsTerminal(QXHandle handle); ///< 1 for a terminal, else 0

/// Waits for a keystroke at the terminal of the process, whatever its standard input is, without
/// echo and line editing, and stores its byte, 0 to 255. Control-C and control-Z come as 0x03 and
/// 0x1A, the key that takes a character back as 0x08. Without a terminal of its own the process
/// reads one byte of standard input; 0x80070026 at its end. Afterwards the terminal is as it was
/// before, and also while a signal stops the process and when one ends it meanwhile.
QX_API int32_t QXConsoleReadKey(int32_t* key);
/// Between a call with 1 and one with 0 the terminal stays without echo, so that keys that arrive
/// between two reads do not show. Calls nest; each 1 needs its 0.
QX_API int32_t QXConsoleHoldKeys(int32_t hold);

#ifdef __cplusplus
}
#endif
