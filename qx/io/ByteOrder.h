#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <qx/platform/export.h>

/// Order in which the bytes of a value lie in memory.
enum ENUM_QX_ENDIAN : uint32_t {
    /// Least significant byte first.
    QX_ENDIAN_LITTLE = 0,
    /// Most significant byte first.
    QX_ENDIAN_BIG = 1,
    /// No order that anything can be stored in.
    QX_ENDIAN_UNKNOWN = 2,
};

namespace qx::io {

/// Values of 2, 4 and 8 bytes that have a byte order: integers, characters, float and double.
template <class T>
concept OrderedValue = std::is_arithmetic_v<T> &&
    (sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);

/// The unsigned integer as wide as @p Value.
template <OrderedValue Value>
using WordOf = std::conditional_t<sizeof(Value) == 2, uint16_t,
                                  std::conditional_t<sizeof(Value) == 4, uint32_t, uint64_t>>;

constexpr uint16_t swapBytes(uint16_t word) noexcept { return __builtin_bswap16(word); }
constexpr uint32_t swapBytes(uint32_t word) noexcept { return __builtin_bswap32(word); }
constexpr uint64_t swapBytes(uint64_t word) noexcept { return __builtin_bswap64(word); }

/// True when values in @p order are byte-reversed on this machine.
constexpr bool isSwapped(ENUM_QX_ENDIAN order) noexcept {
    return (order == QX_ENDIAN_BIG) != (std::endian::native == std::endian::big);
}

/// The value that lies in @p order at @p from, which needs no alignment.
template <OrderedValue Value>
Value loadInOrder(const void* from, ENUM_QX_ENDIAN order) noexcept {
    WordOf<Value> word;
    std::memcpy(&word, from, sizeof(word));
    return std::bit_cast<Value>(isSwapped(order) ? swapBytes(word) : word);
}

/// Stores @p value in @p order at @p to, which needs no alignment.
template <OrderedValue Value>
void storeInOrder(void* to, Value value, ENUM_QX_ENDIAN order) noexcept {
    auto word = std::bit_cast<WordOf<Value>>(value);
    if (isSwapped(order))
        word = swapBytes(word);
    std::memcpy(to, &word, sizeof(word));
}

/// Copies @p count words of 2, 4 or 8 bytes and reverses the bytes of each. The two places are the
/// same or do not overlap, and need no alignment. Vectorised; linear.
QX_API void copySwapped(void* to, const void* from, size_t count, size_t wordSize) noexcept;

/// Copies @p count words between memory in @p order and memory in the order of the machine, in
/// either direction. Sizes and places are as for copySwapped.
inline void copyInOrder(void* to, const void* from, size_t count, size_t wordSize,
                        ENUM_QX_ENDIAN order) noexcept {
    if (isSwapped(order))
        copySwapped(to, from, count, wordSize);
    else if (to != from && count != 0)
        std::memcpy(to, from, count * wordSize);
}

} // namespace qx::io
