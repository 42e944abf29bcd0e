#include <atomic>
#include <cerrno>
#include <csignal>

#include <qx/platform/detail/Hangup.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/error.h>

namespace qx::platform {

namespace {

constinit std::atomic<void (*)()> s_body{nullptr};

void onHangup(int) {
    const int error = errno;
    if (void (*const body)() = s_body.load(std::memory_order_relaxed))
        body();
    errno = error;
}

/// Code that is no longer loaded must not be called.
struct HandlerEnd {
    ~HandlerEnd() {
        struct sigaction present;
        if (s_body.load(std::memory_order_relaxed) && ::sigaction(SIGHUP, nullptr, &present) == 0 &&
            present.sa_handler == &onHangup) {
            present = {};
            present.sa_handler = SIG_DFL;
            ::sigaction(SIGHUP, &present, nullptr);
        }
    }
} s_end;

} // namespace

int32_t callAtHangup(void (*body)()) noexcept {
    s_body.store(body, std::memory_order_relaxed);
    struct sigaction action = {};
    action.sa_handler = &onHangup;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    return ::sigaction(SIGHUP, &action, nullptr) == 0 ? result::Ok : lastResult();
}

} // namespace qx::platform
