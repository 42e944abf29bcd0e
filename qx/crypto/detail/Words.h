#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Words of 32 bits in byte arrays of any alignment.
namespace qx::crypto::detail {

template <std::endian Order>
inline uint32_t loadWord(const signed char* bytes) noexcept {
    uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return Order == std::endian::native ? word : __builtin_bswap32(word);
}

template <std::endian Order>
inline void storeWord(signed char* bytes, uint32_t word) noexcept {
    if (Order != std::endian::native)
        word = __builtin_bswap32(word);
    std::memcpy(bytes, &word, sizeof word);
}

} // namespace qx::crypto::detail
