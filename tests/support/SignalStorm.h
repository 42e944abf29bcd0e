#pragma once

#include <csignal>
#include <thread>

namespace qxtest {

/// While it lives, signals hail on the thread that made it and on every other of this process, and
/// interrupt whatever system call they wait in.
class SignalStorm {
public:
    SignalStorm();
    ~SignalStorm();

private:
    struct sigaction m_previous {};
    std::jthread m_thread;
};

} // namespace qxtest
