#include "tests/support/ChildProcess.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <spawn.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qxtest {

namespace {

std::map<std::string, ChildEntry::Body>& entries() {
    static std::map<std::string, ChildEntry::Body> map;
    return map;
}

constexpr char ChildFlag[] = "--qx-child";
constexpr int Skipped = 77; // status of a child that leaves its test out

} // namespace

ChildEntry::ChildEntry(const char* name, Body body) { entries()[name] = body; }

ChildProcess::ChildProcess(const std::string& entry, const std::vector<std::string>& arguments)
    : m_pid(-1) {
    // The link itself leads a program under valgrind to valgrind.
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<const char*> argv{program.c_str(), ChildFlag, entry.c_str()};
    for (const auto& argument : arguments)
        argv.push_back(argument.c_str());
    argv.push_back(nullptr);
    // Signals mean what they do by default, whatever runs the tests ignores.
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawn(&m_pid, argv[0], nullptr, &attributes,
                                  const_cast<char* const*>(argv.data()), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        throw std::runtime_error(std::string("posix_spawn: ") + std::strerror(error));
}

ChildProcess::~ChildProcess() {
    if (m_pid > 0) {
        kill();
        join();
    }
}

void ChildProcess::kill() { ::kill(m_pid, SIGKILL); }

int ChildProcess::join() {
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool holdsInFork(const std::function<bool()>& body) {
    ChildProcess child(::fork());
    if (child.pid() == 0) {
        ::alarm(60); // a hanging one ends by SIGALRM
        bool holds = false;
        try {
            holds = body();
        } catch (const std::exception& exception) {
            ::dprintf(STDERR_FILENO, "in the child: %s\n", exception.what()); // streams have locks
        }
        ::syscall(SYS_exit_group, holds ? 0 : 1); // whatever a sanitizer thinks of its threads
    }
    return child.join() == 0;
}

int statusOf(void (*body)()) {
    body();
    return testing::Test::HasFailure() ? 1 : testing::Test::IsSkipped() ? Skipped : 0;
}

void passOnChild(const std::string& entry) {
    const int status = ChildProcess(entry).join();
    if (status == Skipped)
        GTEST_SKIP() << "for the reason above";
    EXPECT_EQ(status, 0);
}

std::u16string childCommand(std::u16string_view entry) {
    std::u16string command = u"self ";
    command.append(std::begin(ChildFlag), std::end(ChildFlag) - 1);
    return command.append(u" ").append(entry);
}

bool runAsChild(int argc, char** argv, int& status) {
    if (argc < 3 || std::strcmp(argv[1], ChildFlag) != 0)
        return false;
    const auto found = entries().find(argv[2]);
    status = found == entries().end() ? 127 : found->second({argv + 3, argv + argc});
    return true;
}

} // namespace qxtest
