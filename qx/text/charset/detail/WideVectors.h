#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <qx/platform/detail/ByteOrder.h>

/// The compiler's portable vectors of 16 bytes.
namespace qx::text::charset::detail::wide {

using Bytes = uint8_t __attribute__((vector_size(16)));
using Units = uint16_t __attribute__((vector_size(16)));
using Longs = uint32_t __attribute__((vector_size(16)));
using Words = uint64_t __attribute__((vector_size(16)));

template <class Value>
Value load(const void* in) {
    Value value;
    std::memcpy(&value, in, sizeof value);
    return value;
}

template <class Value>
void store(Value value, void* out) {
    std::memcpy(out, &value, sizeof value);
}

template <class Vector>
bool isZero(Vector vector) {
    const Words words = reinterpret_cast<Words>(vector);
    return (words[0] | words[1]) == 0;
}

/// The lanes of two vectors that the numbers name, those of @p second behind those of @p first.
template <int... Lanes, class Vector>
Vector pick(Vector first, Vector second) {
#if __has_builtin(__builtin_shufflevector)
    return __builtin_shufflevector(first, second, Lanes...);
#else // g++ 11
    return __builtin_shuffle(first, second, Vector{Lanes...});
#endif
}

/// The lower halves of the lanes of twice the width, which lie first on a little-endian machine,
/// where they lie there.
template <class Vector>
Vector lowerFirst(Vector lanes) {
    return platform::IsLittleEndian ? lanes : lanes << (4 * sizeof lanes[0]);
}

/// The first 8 bytes as units.
inline Units widenFirst(Bytes bytes) {
    const Bytes zero = {};
    const Bytes first = platform::IsLittleEndian ? bytes : zero;
    const Bytes second = platform::IsLittleEndian ? zero : bytes;
    return reinterpret_cast<Units>(
        pick<0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23>(first, second));
}

inline void widen(Bytes bytes, char16_t* out) {
    store(widenFirst(bytes), out);
    store(
        widenFirst(pick<8, 9, 10, 11, 12, 13, 14, 15, 8, 9, 10, 11, 12, 13, 14, 15>(bytes, bytes)),
        out + 8);
}

inline void widen(uint64_t bytes, char16_t* out) {
    store(widenFirst(reinterpret_cast<Bytes>(Words{bytes, 0})), out);
}

inline void widen(uint32_t bytes, char16_t* out) {
    const Longs first = {bytes, 0, 0, 0};
    store(reinterpret_cast<Words>(widenFirst(reinterpret_cast<Bytes>(first)))[0], out);
}

inline bool isAscii(Bytes bytes) { return isZero(bytes & 0x80); }
inline bool isAscii(uint64_t bytes) { return (bytes & 0x8080808080808080) == 0; }

/// Widens one or two times as many bytes as a @p Block has, by the block at their start and that at
/// their end, which may overlap; false when they are not ASCII.
template <class Block>
bool widenEndsIfAscii(const uint8_t* in, size_t size, char16_t* out) {
    const size_t last = size - sizeof(Block);
    const Block start = load<Block>(in);
    const Block end = load<Block>(in + last);
    if (!isAscii(start | end))
        return false;
    widen(start, out);
    widen(end, out + last);
    return true;
}

/// Widens up to 32 bytes, not even one when they are not ASCII.
inline bool widenIfAscii(const uint8_t* in, size_t size, char16_t* out) {
    if (size >= 16)
        return widenEndsIfAscii<Bytes>(in, size, out);
    if (size >= 8)
        return widenEndsIfAscii<uint64_t>(in, size, out);
    if (size >= 4)
        return widenEndsIfAscii<uint32_t>(in, size, out);
    if (size == 0)
        return true;
    const size_t places[] = {0, size / 2, size - 1};
    if (((in[0] | in[places[1]] | in[places[2]]) & 0x80) != 0)
        return false;
    for (const size_t place : places)
        out[place] = in[place];
    return true;
}

} // namespace qx::text::charset::detail::wide
