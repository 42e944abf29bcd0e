#include "tests/support/SignalStorm.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace qxtest {

struct SignalStorm::State {
    struct sigaction previous {};
    std::atomic<bool> over{false};
    std::thread thread;
};

SignalStorm::SignalStorm() : m_state(new State) {
    struct sigaction action {};
    action.sa_handler = [](int) {}; // without SA_RESTART: calls are interrupted
    ::sigaction(SIGUSR1, &action, &m_state->previous);
    m_state->thread = std::thread([state = m_state] {
        const auto own = ::syscall(SYS_gettid);
        while (!state->over) {
            std::error_code ended; // a thread may be gone before its entry is read
            for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", ended)) {
                const long number = std::stol(task.path().filename());
                if (number != own)
                    ::syscall(SYS_tgkill, ::getpid(), number, SIGUSR1);
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
}

SignalStorm::~SignalStorm() {
    m_state->over = true;
    m_state->thread.join();
    ::sigaction(SIGUSR1, &m_state->previous, nullptr);
    delete m_state;
}

} // namespace qxtest
