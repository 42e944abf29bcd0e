#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include <qx/platform/files.h>
#include <qx/platform/result.h>

#include "tests/support/ChildProcess.h"

namespace {

using namespace qx;

/// Makes a terminal the standard streams of this process, reads keys and prints each as "<number>".
/// Arguments: the terminal, the number of keys.
const qxtest::ChildEntry printKeys("printKeys", [](const auto& arguments) {
    const int terminal = ::open(arguments.at(0).c_str(), O_RDWR | O_NOCTTY);
    for (const int stream : {0, 1})
        ::dup2(terminal, stream);
    QXConsoleHoldKeys(1);
    ::dprintf(1, "ready");
    for (int i = std::stoi(arguments.at(1)); i > 0; --i) {
        int32_t key = 0;
        if (QXConsoleReadKey(&key) < 0)
            return 1;
        ::dprintf(1, "<%d>", key);
    }
    return QXConsoleHoldKeys(0) == result::Ok && QXConsoleHoldKeys(0) == result::Fail ? 0 : 2;
});

/// A pair of a terminal and the side that a user would sit at.
class Terminal {
public:
    Terminal() : m_user(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        ::grantpt(m_user);
        ::unlockpt(m_user);
        // Kept open, so that the modes outlive the child.
        m_terminal = ::open(name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Terminal() {
        ::close(m_terminal);
        ::close(m_user);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::string name() const { return ::ptsname(m_user); }
    void type(const std::string& keys) {
        ASSERT_EQ(::write(m_user, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    /// What is shown until the shown text ends with @p last, or nothing comes for ten seconds.
    std::string shownUntil(const std::string& last) {
        std::string shown;
        pollfd ready{m_user, POLLIN, 0};
        while (!shown.ends_with(last) && ::poll(&ready, 1, 10'000) == 1) {
            char buffer[256];
            const ssize_t count = ::read(m_user, buffer, sizeof buffer);
            if (count <= 0)
                break;
            shown.append(buffer, static_cast<size_t>(count));
        }
        return shown;
    }
    tcflag_t modes() const {
        termios mode{};
        ::tcgetattr(m_terminal, &mode);
        return mode.c_lflag;
    }

private:
    int m_user;
    int m_terminal = -1;
};

TEST(Console, ReadsKeysWithoutEchoAndGivesTheTerminalBackAlsoWhenASignalEndsTheProcess) {
    for (const int signal : {0, SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        Terminal terminal;
        const tcflag_t before = terminal.modes();
        EXPECT_NE(before & ECHO, 0u);
        qxtest::ChildProcess child("printKeys", {terminal.name(), "6"});
        ASSERT_EQ(terminal.shownUntil("ready"), "ready");
        EXPECT_NE(terminal.modes(), before);
        if (signal == 0) {
            // Control-C, control-Z, control-D and backspace are keys like any other; no line end
            // is needed.
            terminal.type("a\x03\x1A\x04\x7F\xFF");
            EXPECT_EQ(terminal.shownUntil("<255>"), "<97><3><26><4><127><255>");
        } else {
            ::kill(child.pid(), signal);
        }
        EXPECT_EQ(child.join(), -signal);
        EXPECT_EQ(terminal.modes(), before);
    }
}

} // namespace
