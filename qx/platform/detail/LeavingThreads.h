#pragma once

#include <qx/platform/types.h>

namespace qx::platform {

/// Takes over a thread of the library that has nothing left to do but to end. Detached it might
/// still be in the library's code when that is unloaded.
void leaveThread(QXHandle thread) noexcept;

/// Waits for all of them. For the library's end.
void joinLeavingThreads() noexcept;

/// Keeps the library in memory until the process ends: for a thread in it of which nobody knows
/// when it ends.
void keepLibraryLoaded() noexcept;

} // namespace qx::platform
