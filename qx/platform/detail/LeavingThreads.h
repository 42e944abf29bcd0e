#pragma once

#include <qx/platform/types.h>

namespace qx::platform {

/// Takes over a thread of the library that has nothing left to do but to end. Detached it might
/// still be in the library's code when that is unloaded.
void leaveThread(QXHandle thread) noexcept;

/// Waits for all of them. For the library's end.
void joinLeavingThreads() noexcept;

/// Counts a thread that runs code of the program in the library's classes, from before its start
/// until its end.
void threadBegins() noexcept;
void threadEnds() noexcept;
/// True while one of them runs. What the library has then stays when the process ends: the thread
/// may be in the middle of anything.
bool doThreadsRun() noexcept;

/// Keeps the library in memory until the process ends: for a thread in it of which nobody knows
/// when it ends.
void keepLibraryLoaded() noexcept;

} // namespace qx::platform
