#include "qx/platform/posix/process/ThreadIdentity.h"

#include <atomic>

#include <unistd.h>

#include <qx/platform/native.h>

#include <qx/platform/posix/Forks.h>

namespace qx::platform {

constinit thread_local CallingThread t_callingThread;

ThreadIdentity identifyThread() noexcept {
    static constinit std::atomic<ThreadIdentity> s_last = NotYetKnown;
    t_callingThread = {s_last.fetch_add(2, std::memory_order_relaxed) + 2, NoThread};
    return t_callingThread.identity;
}

} // namespace qx::platform

namespace {

thread_local uint32_t t_number = 0;

} // namespace

/// The only thread of a forked child has inherited the number of the one that forked.
constexpr qx::platform::ForkSteps qx::platform::ThreadNumberForkSteps{
    .inChild = [](void*) noexcept { t_number = 0; }};

uint32_t QXThreadCurrentId() {
    if (t_number == 0)
        t_number = static_cast<uint32_t>(gettid());
    return t_number;
}

uint64_t QXThreadIdentity() { return qx::platform::currentThread(); }
