#include "qx/platform/process.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <qx/platform/result.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/process/Child.h>
#include <qx/platform/posix/process/CommandLine.h>
#include <qx/platform/posix/process/Reaper.h>
#include <qx/platform/posix/text/narrow.h>

using namespace qx;
using namespace qx::platform;
using namespace std::chrono_literals;

namespace {

constexpr int32_t NoMoreProcesses = static_cast<int32_t>(0x80070059u);

/// The last of the pauses between attempts to start a program whose file is being written, each
/// twice as long as the one before: 127 ms in all.
constexpr auto LongestPause = 64ms;

constexpr int StandardStreams = 3;
constexpr uint32_t InheritFlags[StandardStreams] = {
    QX_PROCESS_INHERIT_INPUT, QX_PROCESS_INHERIT_OUTPUT, QX_PROCESS_INHERIT_ERROR};
constexpr uint32_t KnownFlags = QX_PROCESS_MERGE_ERROR | QX_PROCESS_INHERIT_INPUT |
                                QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR;

/// Texts as a program receives them.
class TextList {
public:
    void add(std::string text) { m_texts.push_back(std::move(text)); }
    void add(std::u16string_view text) { add(toNarrow(text)); }
    template <class Fits>
    void removeAll(Fits&& fits) {
        std::erase_if(m_texts, fits);
    }
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
    /// See QXProcessCreate and QXProcessStart, as for the others.
    Program(const char16_t* path, TextList arguments);
    void setFolder(const char16_t* folder);
    void setEnvironment(const char16_t* const* environment);
    void changeEnvironment(const char16_t* const* variables, bool isInherited);

    int folder() const noexcept { return m_folder.get(); }
    /// posix_spawn; an errno value.
    int spawn(const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes,
              pid_t* child);

private:
    /// The system would look for the file from the child's folder.
    void findFromHere();

    PathText m_file;
    bool m_isSearched = false;
    TextList m_arguments;
    TextList m_environment;
    bool m_inheritsEnvironment = true;
    Descriptor m_folder;
};

TextList wordsOf(const char16_t* commandLine) {
    TextList words;
    for (const std::u16string& word : splitCommandLine(commandLine != nullptr ? commandLine : u""))
        words.add(word);
    return words;
}

TextList listOf(const char16_t* const* texts) {
    TextList list;
    for (; *texts != nullptr; ++texts)
        list.add(*texts);
    return list;
}

/// The name in NAME=value, or all of it.
std::string_view nameIn(std::string_view variable) {
    return variable.substr(0, variable.find('='));
}

Program::Program(const char16_t* path, TextList arguments) : m_arguments(std::move(arguments)) {
    if (m_arguments.isEmpty() && path == nullptr)
        throw Failure{result::InvalidArgument};
    const std::string file = path != nullptr ? toNarrow(path) : m_arguments.first();
    if (m_arguments.isEmpty())
        m_arguments.add(path);
    m_file = toNativePath(file.c_str());
    m_isSearched = path == nullptr && m_file.view().find('/') == std::string_view::npos;
}

/// A folder that a child can start in.
Descriptor openFolder(const char16_t* folder) {
    const std::string name = toNarrow(folder);
    PathText native;
    try {
        native = toNativePath(name.c_str());
    } catch (const Failure&) {
        throw Failure{result::FolderNotFound};
    }
    auto opened = aboveStandard(Descriptor::open(native.c_str(), O_PATH | O_DIRECTORY));
    if (!opened)
        throw Failure{errno == ENOENT || errno == ENOTDIR ? result::FolderNotFound : lastResult()};
    if (::faccessat(opened.get(), ".", X_OK, AT_EACCESS) != 0)
        throw Failure{lastResult()};
    return opened;
}

void Program::setFolder(const char16_t* folder) {
    if (folder == nullptr)
        return;
    m_folder = openFolder(folder);
    findFromHere();
}

/// An errno value that says why the system would not execute the file; 0 where it would try to.
int whyNotExecuted(const PathText& file) noexcept {
    struct stat status;
    if (::faccessat(AT_FDCWD, file.c_str(), X_OK, AT_EACCESS) != 0 ||
        ::stat(file.c_str(), &status) != 0)
        return errno;
    return S_ISREG(status.st_mode) ? 0 : EACCES;
}

PathText absolute(const PathText& file) {
    return file.view().starts_with('/') ? file : currentFolder().append("/").append(file.view());
}

void Program::findFromHere() {
    if (!m_isSearched) {
        m_file = absolute(m_file);
        return;
    }
    const char* const folders = ::getenv("PATH");
    if (folders == nullptr)
        return; // the system's own, which are absolute
    int error = ENOENT;
    for (std::string_view rest = folders;;) {
        const size_t length = rest.find(':');
        PathText file(rest.substr(0, length));
        file.append(file.view().empty() ? "" : "/").append(m_file.view());
        const int reason = whyNotExecuted(file);
        if (reason == 0) {
            m_file = absolute(file);
            m_isSearched = false;
            return;
        }
        if (reason == EACCES)
            error = reason;
        if (length == rest.npos)
            throw Failure{resultFromErrno(error)};
        rest.remove_prefix(length + 1);
    }
}

void Program::setEnvironment(const char16_t* const* environment) {
    m_inheritsEnvironment = environment == nullptr;
    for (; environment != nullptr && *environment != nullptr; ++environment) {
        m_environment.add(*environment);
        const size_t nameLength = m_environment.last().find('=');
        if (nameLength == 0 || nameLength == std::string::npos)
            throw Failure{result::InvalidArgument};
    }
}

void Program::changeEnvironment(const char16_t* const* variables, bool isInherited) {
    if (isInherited && (variables == nullptr || *variables == nullptr))
        return;
    m_inheritsEnvironment = false;
    for (char** each = environ; isInherited && each != nullptr && *each != nullptr; ++each)
        m_environment.add(std::string(*each)); // as it is, whatever encoding it may have
    for (; variables != nullptr && *variables != nullptr; ++variables) {
        std::string variable = toNarrow(*variables);
        const std::string_view name = nameIn(variable);
        if (name.empty())
            throw Failure{result::InvalidArgument};
        m_environment.removeAll([&](const std::string& each) { return nameIn(each) == name; });
        if (name.size() < variable.size())
            m_environment.add(std::move(variable));
    }
}

int Program::spawn(const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes,
                   pid_t* child) {
    const auto call = m_isSearched ? &::posix_spawnp : &::posix_spawn;
    const auto start = [&] {
        return call(child, m_file.c_str(), actions, attributes, m_arguments.pointers(),
                    m_inheritsEnvironment ? environ : m_environment.pointers());
    };
    int error = start();
    // A file that was written and closed is open all the same while another thread starts a
    // program, which has a copy of the descriptor until it is executed.
    for (auto pause = 1ms; error == ETXTBSY && pause <= LongestPause; pause *= 2) {
        std::this_thread::sleep_for(pause);
        error = start();
    }
    return error;
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

/// The pipes between this process and the child's standard streams. A fork in between has none of
/// them: with the child's ends they would not end before the fork does. On the heap, for forks.
class Pipes {
public:
    explicit Pipes(uint32_t flags) {
        const std::lock_guard guard(m_lock);
        for (int stream = 0; stream < StandardStreams; ++stream) {
            const bool isMerged = stream == STDERR_FILENO && (flags & QX_PROCESS_MERGE_ERROR) != 0;
            if (isMerged || (flags & InheritFlags[stream]) != 0)
                continue;
            int ends[2];
            throwIfNot0(::pipe2(ends, O_CLOEXEC));
            Descriptor reads(ends[0]), writes(ends[1]);
            reads = aboveStandard(std::move(reads));
            writes = aboveStandard(std::move(writes));
            if (!reads || !writes)
                throw Failure{lastResult()};
            const bool isInput = stream == STDIN_FILENO;
            m_child[stream] = std::move(isInput ? reads : writes);
            m_parent[stream] = std::move(isInput ? writes : reads);
        }
    }
    ~Pipes() {
        const std::lock_guard guard(m_lock);
        close();
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
    static const ForkSteps Steps;

    void close() noexcept {
        for (int stream = 0; stream < StandardStreams; ++stream) {
            m_parent[stream] = Descriptor();
            m_child[stream] = Descriptor();
        }
    }

    std::mutex m_lock; // held over a fork
    Descriptor m_parent[StandardStreams];
    Descriptor m_child[StandardStreams];
    ForkWatch m_watch{this, Steps}; // last
};

constexpr ForkSteps Pipes::Steps{
    [](void* pipes) noexcept { static_cast<Pipes*>(pipes)->m_lock.lock(); },
    [](void* pipes) noexcept { static_cast<Pipes*>(pipes)->m_lock.unlock(); },
    [](void* pipes) noexcept {
        static_cast<Pipes*>(pipes)->close();
        static_cast<Pipes*>(pipes)->m_lock.unlock();
    }};

QXHandle startProgram(Program& program, uint32_t flags, QXHandle* streams) {
    const auto pipes = std::make_unique<Pipes>(flags);
    ChildActions actions;
    pipes->connect(actions, flags);
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
        throw Failure{error == EAGAIN ? NoMoreProcesses : resultFromErrno(error)};
    pipes->release(streams);
    child->begin(number);
    return enterChild(std::move(child));
}

/// Starts a program that @p prepare makes, where the arguments of the call are right.
template <class Prepare>
int32_t startChecked(uint32_t flags, QXHandle* streams, QXHandle* process, Prepare&& prepare) {
    if (streams == nullptr || process == nullptr)
        return result::NullPointer;
    std::fill_n(streams, StandardStreams, NoHandle);
    *process = NoHandle;
    constexpr uint32_t Contradiction = QX_PROCESS_MERGE_ERROR | QX_PROCESS_INHERIT_ERROR;
    if ((flags & ~KnownFlags) != 0 || (flags & Contradiction) == Contradiction)
        return result::InvalidArgument;
    return resultOf([&] {
        Program program = prepare();
        *process = startProgram(program, flags, streams);
    });
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
    return startChecked(flags, streams, process, [&] {
        Program program(path, wordsOf(commandLine));
        program.setFolder(folder);
        program.setEnvironment(environment);
        return program;
    });
}

int32_t QXProcessCheckFolder(const char16_t* folder) {
    return folder == nullptr ? result::Ok : resultOf([&] { openFolder(folder); });
}

int32_t QXProcessStart(const char16_t* const* arguments, const char16_t* folder,
                       const char16_t* const* variables, uint32_t flags, QXHandle* streams,
                       QXHandle* process) {
    const bool isInherited = (flags & QX_PROCESS_NO_ENVIRONMENT) == 0;
    return startChecked(flags & ~QX_PROCESS_NO_ENVIRONMENT, streams, process, [&] {
        if (arguments == nullptr)
            throw Failure{result::NullPointer};
        Program program(nullptr, listOf(arguments));
        program.setFolder(folder);
        program.changeEnvironment(variables, isInherited);
        return program;
    });
}

int32_t QXProcessJoin(QXHandle process, int32_t* exitCode) { return collect(process, 0, exitCode); }

int32_t QXProcessGetExitCode(QXHandle process, int32_t* exitCode) {
    return collect(process, WNOHANG, exitCode);
}

int32_t QXProcessTimedJoin(QXHandle process, uint32_t milliseconds, int32_t* exitCode) {
    if (milliseconds == QX_PROCESS_NO_LIMIT)
        return QXProcessJoin(process, exitCode);
    if (exitCode == nullptr)
        return result::NullPointer;
    *exitCode = -1;
    return collectChildUntil(process, WaitEnd(std::chrono::milliseconds(milliseconds)), *exitCode);
}

int32_t QXProcessDetach(QXHandle process) {
    int32_t exitCode = 0;
    const int32_t result = collectChild(process, WNOHANG, exitCode);
    return result == result::Busy ? reapInBackground(takeChild(process)) : result;
}

int32_t QXProcessTerminate(QXHandle process) { return signalChild(process, SIGTERM); }

int32_t QXProcessKill(QXHandle process) { return signalChild(process, SIGKILL); }

int32_t QXProcessGetNumber(QXHandle process, uint32_t* number) {
    if (number == nullptr)
        return result::NullPointer;
    *number = 0;
    return numberOfChild(process, *number);
}

uint32_t QXProcessGetForkEpoch() { return forkEpoch(); }

uint32_t QXProcessGetID() { return static_cast<uint32_t>(::getpid()); }
