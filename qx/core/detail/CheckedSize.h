#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace qx::detail {

/// Narrows a count that was computed in 64 bits to the 32 bits of lengths and capacities. What does
/// not fit can never be allocated.
/// @throws std::bad_alloc
constexpr int32_t checkedSize(int64_t count) {
    if (count < 0 || count > std::numeric_limits<int32_t>::max()) [[unlikely]]
        throw std::bad_alloc();
    return static_cast<int32_t>(count);
}

/// A count of the interface as the standard library wants it.
constexpr size_t sizeOf(int32_t count) { return static_cast<size_t>(count); }

/// @p count rounded up to a multiple of 16, the step in which buffers grow.
constexpr int32_t adjustedCapacity(int64_t count) {
    return checkedSize((count + 15) & ~int64_t{15});
}

/// Room that the conversion of @p length units needs when each becomes at most @p factor, and
/// @p extra more.
constexpr int32_t scaledSize(int32_t length, int32_t factor, int32_t extra) {
    return checkedSize(int64_t{length} * factor + extra);
}

} // namespace qx::detail
