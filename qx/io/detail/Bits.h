#pragma once

#include <cstdint>

#include <qx/core/Result.h>
#include <qx/platform/result.h>

namespace qx::io::detail {

inline constexpr int MaxBits = 32;

/// @throws ResultException (result::InvalidArgument) unless @p bits is 1 to 32
inline void checkBitWidth(int bits) {
    if (bits < 1 || bits > MaxBits) [[unlikely]]
        throwResult(result::InvalidArgument);
}

/// The lowest @p bits bits set, 0 to 63.
constexpr uint64_t lowBits(int bits) noexcept { return (uint64_t{1} << bits) - 1; }

} // namespace qx::io::detail
