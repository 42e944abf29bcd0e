#pragma once

#include <cstdint>

namespace qx::platform {

/// Tells the threads of this process apart, those that have ended included: a lock that one of them
/// left behind belongs to nobody. Counts up in steps of two; a child made by fork counts on.
using ThreadIdentity = uint64_t;

inline constexpr ThreadIdentity NoThread = 0;

/// The identity of every thread that has not asked for one. No lock ever has such a holder, so
/// that whoever only compares need not ask.
inline constexpr ThreadIdentity NotYetKnown = 2;

/// The calling thread as locks see it.
struct CallingThread {
    ThreadIdentity identity = NotYetKnown;
    /// What the word of a free lock is to this thread: NoThread, but before the thread has an
    /// identity a value that no word has. A first attempt thus fails without having been tested
    /// for.
    uint64_t freeLock = NotYetKnown;

    bool isKnown() const noexcept { return identity != NotYetKnown; }
};

/// Every lock looks at it, so it is reached without a call.
[[gnu::tls_model("initial-exec"),
  gnu::visibility("hidden")]] extern constinit thread_local CallingThread t_callingThread;

/// Gives the calling thread its identity.
[[gnu::cold, gnu::noinline]] ThreadIdentity identifyThread() noexcept;

inline ThreadIdentity currentThread() noexcept {
    return t_callingThread.isKnown() ? t_callingThread.identity : identifyThread();
}

} // namespace qx::platform
