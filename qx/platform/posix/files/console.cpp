#include "qx/platform/files.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <mutex>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include <qx/platform/result.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>

using namespace qx;
using namespace qx::platform;

namespace {

// For signal handlers as well.
int s_terminal = STDIN_FILENO;
termios s_savedMode;
termios s_heldMode;
constinit std::atomic<bool> s_isHeld{false};
static_assert(std::atomic<bool>::is_always_lock_free);

/// Gives the terminal back before the signal ends the process as it would have without us.
extern "C" void restoreAndDie(int signal) {
    sigset_t stopping; // as the terminal would, in the background
    ::sigemptyset(&stopping);
    ::sigaddset(&stopping, SIGTTOU);
    ::pthread_sigmask(SIG_BLOCK, &stopping, nullptr);
    ::tcsetattr(s_terminal, TCSANOW, &s_savedMode);
    ::raise(signal); // pending until the handler returns; the default action was set on entry
}

/// Gives the terminal back for as long as the signal stops the process.
extern "C" void restoreAndStop(int signal) {
    const int error = errno;
    ::tcsetattr(s_terminal, TCSANOW, &s_savedMode);
    struct sigaction stopping {
    }, catching{};
    stopping.sa_handler = SIG_DFL;
    ::sigaction(signal, &stopping, &catching);
    ::raise(signal);
    sigset_t all, before;
    ::sigemptyset(&all);
    ::sigaddset(&all, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &all, &before); // the process stops here
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::sigaction(signal, &catching, nullptr);
    if (s_isHeld)
        ::tcsetattr(s_terminal, TCSANOW, &s_heldMode);
    if (!s_isHeld) // another thread has let go of it meanwhile
        ::tcsetattr(s_terminal, TCSANOW, &s_savedMode);
    errno = error;
}

/// Signals that stop the process or end it from outside, and can be caught.
struct Caught {
    int signal;
    void (*handler)(int);
    unsigned flags;
};
constexpr Caught CaughtSignals[] = {{SIGHUP, restoreAndDie, SA_RESETHAND},
                                    {SIGINT, restoreAndDie, SA_RESETHAND},
                                    {SIGQUIT, restoreAndDie, SA_RESETHAND},
                                    {SIGTERM, restoreAndDie, SA_RESETHAND},
                                    {SIGTSTP, restoreAndStop, SA_RESTART}};

constinit std::mutex s_lock;

/// The terminal of the process, and standard input where it has none, without echo and line editing
/// while somebody holds it so.
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

    // For holders.
    QXHandle handle() const noexcept { return static_cast<QXHandle>(s_terminal); }
    /// What takes the last byte back is 0x08, whichever key the terminal has for it.
    int32_t keyOf(unsigned char byte) const noexcept {
        const bool isErase = m_isTerminal && byte == s_savedMode.c_cc[VERASE] &&
                             byte != static_cast<unsigned char>(_POSIX_VDISABLE);
        return isErase ? 0x08 : byte;
    }

private:
    int32_t enter() {
        m_own = aboveStandard(Descriptor::open("/dev/tty", O_RDWR | O_NOCTTY));
        s_terminal = m_own ? m_own.get() : STDIN_FILENO;
        m_isTerminal = ::tcgetattr(s_terminal, &s_savedMode) == 0;
        if (!m_isTerminal)
            return errno == EBADF ? lastResult() : result::Ok;
        s_heldMode = s_savedMode;
        s_heldMode.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
        s_heldMode.c_cc[VMIN] = 1;
        s_heldMode.c_cc[VTIME] = 0;
        catchSignals();
        s_isHeld = true;
        // Not TCSAFLUSH, which would drop what was typed ahead.
        if (setMode(s_heldMode) == 0)
            return result::Ok;
        const int32_t failure = lastResult();
        s_isHeld = false;
        restoreSignals();
        m_own = Descriptor();
        return failure;
    }

    int32_t leave() {
        int32_t result = result::Ok;
        if (m_isTerminal) {
            s_isHeld = false;
            if (setMode(s_savedMode) != 0)
                result = lastResult();
            restoreSignals();
        }
        m_own = Descriptor();
        return result;
    }

    static int setMode(const termios& mode) noexcept {
        return retryInterrupted([&] { return ::tcsetattr(s_terminal, TCSADRAIN, &mode); });
    }

    static bool isHandledBy(int signal, void (*handler)(int)) {
        struct sigaction current {};
        ::sigaction(signal, nullptr, &current);
        return (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == handler;
    }

    /// Only where the default action, the end or a stop of the process, is in force.
    void catchSignals() {
        for (size_t i = 0; i < std::size(CaughtSignals); ++i) {
            const auto& [signal, handler, flags] = CaughtSignals[i];
            struct sigaction catching {};
            catching.sa_handler = handler;
            catching.sa_flags = static_cast<int>(flags);
            ::sigemptyset(&catching.sa_mask);
            m_caught[i] = isHandledBy(signal, SIG_DFL);
            if (m_caught[i])
                ::sigaction(signal, &catching, nullptr);
        }
    }

    /// Those of which nobody has taken over the handling since.
    void restoreSignals() {
        for (size_t i = 0; i < std::size(CaughtSignals); ++i) {
            const auto& [signal, handler, flags] = CaughtSignals[i];
            if (m_caught[i] && isHandledBy(signal, handler))
                ::signal(signal, SIG_DFL);
        }
    }

    Descriptor m_own; // of the terminal, while held
    int m_holders = 0;
    bool m_isTerminal = false;
    bool m_caught[std::size(CaughtSignals)] = {};
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
    const int32_t read = QXFileRead(s_keyMode.handle(), &byte, 1, &count);
    const int32_t typed = s_keyMode.keyOf(byte);
    const int32_t restored = s_keyMode.release();
    if (read < 0)
        return read;
    if (count == 0)
        return result::EndOfFile;
    *key = typed;
    return restored;
}
