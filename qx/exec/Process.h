#pragma once

#include <cstdint>

#include <qx/core/AnyText.h>
#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>
#include <qx/platform/process.h>
#include <qx/util/FileName.h>

namespace qx::exec {

class PipeEnd;

/// A child process with its standard streams and its exit code.
///
/// The object belongs to one owner and is not guarded; each stream may be used on a thread of its
/// own. A child that writes more than a pipe holds (64 KiB) waits until it is read: read both
/// outputs at once, or merge them. Destroying the object neither ends the child nor waits for it,
/// and nothing is left of the child when it ends.
class QX_API Process : public Object {
public:
    /// Starts the program.
    /// @param executable   its file; null: the first word of the command line, looked up in PATH
    /// @param commandLine  the arguments, the program's name first, with blanks between double
    ///     quotes; QXProcessCreate has the rules. Null: the executable's name alone.
    /// @param folder       where the child starts; null: the current folder
    /// @param environment  texts NAME=value and a null at the end; null: the environment of this
    ///     process
    /// @param flags        QX_PROCESS_... bits; 0 gives the child a pipe for each of the three
    ///     standard streams
    /// @throws ResultException when the program cannot be executed, with a code of QXProcessCreate
    Process(const char16_t* executable, const char16_t* commandLine, const char16_t* folder,
            const char16_t* const* environment, unsigned int flags);
    /// The same for texts in any form, in the environment of this process. An empty text stands for
    /// null.
    Process(const util::FileName& executable, const AnyText& commandLine,
            const util::FileName& folder = {}, unsigned int flags = 0);
    ~Process() override;

    /// Waits for the child's end and returns its exit code: 0 to 255, minus the number of the
    /// signal that ended it, or QX_PROCESS_EXIT_UNKNOWN where this program throws away the status
    /// of its children. Does not read the child's output, which can still be read afterwards, and
    /// does not end its input.
    /// @throws IllegalStateException "process already joined"
    /// @throws ResultException "process join failed"; the object stays joinable
    int32_t join();
    /// The same without waiting: false while the child runs.
    /// @throws IllegalStateException "process already joined"
    bool tryJoin();
    /// @throws IllegalStateException "process has not been joined"
    int32_t getExitCode() const;

    /// Reads the child's output. One stream, however often it is asked for; it may outlive the
    /// object. Closing it does nothing. Without a pipe, its operations fail.
    Reference<io::InputStream> getInputStream();
    /// Writes the child's input, which ends when this stream is closed, or when neither the stream
    /// nor the object is there any more. Otherwise like getInputStream.
    Reference<io::OutputStream> getOutputStream();
    /// Reads the child's error output; like getInputStream.
    Reference<io::InputStream> getErrorStream();

    /// Not provided on this platform.
    /// @throws ResultException result::NotAvailable, always
    unsigned int getID() const;
    /// @throws ResultException result::NotAvailable, always
    static int32_t joinChild();

    /// The system's number of the calling process.
    static unsigned int getCurrentID();

private:
    void checkJoinable() const;

    PlatformHandle<&QXProcessDetach> m_process;
    Reference<PipeEnd> m_ends[3]; // child input, output, error output
    int32_t m_exitCode = -1;
    Reference<io::InputStream> m_input;
    Reference<io::OutputStream> m_output;
    Reference<io::InputStream> m_error;
};

} // namespace qx::exec

using CQXProcess = qx::exec::Process;
