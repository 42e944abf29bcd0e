#include "qx/platform/process.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <qx/platform/files.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/process/Child.h>
#include <qx/platform/posix/process/CommandLine.h>
#include <qx/platform/posix/process/Reaper.h>
#include <qx/platform/posix/text/narrow.h>

using namespace qx;
using namespace qx::platform;

namespace {

constexpr int32_t NoMoreProcesses = static_cast<int32_t>(0x80070059u);
constexpr int32_t NoSuchFolder = static_cast<int32_t>(0x8007010Bu);

constexpr int StandardStreams = 3;
constexpr uint32_t InheritFlags[StandardStreams] = {
    QX_PROCESS_INHERIT_INPUT, QX_PROCESS_INHERIT_OUTPUT, QX_PROCESS_INHERIT_ERROR};
constexpr uint32_t KnownFlags = QX_PROCESS_MERGE_ERROR | QX_PROCESS_INHERIT_INPUT |
                                QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR;

/// Texts as a program receives them.
class TextList {
public:
    int32_t add(std::u16string_view text) { return toNarrow(text, m_texts.emplace_back()); }
    bool isEmpty() const noexcept { return m_texts.empty(); }
    const std::string& last() const noexcept { return m_texts.back(); }
    const std::string& first() const noexcept { return m_texts.front(); }
    /// Pointers to the texts with a null at the end, valid until the next addition.
    char* const* pointers() {
        m_pointers.clear();
        for (std::string& text : m_texts)
            m_pointers.push_back(text.data());
        m_pointers.push_back(nullptr);
        return m_pointers.data();
    }

private:
    std::vector<std::string> m_texts;
    std::vector<char*> m_pointers;
};

/// What is to be executed, in the system's terms.
class Program {
public:
    int32_t setArguments(const char16_t* path, const char16_t* commandLine);
    int32_t setFile(const char16_t* path);
    int32_t setFolder(const char16_t* folder);
    int32_t setEnvironment(const char16_t* const* environment);

    int folder() const noexcept { return m_folder.get(); }
    /// posix_spawn; an errno value.
    int spawn(const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes,
              pid_t* child);

private:
    /// The system would look for the file from the child's folder.
    int32_t makeFileAbsolute();

    PathText m_file;
    bool m_isSearched = false;
    TextList m_arguments;
    TextList m_environment;
    bool m_inheritsEnvironment = true;
    Descriptor m_folder;
};

int32_t Program::setArguments(const char16_t* path, const char16_t* commandLine) {
    const std::u16string_view line = commandLine != nullptr ? commandLine : u"";
    for (const std::u16string& word : splitCommandLine(line)) {
        if (const int32_t result = m_arguments.add(word); result < 0)
            return result;
    }
    if (!m_arguments.isEmpty())
        return result::Ok;
    return path != nullptr ? m_arguments.add(path) : result::InvalidArgument;
}

int32_t Program::setFile(const char16_t* path) {
    std::string name;
    if (path != nullptr) {
        if (const int32_t result = toNarrow(path, name); result < 0)
            return result;
    } else {
        name = m_arguments.first();
    }
    if (const int32_t result = toNativePath(name.c_str(), m_file); result < 0)
        return result;
    m_isSearched = path == nullptr && m_file.view().find('/') == std::string_view::npos;
    return result::Ok;
}

int32_t Program::setFolder(const char16_t* folder) {
    if (folder == nullptr)
        return result::Ok;
    std::string name;
    PathText native;
    if (const int32_t result = toNarrow(folder, name); result < 0)
        return result;
    if (toNativePath(name.c_str(), native) < 0)
        return NoSuchFolder;
    m_folder = aboveStandard(Descriptor::open(native.c_str(), O_PATH | O_DIRECTORY));
    if (!m_folder)
        return errno == ENOENT || errno == ENOTDIR ? NoSuchFolder : lastResult();
    return m_isSearched ? result::Ok : makeFileAbsolute();
}

int32_t Program::makeFileAbsolute() {
    if (m_file.view().starts_with('/'))
        return result::Ok;
    PathText absolute;
    char current[PATH_MAX];
    if (const int32_t result = QXGetCurrentDirectory(current, sizeof current); result < 0)
        return result;
    if (!absolute.append(current) || !absolute.append("/") || !absolute.append(m_file.view()))
        return NameTooLong;
    m_file = absolute;
    return result::Ok;
}

int32_t Program::setEnvironment(const char16_t* const* environment) {
    m_inheritsEnvironment = environment == nullptr;
    for (; environment != nullptr && *environment != nullptr; ++environment) {
        if (const int32_t result = m_environment.add(*environment); result < 0)
            return result;
        const size_t nameLength = m_environment.last().find('=');
        if (nameLength == 0 || nameLength == std::string::npos)
            return result::InvalidArgument;
    }
    return result::Ok;
}

int Program::spawn(const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes,
                   pid_t* child) {
    const auto call = m_isSearched ? &::posix_spawnp : &::posix_spawn;
    return call(child, m_file.c_str(), actions, attributes, m_arguments.pointers(),
                m_inheritsEnvironment ? environ : m_environment.pointers());
}

/// What happens in the child before it executes the program. Keeps the first error.
class ChildActions {
public:
    ChildActions() noexcept : m_error(::posix_spawn_file_actions_init(&m_actions)) {}
    ~ChildActions() { ::posix_spawn_file_actions_destroy(&m_actions); }
    ChildActions(const ChildActions&) = delete;
    ChildActions& operator=(const ChildActions&) = delete;

    void duplicate(int from, int to) noexcept {
        keep(::posix_spawn_file_actions_adddup2(&m_actions, from, to));
    }
    void enter(int folder) noexcept {
        keep(::posix_spawn_file_actions_addfchdir_np(&m_actions, folder));
    }
    void closeFrom(int first) noexcept {
        keep(::posix_spawn_file_actions_addclosefrom_np(&m_actions, first));
    }
    int error() const noexcept { return m_error; }
    const posix_spawn_file_actions_t* get() const noexcept { return &m_actions; }

private:
    void keep(int error) noexcept {
        if (m_error == 0)
            m_error = error;
    }

    posix_spawn_file_actions_t m_actions;
    int m_error;
};

/// An empty signal mask, and SIGPIPE as programs expect it.
class ChildSignals {
public:
    ChildSignals() noexcept {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_init(&m_attributes);
        ::posix_spawnattr_setsigmask(&m_attributes, &signals);
        ::sigaddset(&signals, SIGPIPE);
        ::posix_spawnattr_setsigdefault(&m_attributes, &signals);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~ChildSignals() { ::posix_spawnattr_destroy(&m_attributes); }
    ChildSignals(const ChildSignals&) = delete;
    ChildSignals& operator=(const ChildSignals&) = delete;

    const posix_spawnattr_t* get() const noexcept { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes;
};

/// The pipes between this process and the child's standard streams.
class Pipes {
public:
    int32_t open(uint32_t flags) noexcept {
        for (int stream = 0; stream < StandardStreams; ++stream) {
            const bool isMerged = stream == STDERR_FILENO && (flags & QX_PROCESS_MERGE_ERROR) != 0;
            if (isMerged || (flags & InheritFlags[stream]) != 0)
                continue;
            int ends[2];
            if (::pipe2(ends, O_CLOEXEC) != 0)
                return lastResult();
            Descriptor reads(ends[0]), writes(ends[1]);
            reads = aboveStandard(std::move(reads));
            writes = aboveStandard(std::move(writes));
            if (!reads || !writes)
                return lastResult();
            const bool isInput = stream == STDIN_FILENO;
            m_child[stream] = std::move(isInput ? reads : writes);
            m_parent[stream] = std::move(isInput ? writes : reads);
        }
        return result::Ok;
    }

    void connect(ChildActions& actions, uint32_t flags) const noexcept {
        for (int stream = 0; stream < StandardStreams; ++stream) {
            if (m_child[stream])
                actions.duplicate(m_child[stream].get(), stream);
        }
        if ((flags & QX_PROCESS_MERGE_ERROR) != 0)
            actions.duplicate(STDOUT_FILENO, STDERR_FILENO);
    }

    /// Gives up this process's ends.
    void release(QXHandle* streams) noexcept {
        for (int stream = 0; stream < StandardStreams; ++stream) {
            if (m_parent[stream])
                streams[stream] = m_parent[stream].release();
        }
    }

private:
    Descriptor m_parent[StandardStreams];
    Descriptor m_child[StandardStreams];
};

int32_t startProgram(Program& program, uint32_t flags, QXHandle* streams, QXHandle* process) {
    Pipes pipes;
    if (const int32_t result = pipes.open(flags); result < 0)
        return result;
    ChildActions actions;
    pipes.connect(actions, flags);
    if (program.folder() >= 0)
        actions.enter(program.folder());
    actions.closeFrom(StandardStreams);
    const ChildSignals signals;
    auto child = std::make_unique<Child>(); // memory first: a process cannot be taken back
    pid_t number = 0;
    int error = actions.error();
    if (error == 0)
        error = program.spawn(actions.get(), signals.get(), &number);
    if (error != 0)
        return error == EAGAIN ? NoMoreProcesses : resultFromErrno(error);
    pipes.release(streams);
    child->begin(number);
    *process = enterChild(std::move(child));
    return result::Ok;
}

int32_t createProcess(const char16_t* path, const char16_t* commandLine, const char16_t* folder,
                      const char16_t* const* environment, uint32_t flags, QXHandle* streams,
                      QXHandle* process) {
    Program program;
    if (const int32_t result = program.setArguments(path, commandLine); result < 0)
        return result;
    if (const int32_t result = program.setFile(path); result < 0)
        return result;
    if (const int32_t result = program.setFolder(folder); result < 0)
        return result;
    if (const int32_t result = program.setEnvironment(environment); result < 0)
        return result;
    return startProgram(program, flags, streams, process);
}

int32_t collect(QXHandle process, int options, int32_t* exitCode) noexcept {
    if (exitCode == nullptr)
        return result::NullPointer;
    *exitCode = -1;
    return collectChild(process, options, *exitCode);
}

} // namespace

int32_t QXProcessCreate(const char16_t* path, const char16_t* commandLine, const char16_t* folder,
                        const char16_t* const* environment, uint32_t flags, QXHandle* streams,
                        QXHandle* process) {
    if (streams == nullptr || process == nullptr)
        return result::NullPointer;
    std::fill_n(streams, StandardStreams, NoHandle);
    *process = NoHandle;
    constexpr uint32_t Contradiction = QX_PROCESS_MERGE_ERROR | QX_PROCESS_INHERIT_ERROR;
    if ((flags & ~KnownFlags) != 0 || (flags & Contradiction) == Contradiction)
        return result::InvalidArgument;
    return withinMemory([&] {
        return createProcess(path, commandLine, folder, environment, flags, streams, process);
    });
}

int32_t QXProcessJoin(QXHandle process, int32_t* exitCode) { return collect(process, 0, exitCode); }

int32_t QXProcessGetExitCode(QXHandle process, int32_t* exitCode) {
    return collect(process, WNOHANG, exitCode);
}

int32_t QXProcessDetach(QXHandle process) {
    int32_t exitCode = 0;
    const int32_t result = collectChild(process, WNOHANG, exitCode);
    return result == result::Busy ? reapInBackground(takeChild(process)) : result;
}

uint32_t QXProcessGetID() { return static_cast<uint32_t>(::getpid()); }
