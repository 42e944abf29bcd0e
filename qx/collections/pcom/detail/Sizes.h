#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include <qx/core/Exception.h>

// How large lists and hash tables become. All sizes are signed 32-bit numbers.

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

inline constexpr const char* TableTooLong = "hash map too long";

/// What every constructor of a hash map asks of its arguments.
/// @throws RangeErrorException for a capacity below 1 or a load factor that is not positive
inline void checkTable(int capacity, float loadFactor) {
    using namespace qx::literals;
    if (capacity < 1)
        throw RangeErrorException(u"Capacity must be at least 1"_qs);
    if (!(loadFactor > 0)) // nor not a number
        throw RangeErrorException(u"Load factor must be positive"_qs);
}

/// Narrows a table length that was computed in 64 bits.
/// @throws std::length_error when it does not fit
inline int checkedTableLength(int64_t length) {
    if (length > MaxSize)
        throw std::length_error(TableTooLong);
    return static_cast<int>(length);
}

/// Length of a table for the entries of another map.
/// @throws std::length_error when there is none
inline int tableLengthFor(int size) {
    return checkedTableLength(size > 5 ? 2 * int64_t{size} : 11);
}

/// Length of the table that replaces one of @p length buckets: odd, so that hashes with a power of
/// two in common spread.
/// @throws std::length_error when there is none
inline int grownTableLength(int length) { return checkedTableLength(2 * int64_t{length} + 1); }

/// Number of entries with which a table of @p length buckets is full, in single precision,
/// truncated; the largest size for all that lies above.
inline int tableThreshold(int length, float loadFactor) {
    const float threshold = static_cast<float>(length) * loadFactor;
    return threshold < 0x1p31f ? static_cast<int>(threshold) : MaxSize;
}

} // namespace qx::collections::pcom::detail
