#include "qx/platform/files.h"

#include <csignal>
#include <iterator>
#include <mutex>
#include <termios.h>
#include <unistd.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/error.h>

using namespace qx;
using namespace qx::platform;

namespace {

/// Signals that end the process from outside and can be caught.
constexpr int FatalSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

termios s_savedMode;

/// Gives the terminal back before the signal ends the process as it would have without us.
extern "C" void restoreAndDie(int signal) {
    ::tcsetattr(STDIN_FILENO, TCSANOW, &s_savedMode);
    ::raise(signal); // pending until the handler returns; the default action was set on entry
}

constinit std::mutex s_lock;

/// The terminal without echo and line editing, while somebody holds it so.
class KeyMode {
public:
    int32_t hold() {
        const std::lock_guard guard(s_lock);
        if (m_holders == 0) {
            if (const int32_t result = enter(); result < 0)
                return result;
        }
        ++m_holders;
        return result::Ok;
    }

    int32_t release() {
        const std::lock_guard guard(s_lock);
        if (m_holders == 0)
            return result::Fail;
        return --m_holders == 0 ? leave() : result::Ok;
    }

private:
    int32_t enter() {
        if (::tcgetattr(STDIN_FILENO, &s_savedMode) != 0) {
            m_isTerminal = false;
            return errno == EBADF ? lastResult() : result::Ok;
        }
        m_isTerminal = true;
        termios mode = s_savedMode;
        mode.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
        mode.c_cc[VMIN] = 1;
        mode.c_cc[VTIME] = 0;
        catchSignals();
        // Not TCSAFLUSH, which would drop what was typed ahead.
        if (retryInterrupted([&] { return ::tcsetattr(STDIN_FILENO, TCSADRAIN, &mode); }) == 0)
            return result::Ok;
        const int32_t failure = lastResult();
        restoreSignals();
        return failure;
    }

    int32_t leave() {
        if (!m_isTerminal)
            return result::Ok;
        const int restored =
            retryInterrupted([] { return ::tcsetattr(STDIN_FILENO, TCSADRAIN, &s_savedMode); });
        const int32_t result = restored == 0 ? result::Ok : lastResult();
        restoreSignals();
        return result;
    }

    static bool isHandledBy(int signal, void (*handler)(int)) {
        struct sigaction current {};
        ::sigaction(signal, nullptr, &current);
        return (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == handler;
    }

    /// Only where the default action, the end of the process, is in force.
    void catchSignals() {
        struct sigaction catching {};
        catching.sa_handler = restoreAndDie;
        catching.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigemptyset(&catching.sa_mask);
        for (size_t i = 0; i < std::size(FatalSignals); ++i) {
            m_caught[i] = isHandledBy(FatalSignals[i], SIG_DFL);
            if (m_caught[i])
                ::sigaction(FatalSignals[i], &catching, nullptr);
        }
    }

    /// Those of which nobody has taken over the handling since.
    void restoreSignals() {
        for (size_t i = 0; i < std::size(FatalSignals); ++i) {
            if (m_caught[i] && isHandledBy(FatalSignals[i], restoreAndDie))
                ::signal(FatalSignals[i], SIG_DFL);
        }
    }

    int m_holders = 0;
    bool m_isTerminal = false;
    bool m_caught[std::size(FatalSignals)] = {};
};

constinit KeyMode s_keyMode;

} // namespace

constexpr ForkSteps qx::platform::ConsoleForkSteps = HeldInFork<s_lock>;

int32_t QXConsoleHoldKeys(int32_t hold) {
    return hold != 0 ? s_keyMode.hold() : s_keyMode.release();
}

int32_t QXConsoleReadKey(int32_t* key) {
    if (key == nullptr)
        return result::NullPointer;
    *key = 0;
    if (const int32_t result = s_keyMode.hold(); result < 0)
        return result;
    unsigned char byte = 0;
    int32_t count = 0;
    const int32_t read = QXFileRead(QXFileStandardInput(), &byte, 1, &count);
    const int32_t restored = s_keyMode.release();
    if (read < 0)
        return read;
    if (count == 0)
        return result::EndOfFile;
    *key = byte;
    return restored;
}
