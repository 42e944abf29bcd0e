#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <qx/core/AnyText.h>
#include <qx/core/ByteView.h>
#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/ProcessMark.h>
#include <qx/core/Reference.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>
#include <qx/platform/process.h>
#include <qx/sync/Duration.h>
#include <qx/util/FileName.h>

namespace qx::exec {

class PipeEnd;

/// What a child process has written, and how it ended.
struct ProcessResult {
    std::string output;      ///< the bytes as the child wrote them
    std::string error;       ///< of its error output; empty when that is merged or inherited
    int32_t exitCode = -1;   ///< see Process::join
    bool isTimedOut = false; ///< its time was over, and it was killed unless it had ended
};

/// A child process with its standard streams and its exit code. ProcessBuilder is the way to start
/// one that has arguments in a list or an environment of its own.
///
/// The object belongs to one owner and is not guarded; each stream may be used on a thread of its
/// own, and terminate, kill and getId on any. A child that writes more than a pipe holds (64 KiB)
/// waits until it is read: read both outputs at once, as finish does, or merge them. Destroying the
/// object neither ends the child nor waits for it, and nothing is left of the child when it ends.
/// But the pipes go with the object and its streams, and a child that writes to one without a
/// reader is ended by SIGPIPE unless it handles that: one that is to live on inherits its outputs.
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
    /// The same for a limited time, any std::chrono::duration, rounded up to milliseconds: true
    /// when the child has ended, and getExitCode has its code. 49 days and more are no limit.
    /// @throws IllegalStateException "process already joined"
    /// @throws ResultException "process join failed"; the object stays joinable
    template <sync::Duration D>
    [[nodiscard]] bool waitFor(const D& duration) {
        return sync::waitInSteps(duration,
                                 [this](uint32_t milliseconds) { return joinIn(milliseconds); });
    }
    /// @throws IllegalStateException "process has not been joined"
    int32_t getExitCode() const;

    /// Gives the child its input and ends that, takes all that it writes to both outputs, and joins
    /// it. It may read and write in any order and amount.
    ///
    /// Outputs end when the child and all that have inherited them from it have closed them. A
    /// child that wants no more of its input does not get the rest. A fork of this program that
    /// runs on keeps the child's input open, so that its end comes later, and so does a program
    /// that another thread is starting, until it is executed.
    /// @throws IllegalStateException "process already joined", or "process has no input" for an
    ///     input where that is closed or inherited
    /// @throws ResultException "process exchange failed", "process join failed"; the child runs on
    ProcessResult finish(ByteView input = {}) { return finishIn(input, QX_PROCESS_NO_LIMIT); }
    /// The same for a limited time, after which the child is killed; what it has written until then
    /// is in the result. 49 days and more are no limit.
    template <sync::Duration D>
    ProcessResult finish(ByteView input, const D& limit) {
        const uint64_t milliseconds = sync::roundedUp<std::milli>(limit, QX_PROCESS_NO_LIMIT);
        return finishIn(input, static_cast<uint32_t>(milliseconds));
    }

    /// Asks the child to end, as the system does when it shuts down (SIGTERM), or ends it at once
    /// (SIGKILL). It is joined as usual. Nothing happens to a child that has ended, nor to another
    /// process that has its number by now. Any thread may call these, also while another waits.
    /// @throws ResultException result::AccessDenied for a child that has become another user's,
    ///     result::InvalidHandle in a fork of the program that has started it
    void terminate();
    void kill();
    /// The system's number of the child, which is not another's before the child is joined. Any
    /// thread.
    /// @throws IllegalStateException "process already joined"
    unsigned int getId() const;

    /// Reads the child's output. One stream, however often it is asked for; it may outlive the
    /// object. Closing it does nothing. Without a pipe, its operations fail.
    Reference<io::InputStream> getInputStream();
    /// Writes the child's input, which ends when this stream is closed, or when neither the stream
    /// nor the object is there any more; finish says what delays that. Otherwise like
    /// getInputStream.
    Reference<io::OutputStream> getOutputStream();
    /// Reads the child's error output; like getInputStream.
    Reference<io::InputStream> getErrorStream();

    /// Not provided on this platform: always throws. getId, with a small d, gives the number of the
    /// child.
    /// @throws ResultException result::NotAvailable, always
    unsigned int getID() const;
    /// Not provided on this platform: always throws. join waits for the child.
    /// @throws ResultException result::NotAvailable, always
    static int32_t joinChild();

    /// The system's number of the calling process.
    static unsigned int getCurrentID();

private:
    friend class ProcessBuilder;

    /// Starts the program as QXProcessStart does.
    Process(const char16_t* const* arguments, const char16_t* folder,
            const char16_t* const* variables, unsigned int flags);
    /// Takes over what a call has started, or throws why it has not.
    template <class Start, class Subject>
    void begin(Start&& start, Subject&& subject);

    void checkJoinable() const;
    bool joinIn(uint32_t milliseconds);
    ProcessResult finishIn(ByteView input, uint32_t milliseconds);
    int32_t exchange(ByteView input, uint32_t milliseconds, ProcessResult& result);
    void send(int32_t (*signal)(QXHandle));
    bool wasJoined(int32_t code) const;

    PlatformHandle<&QXProcessDetach> m_process;
    QXHandle m_handle = PlatformHandle<&QXProcessDetach>::None; // as it was, for all threads
    ProcessMark m_starter;                                      // the process that has the child
    Reference<PipeEnd> m_ends[3];                               // child input, output, error output
    int32_t m_exitCode = -1;
    Reference<io::InputStream> m_input;
    Reference<io::OutputStream> m_output;
    Reference<io::InputStream> m_error;
};

} // namespace qx::exec

using CQXProcess = qx::exec::Process;
