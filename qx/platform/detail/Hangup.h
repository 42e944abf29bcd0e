#pragma once

#include <cstdint>

namespace qx::platform {

/// From now on every hang-up of the terminal (SIGHUP) calls @p body, which has to be safe in a
/// signal handler. It takes the place of what the program has done at that signal before, until
/// the library goes.
/// @return a result code
int32_t callAtHangup(void (*body)()) noexcept;

} // namespace qx::platform
