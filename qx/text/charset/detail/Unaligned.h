#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Units read from and written to byte buffers, which promise no alignment.
namespace qx::text::charset::detail {

static_assert(std::endian::native == std::endian::little,
              "\"Swapped\" means big-endian throughout the kernels");

/// A value of the given byte order as the machine reads it, and back.
template <std::endian Order>
char32_t ordered(char32_t value) {
    return Order == std::endian::native ? value : char32_t{__builtin_bswap32(value)};
}

template <std::endian Order>
char32_t loadUtf32(const void* in) {
    char32_t value;
    std::memcpy(&value, in, sizeof value);
    return ordered<Order>(value);
}

template <std::endian Order>
void storeUtf32(char32_t value, void* out) {
    const char32_t stored = ordered<Order>(value);
    std::memcpy(out, &stored, sizeof stored);
}

} // namespace qx::text::charset::detail
