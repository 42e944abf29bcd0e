#include "qx/exec/Process.h"

#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/exec/detail/PipeStreams.h>

namespace qx::exec {

namespace {

enum Stream { ChildInput, ChildOutput, ChildError, Streams };

const char16_t* unitsOrNull(const AnyText& text) {
    return text.isEmpty() ? nullptr : text.terminated();
}

/// The stream over a pipe end, made when it is first asked for.
template <class PipeStream, class Base>
Reference<Base> streamOver(const Reference<PipeEnd>& end, Reference<Base>& stream) {
    if (!stream)
        stream = makeReference<PipeStream>(end);
    return stream;
}

/// @param starter  the process that started the child
void throwIfNotJoined(int32_t code, const ProcessMark& starter) {
    constexpr char16_t Failure[] = u"process join failed";
    if (code < 0 && starter.isFromParent())
        throw withDetail(ResultException(code, Failure),
                         u"the child belongs to process "_qs + String::valueOf(starter.number()));
    throwIfFailed(code, Failure);
}

/// The first word of a command line, without its quotes.
String programIn(TextView commandLine) {
    String program;
    bool isQuoted = false;
    for (const char16_t unit : commandLine) {
        const bool isBlank = unit == u' ' || unit == u'\t';
        if (unit == u'"')
            isQuoted = !isQuoted;
        else if (isQuoted || !isBlank)
            program.append(unit);
        else if (!program.isEmpty())
            break;
    }
    return program;
}

/// What a process could not be made of: its folder, else its program.
String subjectOf(int32_t code, const String& program, const char16_t* folder) {
    if (code < 0 && QXProcessCheckFolder(folder) < 0)
        return String(folder);
    return program.isEmpty() ? u"\"\""_qs : program;
}

} // namespace

template <class Start, class Subject>
void Process::begin(Start&& start, Subject&& subject) {
    for (auto& end : m_ends)
        end = makeReference<PipeEnd>();
    QXHandle streams[Streams];
    const int32_t code = start(streams, m_process.put());
    if (code < 0) // the description is empty
        throw withDetail(ResultException(code), subject(code));
    for (int i = 0; i < Streams; ++i)
        *m_ends[i]->handle.put() = streams[i];
    m_ends[ChildInput]->program = subject(result::Ok);
    m_handle = m_process.get();
}

Process::Process(const char16_t* executable, const char16_t* commandLine, const char16_t* folder,
                 const char16_t* const* environment, unsigned int flags) {
    begin(
        [&](QXHandle* streams, QXHandle* process) {
            return QXProcessCreate(executable, commandLine, folder, environment, flags, streams,
                                   process);
        },
        [&](int32_t code) {
            return subjectOf(code, executable ? String(executable) : programIn(commandLine),
                             folder);
        });
}

Process::Process(const char16_t* const* arguments, const char16_t* folder,
                 const char16_t* const* variables, unsigned int flags) {
    begin(
        [&](QXHandle* streams, QXHandle* process) {
            return QXProcessStart(arguments, folder, variables, flags, streams, process);
        },
        [&](int32_t code) { return subjectOf(code, String(arguments[0]), folder); });
}

Process::Process(const util::FileName& executable, const AnyText& commandLine,
                 const util::FileName& folder, unsigned int flags)
    : Process(unitsOrNull(executable), unitsOrNull(commandLine), unitsOrNull(folder), nullptr,
              flags) {}

Process::~Process() {
    m_process.reset(); // before the members, which go from the last to the first
}

int32_t Process::join() {
    checkJoinable();
    throwIfNotJoined(QXProcessJoin(m_process.get(), &m_exitCode), m_starter);
    m_process.detach();
    return m_exitCode;
}

bool Process::tryJoin() {
    checkJoinable();
    if (QXProcessGetExitCode(m_process.get(), &m_exitCode) >= 0)
        m_process.detach();
    return !m_process;
}

bool Process::joinIn(uint32_t milliseconds) {
    checkJoinable();
    const int32_t code = QXProcessTimedJoin(m_process.get(), milliseconds, &m_exitCode);
    if (code == result::TimedOut)
        return false;
    throwIfNotJoined(code, m_starter);
    m_process.detach();
    return true;
}

ProcessResult Process::finishIn(ByteView input, uint32_t milliseconds) {
    checkJoinable();
    if (input.size() > 0 && !m_ends[ChildInput]->handle)
        throw IllegalStateException(u"process has no input");
    uint32_t number = 0; // in a fork of the program, whose child it is not, this ends here
    throwIfNotJoined(QXProcessGetNumber(m_handle, &number), m_starter);
    const bool isLimited = milliseconds != QX_PROCESS_NO_LIMIT;
    const sync::TimeBudget budget(milliseconds);
    ProcessResult result;
    const int32_t code = exchange(input, milliseconds, result);
    if (code != result::TimedOut)
        throwIfFailed(code, u"process exchange failed");
    result.isTimedOut =
        code == result::TimedOut ||
        !joinIn(isLimited ? static_cast<uint32_t>(budget.milliseconds()) : QX_PROCESS_NO_LIMIT);
    if (result.isTimedOut) {
        kill();
        join();
        exchange({}, 0, result); // what it wrote last
    }
    result.exitCode = m_exitCode;
    return result;
}

/// See QXProcessExchange. The child's input is closed afterwards.
int32_t Process::exchange(ByteView input, uint32_t milliseconds, ProcessResult& result) {
    QXHandle streams[Streams];
    for (int i = 0; i < Streams; ++i)
        streams[i] = m_ends[i]->handle.get();
    const auto receive = [](void* context, int32_t stream, const void* bytes, size_t length) {
        return resultOf([&] {
            auto& into = *static_cast<ProcessResult*>(context);
            (stream == ChildOutput ? into.output : into.error)
                .append(static_cast<const char*>(bytes), length);
        });
    };
    const int32_t code =
        QXProcessExchange(streams, input.data(), input.size(), milliseconds, receive, &result);
    static_cast<void>(m_ends[ChildInput]->handle.detach()); // which the call has closed
    if (m_output)
        m_output->close();
    return code;
}

void Process::terminate() { send(&QXProcessTerminate); }

void Process::kill() { send(&QXProcessKill); }

void Process::send(int32_t (*signal)(QXHandle)) {
    const int32_t code = signal(m_handle);
    if (!wasJoined(code))
        throwIfFailed(code, u"process cannot be ended");
}

/// Of a child that was joined the handle is gone, and another thread may be joining it just now. In
/// a fork of the program it is gone as well.
bool Process::wasJoined(int32_t code) const {
    return code == result::InvalidHandle && !m_starter.isFromParent();
}

unsigned int Process::getId() const {
    uint32_t number = 0;
    const int32_t code = QXProcessGetNumber(m_handle, &number);
    if (wasJoined(code))
        throw IllegalStateException(u"process already joined");
    throwIfFailed(code, u"process has no number");
    return number;
}

int32_t Process::getExitCode() const {
    if (m_process)
        throw IllegalStateException(u"process has not been joined");
    return m_exitCode;
}

Reference<io::InputStream> Process::getInputStream() {
    return streamOver<PipeInputStream>(m_ends[ChildOutput], m_input);
}

Reference<io::OutputStream> Process::getOutputStream() {
    return streamOver<PipeOutputStream>(m_ends[ChildInput], m_output);
}

Reference<io::InputStream> Process::getErrorStream() {
    return streamOver<PipeInputStream>(m_ends[ChildError], m_error);
}

unsigned int Process::getID() const { throwResult(result::NotAvailable); }

int32_t Process::joinChild() { throwResult(result::NotAvailable); }

unsigned int Process::getCurrentID() { return QXProcessGetID(); }

void Process::checkJoinable() const {
    if (!m_process)
        throw IllegalStateException(u"process already joined");
}

} // namespace qx::exec
