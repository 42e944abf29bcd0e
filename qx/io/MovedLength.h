#pragma once

#include <cstdint>
#include <limits>

#include <qx/io/IoException.h>

// Lengths that are offered to a stream or channel, and the lengths that it returns.

namespace qx::io {

/// What a read returns at the end of the input.
constexpr int32_t EndOfInput = -1;

/// A length of @p count bytes, or as much of it as one call can take.
inline int32_t clippedLength(unsigned int count) noexcept {
    constexpr int32_t Most = std::numeric_limits<int32_t>::max();
    return count < Most ? static_cast<int32_t>(count) : Most;
}

/// Returns @p moved, checked: a number larger than @p offered would lead beyond the memory that was
/// offered.
/// @throws IoException when it is larger
inline int32_t checkedMove(int32_t moved, int32_t offered) {
    if (moved > offered) [[unlikely]]
        throwIo(u"more claimed to be moved than was offered");
    return moved;
}

/// The same where no number below @p least can be returned.
/// @throws IoException for a smaller number too
inline int32_t checkedMove(int32_t moved, int32_t offered, int32_t least) {
    if (moved < least)
        throwIo(u"a negative number claimed to be moved");
    return checkedMove(moved, offered);
}

} // namespace qx::io
