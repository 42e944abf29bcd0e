#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include <qx/io/IoException.h>

// Lengths that are offered to a stream or channel, and what comes back.

namespace qx::io::detail {

/// What a read returns at the end of the input.
constexpr int32_t EndOfInput = -1;

/// A length of @p count bytes, or as much of it as one call can take.
inline int32_t clippedLength(unsigned int count) noexcept {
    return static_cast<int32_t>(std::min<unsigned int>(count, std::numeric_limits<int32_t>::max()));
}

/// @p moved itself.
/// @throws IoException when it is more than was @p offered, or below @p least
inline int32_t checkedMove(int32_t moved, int32_t offered, int32_t least) {
    if (moved > offered)
        throwIo(u"more bytes claimed to be moved than were offered");
    if (moved < least)
        throwIo(u"a negative number of bytes claimed to be moved");
    return moved;
}

} // namespace qx::io::detail
