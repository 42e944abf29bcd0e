#include "qx/exec/Process.h"

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

/// What a process could not be made of: its folder, else its program.
String subjectOf(int32_t code, TextView executable, TextView commandLine, TextView folder) {
    if (code == result::FolderNotFound)
        return String(folder);
    if (!executable.empty())
        return String(executable);
    const bool isQuoted = commandLine.starts_with(u'"');
    const TextView rest = commandLine.substr(isQuoted ? 1 : 0);
    return String(rest.substr(0, rest.find_first_of(isQuoted ? u"\"" : u" \t")));
}

} // namespace

Process::Process(const char16_t* executable, const char16_t* commandLine, const char16_t* folder,
                 const char16_t* const* environment, unsigned int flags) {
    for (auto& end : m_ends)
        end = makeReference<PipeEnd>();
    QXHandle streams[Streams];
    const int32_t code = QXProcessCreate(executable, commandLine, folder, environment, flags,
                                         streams, m_process.put());
    if (code < 0) // the description is empty
        throw withDetail(ResultException(code), subjectOf(code, executable, commandLine, folder));
    for (int i = 0; i < Streams; ++i)
        *m_ends[i]->handle.put() = streams[i];
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
    throwIfFailed(QXProcessJoin(m_process.get(), &m_exitCode), u"process join failed");
    m_process.detach();
    return m_exitCode;
}

bool Process::tryJoin() {
    checkJoinable();
    if (QXProcessGetExitCode(m_process.get(), &m_exitCode) >= 0)
        m_process.detach();
    return !m_process;
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
