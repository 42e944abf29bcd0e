#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

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

constexpr uint64_t bigEndian(uint64_t word) noexcept {
    return std::endian::native == std::endian::big ? word : __builtin_bswap64(word);
}

/// The eight bytes at @p from, the first one highest.
inline uint64_t loadBig64(const uint8_t* from) noexcept {
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return bigEndian(word);
}

inline void storeBig64(uint8_t* to, uint64_t word) noexcept {
    word = bigEndian(word);
    std::memcpy(to, &word, sizeof word);
}

} // namespace qx::io::detail
