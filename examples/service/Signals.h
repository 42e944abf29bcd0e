#pragma once

#include <atomic>
#include <csignal>
#include <ctime>
#include <unistd.h>

#include <qx/log/LogFile.h>

namespace collector {

/// The signals that the service knows.
///
/// SIGTERM and SIGINT stop it. They interrupt nothing: they are blocked, in all threads that start
/// while the object lives, and looked for. The first process of a container gets them only so:
/// there the kernel drops what is neither blocked nor handled.
///
/// SIGHUP has the plain-text log opened anew, before the next line is written.
///
/// SIGPIPE does nothing: somebody who no longer reads what the service prints must not end it.
class Signals {
public:
    Signals() {
        sigemptyset(&m_stops);
        sigaddset(&m_stops, SIGTERM);
        sigaddset(&m_stops, SIGINT);
        pthread_sigmask(SIG_BLOCK, &m_stops, nullptr);
        struct sigaction action = {};
        action.sa_handler = [](int) {
            qx::log::LogFile::requestReopenOfAll();
            s_hasHungUp = true;
        };
        action.sa_flags = SA_RESTART;
        sigaction(SIGHUP, &action, nullptr);
        std::signal(SIGPIPE, SIG_IGN);
        // The first process inherits children that it knows nothing of: those of a program that
        // somebody has started in the container. The kernel is to bury them.
        if (getpid() == 1)
            std::signal(SIGCHLD, SIG_IGN);
    }

    /// True when one that stops the service has come since.
    bool haveStopped() const {
        const timespec noTime{};
        return sigtimedwait(&m_stops, nullptr, &noTime) > 0;
    }
    /// True when SIGHUP has come since the last call.
    static bool takeHangup() { return s_hasHungUp.exchange(false); }

private:
    static inline std::atomic<bool> s_hasHungUp{false};
    static_assert(std::atomic<bool>::is_always_lock_free);

    sigset_t m_stops;
};

} // namespace collector
