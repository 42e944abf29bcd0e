#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace qxtest {

/// A function that the test program runs instead of its tests when it is started as a child.
/// Define one at namespace scope: `const ChildEntry entry("name", [](auto& args) { return 0; });`
struct ChildEntry {
    using Body = int (*)(const std::vector<std::string>& arguments);
    ChildEntry(const char* name, Body body);
};

/// This test program running again as a child that executes one ChildEntry. The destructor kills
/// and reaps a child that still runs.
class ChildProcess {
public:
    explicit ChildProcess(const std::string& entry, const std::vector<std::string>& arguments = {});
    explicit ChildProcess(int forked) : m_pid(forked) {}
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess(ChildProcess&& other) noexcept : m_pid(other.m_pid) { other.m_pid = -1; }

    int pid() const { return m_pid; }
    /// Sends SIGKILL; join afterwards reports it.
    void kill();
    /// Waits for the end: the exit status, or minus the number of the signal that ended it.
    int join();

private:
    int m_pid;
};

/// Whether @p body holds in a forked child of this process. It does not when it throws or hangs.
bool holdsInFork(const std::function<bool()>& body);

/// Fails, or leaves out, the running test as the child with that entry does.
void passOnChild(const std::string& entry);

/// A test whose body runs in a process of its own, of which it may make what it likes.
#define QX_TEST_IN_CHILD(suite, name)                                                              \
    void suite##name##Body();                                                                      \
    const qxtest::ChildEntry suite##name##Entry(                                                   \
        #suite "." #name, [](const auto&) { return qxtest::statusOf(suite##name##Body); });        \
    TEST(suite, name) { qxtest::passOnChild(#suite "." #name); }                                   \
    void suite##name##Body()

/// In a child: runs the body of a test; exit status for passOnChild.
int statusOf(void (*body)());

/// Command line with which SelfPath executes one ChildEntry; arguments may follow after a blank.
std::u16string childCommand(std::u16string_view entry);
inline constexpr char16_t SelfPath[] = u"/proc/self/exe";

/// Runs the child named on the command line; true when there was one, with its result in @p status.
bool runAsChild(int argc, char** argv, int& status);

} // namespace qxtest
