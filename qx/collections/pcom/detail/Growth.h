#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace qx::collections::pcom::detail {

/// Most elements of a list: sizes are signed 32-bit numbers.
inline constexpr int MaxSize = std::numeric_limits<int32_t>::max();

/// Makes sure that a list of @p size elements can take one more.
/// @throws std::length_error with @p message
inline void checkRoom(int size, const char* message) {
    if (size == MaxSize)
        throw std::length_error(message);
}

/// Capacity of a full array of @p size elements that has to take one more: half as much again, but
/// at least room for the element.
/// @throws std::length_error when the size is at its limit
inline int grownCapacity(int size) {
    checkRoom(size, "vector<T> too long");
    return static_cast<int>(std::clamp<int64_t>(int64_t{size} + size / 2, size + 1, MaxSize));
}

} // namespace qx::collections::pcom::detail
