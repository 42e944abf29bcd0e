#pragma once

/// @file
/// Files that are replaced as a whole, and the noticing of such changes. Paths and results are
/// those of files.h. All functions may be called from any thread.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// What tells one state of a file from another. All zeros is the state of no file.
typedef struct QXFileState {
    int64_t modified; ///< nanoseconds since 1970, negative before; INT64_MAX for all after 2262
    int64_t size;     ///< bytes
    uint64_t device;
    uint64_t inode;
} QXFileState;

/// The state of a file, links followed, for the cost of one system call; all zeros after a failure.
QX_API int32_t QXFileGetState(const char* path, QXFileState* state);
/// The same for what has that very name: the state of a symbolic link is its own.
QX_API int32_t QXFileGetNameState(const char* path, QXFileState* state);
/// The same for an open file.
QX_API int32_t QXFileGetHandleState(QXHandle handle, QXFileState* state);
/// 1 when both are one state of one file, else 0.
QX_API int32_t QXFileIsSameState(const QXFileState* left, const QXFileState* right);
/// 1 when a change from now on is sure to give a file of this state another one, 0 when it was
/// changed so lately that the clock of the file system may not tell the two apart, or its time is
/// in the future.
QX_API int32_t QXFileIsStateSettled(const QXFileState* state);
/// The same for the state that a replacement has just given, whose time is precise and therefore no
/// other change's. Only where the file system keeps steps of 10 ms or more, 0 until these
/// have passed.
QX_API int32_t QXFileIsReplacedStateSettled(const QXFileState* state);

/// Replaces the file @p path by @p length bytes, or creates it: whoever opens the file meanwhile,
/// and whoever looks after a crash or a power cut at any moment, finds the old bytes or the new
/// ones, whole. After success the new ones are durable.
///
/// Written aside (under a name of QXFileCreateBeside), flushed, renamed, then the folder is
/// flushed. A symbolic link stays one, and the file that it leads to is replaced. Permission bits
/// and an access list are kept, the owner and group where the caller may give them; hard links are
/// not. An access list names the owner and the group that cannot be given. Other rights that cannot
/// be given to those who had them are given to nobody, and who had none as the owner or one of the
/// group gets none. Set-id bits may be lost where the owner is not given or where others than the
/// owner may write. A new file has the bits of @p mode, at most 0777, less the umask, or what the
/// folder's list for new files makes of them. Files aside that killed writers left behind are
/// removed first; those of living ones stay.
///
/// After a failure the old file stands and nothing is left aside, except that a failing flush of
/// the folder leaves the new file in its place. 0x80070005 for what is no regular file, and for a
/// file that the caller may not write, even where the folder would allow it. @p state (may be null)
/// receives the state of the new file when that stands, else all zeros. Its time is later than that
/// of the file before, or of now where no file can be later.
QX_API int32_t QXFileReplace(const char* path, const void* bytes, int64_t length, uint32_t mode,
                             QXFileState* state);

/// The same in steps, for bytes that come one after the other.
typedef struct QXFileReplacement QXFileReplacement;

/// Begins to replace the file @p path: @p file receives a handle of a new file aside to be written
/// to, which belongs to the replacement and is never closed by the caller. @p replacement ends with
/// a commit or is discarded. What a relative path leads to is settled here, whatever the current
/// folder is at the end. Path, mode and results are those of QXFileReplace. A child made by
/// fork has a copy that it can only let go of: its parent does not notice when it discards that,
/// and a commit there does nothing, with 0x80070120.
QX_API int32_t QXFileReplaceBegin(const char* path, uint32_t mode, QXFileReplacement** replacement,
                                  QXHandle* file);
/// The name of the file aside until the replacement ends, for those who remove it when a signal
/// ends the process. A relative path gives a relative name.
QX_API const char* QXFileReplaceAside(const QXFileReplacement* replacement);
/// Makes the new file durable and gives it its name, as QXFileReplace does. What it gets of the old
/// one is what that has now: who has closed it meanwhile finds it closed, and for one that must not
/// be replaced any more the result is 0x80070005. The replacement has then ended, also after a
/// failure, with which nothing is left aside.
QX_API int32_t QXFileReplaceCommit(QXFileReplacement* replacement, QXFileState* state);
/// Ends the replacement, and leaves the old file as it is; null does nothing.
QX_API void QXFileReplaceDiscard(QXFileReplacement* replacement);

#ifdef __cplusplus
}
#endif
