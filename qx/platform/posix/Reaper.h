#pragma once

#include <cstdint>
#include <sys/types.h>

namespace qx::platform {

/// Has the library wait for a child of this process that nobody else waits for, so that no zombie
/// stays behind when it ends: one small thread for each child that still runs, and no descriptor.
/// Unloading the library ends the threads. Returns a result code.
int32_t reapInBackground(pid_t child) noexcept;

} // namespace qx::platform
