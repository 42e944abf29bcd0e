#pragma once

#include <csignal>
#include <ctime>

namespace collector {

/// The signals that stop the service. They interrupt nothing: they are blocked, in all threads that
/// start while the object lives, and looked for.
class StopSignals {
public:
    StopSignals() {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGTERM);
        sigaddset(&m_signals, SIGINT);
        pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    }

    /// True when one has come since.
    bool haveCome() const {
        const timespec noTime{};
        return sigtimedwait(&m_signals, nullptr, &noTime) > 0;
    }

private:
    sigset_t m_signals;
};

} // namespace collector
