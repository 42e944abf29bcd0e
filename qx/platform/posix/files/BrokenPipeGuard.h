#pragma once

#include <csignal>
#include <ctime>

#include <qx/platform/posix/error.h>

namespace qx::platform {

/// Keeps the calling thread's writes from raising SIGPIPE: the signal is blocked, and taken back
/// when a write has caused it.
class BrokenPipeGuard {
public:
    BrokenPipeGuard() noexcept {
        ::sigemptyset(&m_signal);
        ::sigaddset(&m_signal, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &m_signal, &m_previous);
        if (::sigismember(&m_previous, SIGPIPE) == 1) {
            sigset_t pending;
            ::sigpending(&pending);
            m_wasPending = ::sigismember(&pending, SIGPIPE) == 1;
        }
    }
    ~BrokenPipeGuard() { ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

    /// To be called when a write has failed with EPIPE, which errno says again afterwards.
    void takeSignalBack() noexcept {
        if (!m_wasPending) {
            const timespec now{};
            retryInterrupted([&] { return ::sigtimedwait(&m_signal, nullptr, &now); });
        }
        errno = EPIPE;
    }

private:
    sigset_t m_signal;
    sigset_t m_previous;
    bool m_wasPending = false;
};

} // namespace qx::platform
