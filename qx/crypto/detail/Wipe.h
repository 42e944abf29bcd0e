#pragma once

#include <cstddef>
#include <cstring>

namespace qx::crypto::detail {

/// Overwrites memory that is about to be given back, and that the compiler therefore takes for
/// dead, with zeros.
inline void wipe(void* memory, size_t lengthInBytes) noexcept {
    std::memset(memory, 0, lengthInBytes);
    asm volatile("" : : "r"(memory) : "memory");
}

} // namespace qx::crypto::detail
