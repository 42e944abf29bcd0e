#pragma once

#include <atomic>

namespace qx::platform {

/// Whether a socket has been given a time-out here. Only then a transfer may have to know when it
/// began, for which it would read the clock in front of the system call.
[[gnu::visibility("hidden")]] extern constinit std::atomic<bool> g_hasTimeOuts;

} // namespace qx::platform
