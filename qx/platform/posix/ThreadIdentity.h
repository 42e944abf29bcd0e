#pragma once

#include <cstdint>

namespace qx::platform {

/// Tells live threads of this process apart; cheaper to ask for than the thread's number: the
/// address of its control block, which the processor has in a register.
using ThreadIdentity = uint64_t;

inline constexpr ThreadIdentity NoThread = 0;

inline ThreadIdentity currentThread() noexcept {
    return reinterpret_cast<ThreadIdentity>(__builtin_thread_pointer());
}

} // namespace qx::platform
