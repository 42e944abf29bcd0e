#pragma once

/// @file
/// Child processes. Texts are nul-terminated UTF-16 and reach the child in the default encoding.
/// Every function returns a result code, negative on failure, and may be called from any thread;
/// one handle is used by one thread at a time.

#include <stddef.h>

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Flags of QXProcessCreate and QXProcessStart: what is not inherited goes through a pipe.
#define QX_PROCESS_MERGE_ERROR 1u   ///< error output goes where output goes; no stream of its own
#define QX_PROCESS_INHERIT_INPUT 2u ///< the child has the standard stream of this process
#define QX_PROCESS_INHERIT_OUTPUT 4u
#define QX_PROCESS_INHERIT_ERROR 8u ///< not with MERGE_ERROR
/// Of QXProcessStart: the child gets the variables that are named and no others.
#define QX_PROCESS_NO_ENVIRONMENT 16u

/// The time limit that stands for none.
#define QX_PROCESS_NO_LIMIT 0xFFFFFFFFu

/// Exit code of a child whose status somebody else took or threw away: the host program ignores
/// SIGCHLD or waits for children that are not its own, and the kernel does not tell otherwise.
#define QX_PROCESS_EXIT_UNKNOWN ((int32_t)-0x7FFFFFFF - 1)

/// Starts a program.
///
/// @p path: its file, absolute or from this process's current folder; null: the first word of the
/// command line, looked up in this process's PATH when it holds no slash.
/// @p commandLine: the arguments, the program's own name first; null: that name alone. Blanks and
/// tabs separate words except between double quotes, and "" alone is an empty word. \" is a quote,
/// and so is "" between quotes; backslashes that stand before a quote count half, all others are
/// plain. A last quote that nobody closes reaches to the end.
/// @p folder: where the child starts; null: this process's current folder. The program is looked
/// for from that one all the same.
/// @p environment: texts NAME=value and a null at the end, all that the child gets; null: this
/// process's environment.
/// @p streams: receives the handles of the child's input (to write), output and error output (to
/// read), all ones for those without a pipe. The caller closes them with QXFileClose, before or
/// after the end of the child; what it has written can still be read then. The child reads the end
/// of its input once that handle is closed.
///
/// The child has an empty signal mask, the default action for SIGPIPE and no descriptor but the
/// standard ones.
///
/// 0x80070002 when there is no such program, 0x80070005 when it may not be executed or is a folder
/// or the child may not enter its own, 0x80070020 when its file is open for writing and stays so
/// for a tenth of a second (one that was written and closed is open while another thread starts a
/// program), 0x800700C1 when it is no program, 0x8007010B when there is no such folder, 0x800700CE
/// when the texts are too long, 0x80070057 for an empty command line, an environment text without a
/// name, and other flags, 0x80070059 when the system takes no more processes. Handles are then all
/// ones.
QX_API int32_t QXProcessCreate(const char16_t* path, const char16_t* commandLine,
                               const char16_t* folder, const char16_t* const* environment,
                               uint32_t flags, QXHandle* streams, QXHandle* process);
/// The same for a program with its arguments in a list, which reach it as they are: nothing in them
/// is special, and nothing has to be quoted.
///
/// @p arguments: the program, which is looked up in this process's PATH when it holds no slash,
/// then what it is called with, and a null at the end.
/// @p variables: changes of this process's environment for the child, texts NAME=value, or NAME
/// alone for one to leave out, and a null at the end; of several with one name the last one counts.
/// May be null.
QX_API int32_t QXProcessStart(const char16_t* const* arguments, const char16_t* folder,
                              const char16_t* const* variables, uint32_t flags, QXHandle* streams,
                              QXHandle* process);
/// Tells whether it was the folder for which a program was not started: 0 when a child can start in
/// it, and for null.
QX_API int32_t QXProcessCheckFolder(const char16_t* folder);
/// Waits for the end of the child and stores its exit code: 0 to 255, or minus the number of the
/// signal that ended it. The handle is gone then; after a failure it is as before and the code is
/// -1.
QX_API int32_t QXProcessJoin(QXHandle process, int32_t* exitCode);
/// The same without waiting: 0x800700AA while the child runs.
QX_API int32_t QXProcessGetExitCode(QXHandle process, int32_t* exitCode);
/// The same for a limited time: 0x800705B4 when it is over first.
QX_API int32_t QXProcessTimedJoin(QXHandle process, uint32_t milliseconds, int32_t* exitCode);
/// Gives the handle up and does not wait. At its end nothing is left of the child, which this
/// process sees to.
QX_API int32_t QXProcessDetach(QXHandle process);

/// Asks the child to end (SIGTERM), or ends it (SIGKILL). Nothing happens to a child that has
/// ended, nor to another process that has its number by now. Any thread may call these, also while
/// another waits for the child; 0x80070006 when the handle is gone.
QX_API int32_t QXProcessTerminate(QXHandle process);
QX_API int32_t QXProcessKill(QXHandle process);
/// Stores the system's number of the child; 0 after a failure. Threads as above.
QX_API int32_t QXProcessGetNumber(QXHandle process, uint32_t* number);

/// Takes what a child has written to its output (@p stream 1) or error output (2). A negative
/// result ends the exchange.
typedef int32_t (*QXProcessReceiver)(void* context, int32_t stream, const void* bytes,
                                     size_t length);

/// Gives a child its input and takes what it writes to both outputs, in whatever order and amount
/// it reads and writes, until both are at their end. That is when the child and all that have
/// inherited the outputs from it have closed them.
///
/// @p streams: as QXProcessCreate stored them; all ones for what is not there, or closed already.
/// The first is closed as soon as the child has all of the input or wants no more of it, and in any
/// case at the end, and is all ones then. The others stay open.
/// 0x800705B4 when the time is over first; what was there until then has been received, also with a
/// time of 0. What @p receive returned, when that was negative.
QX_API int32_t QXProcessExchange(QXHandle* streams, const void* input, size_t length,
                                 uint32_t milliseconds, QXProcessReceiver receive, void* context);

/// Number of the calling process.
QX_API uint32_t QXProcessGetID(void);

/// A number, never 0, that changes when a fork of this process begins and again when it is done. As
/// long as it is the same no child has been made that shares what the process has opened since.
QX_API uint32_t QXProcessGetForkEpoch(void);

#ifdef __cplusplus
}
#endif
