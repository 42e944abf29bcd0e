#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// The order in which the bytes of numbers lie in memory and in files, and what depends on it.
namespace qx::platform {

inline constexpr bool IsLittleEndian = std::endian::native == std::endian::little;

/// A number of 1, 2, 4 or 8 bytes in @p Order as the machine reads it, and back.
template <std::endian Order, class T>
constexpr T ordered(T number) noexcept {
    if constexpr (Order == std::endian::native || sizeof(T) == 1)
        return number;
    else if constexpr (sizeof(T) == 2)
        return static_cast<T>(__builtin_bswap16(static_cast<uint16_t>(number)));
    else if constexpr (sizeof(T) == 4)
        return static_cast<T>(__builtin_bswap32(static_cast<uint32_t>(number)));
    else
        return static_cast<T>(__builtin_bswap64(static_cast<uint64_t>(number)));
}

/// The number that lies in @p Order at @p from, which needs no alignment.
template <class T, std::endian Order>
T loadOrdered(const void* from) noexcept {
    T number;
    std::memcpy(&number, from, sizeof number);
    return ordered<Order>(number);
}

/// Stores a number in @p Order at @p to, which needs no alignment.
template <std::endian Order, class T>
void storeOrdered(T number, void* to) noexcept {
    number = ordered<Order>(number);
    std::memcpy(to, &number, sizeof number);
}

/// A number whose least significant byte comes first on every machine: a field of a file.
template <class T>
class LittleEndian {
public:
    LittleEndian() noexcept = default;
    constexpr LittleEndian(T number) noexcept : m_stored(ordered<std::endian::little>(number)) {}
    constexpr operator T() const noexcept { return ordered<std::endian::little>(m_stored); }

private:
    T m_stored;
};

/// The first lane of @p bits bits, counted as they lie in memory, of a word that is not 0. In each
/// lane either all bits are set or none.
constexpr unsigned firstLane(uint64_t lanes, unsigned bits) noexcept {
    return static_cast<unsigned>(IsLittleEndian ? std::countr_zero(lanes)
                                                : std::countl_zero(lanes)) /
           bits;
}

/// The lowest bits of eight bytes, whose other bits are 0, side by side; that of the byte that lies
/// first in memory is the lowest.
constexpr uint64_t bitsOfBytes(uint64_t bytes) noexcept {
    // The multiplication gathers them in the top byte.
    return bytes * (IsLittleEndian ? 0x0102040810204080u : 0x8040201008040201u) >> 56;
}

} // namespace qx::platform
