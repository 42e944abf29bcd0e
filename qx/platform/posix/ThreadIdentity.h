#pragma once

#include <cstdint>
#include <pthread.h>

namespace qx::platform {

/// Tells live threads of this process apart; cheaper to ask for than the thread's number.
using ThreadIdentity = uintptr_t;

inline constexpr ThreadIdentity NoThread = 0;

inline ThreadIdentity currentThread() noexcept {
    return (ThreadIdentity)pthread_self(); // an integer on some systems, a pointer on others
}

} // namespace qx::platform
