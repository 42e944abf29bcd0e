#include "tests/support/SignalStorm.h"

#include <filesystem>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace qxtest {

SignalStorm::SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int) {}; // without SA_RESTART: calls are interrupted
    ::sigaction(SIGUSR1, &action, &m_previous);
    m_thread = std::jthread([](const std::stop_token& over) {
        const auto own = ::syscall(SYS_gettid);
        while (!over.stop_requested()) {
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
    m_thread.request_stop();
    m_thread.join();
    ::sigaction(SIGUSR1, &m_previous, nullptr);
}

} // namespace qxtest
