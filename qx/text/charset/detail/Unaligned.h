#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Units read from and written to byte buffers, which promise no alignment.
namespace qx::text::charset::detail {

static_assert(std::endian::native == std::endian::little,
              "\"Swapped\" means big-endian throughout the kernels");

template <std::endian Order>
char32_t loadUtf32(const void* in) {
    uint32_t value;
    std::memcpy(&value, in, sizeof value);
    return Order == std::endian::native ? value : __builtin_bswap32(value);
}

template <std::endian Order>
void storeUtf32(char32_t value, void* out) {
    const uint32_t stored =
        Order == std::endian::native ? uint32_t{value} : __builtin_bswap32(value);
    std::memcpy(out, &stored, sizeof stored);
}

} // namespace qx::text::charset::detail
