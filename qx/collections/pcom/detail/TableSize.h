#pragma once

#include <cstdint>
#include <limits>

#include <qx/collections/pcom/detail/Growth.h>
#include <qx/core/Exception.h>

// Lengths of hash tables: signed 32-bit numbers, like all sizes.

namespace qx::collections::pcom::detail {

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
