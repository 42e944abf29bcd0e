#pragma once

#include <qx/text/charset/detail/Sse4Kernels.h>

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstring>

/// The operations on 16 bytes of which the kernels are made.
namespace qx::text::charset::detail::sse4 {

/// Integers in a vector: the operators &, | and ^ work on all bits.
using Vector = __m128i;

/// Sixteen bytes, however many a vector holds.
using Sixteen = Vector;

/// Units that a vector holds.
inline constexpr size_t VectorUnits = 8;
inline constexpr size_t VectorBytes = 16;

QX_INLINE_SSE4 Vector load(const void* in) {
    return _mm_loadu_si128(static_cast<const Vector*>(in));
}

QX_INLINE_SSE4 void store(Vector vector, void* out) {
    _mm_storeu_si128(static_cast<Vector*>(out), vector);
}

/// Every 16-bit unit set to one value.
QX_INLINE_SSE4 constexpr Vector repeated(uint16_t unit) {
    const auto four = static_cast<long long>(unit * 0x0001000100010001u);
    return Vector{four, four};
}

QX_INLINE_SSE4 unsigned ones(unsigned bits) { return static_cast<unsigned>(_mm_popcnt_u32(bits)); }

QX_INLINE_SSE4 unsigned topBits(Vector vector) {
    return static_cast<unsigned>(_mm_movemask_epi8(vector));
}

/// True when no bit of @p bits is set in @p vector.
QX_INLINE_SSE4 bool hasNone(Vector vector, Vector bits) {
    return _mm_testz_si128(vector, bits) != 0;
}

QX_INLINE_SSE4 Vector leastOfUnits(Vector a, Vector b) { return _mm_min_epu16(a, b); }
QX_INLINE_SSE4 Vector addUnits(Vector a, Vector b) { return _mm_add_epi16(a, b); }
/// The sums of the bytes, 0xFF where that is not enough.
QX_INLINE_SSE4 Vector addBytesSaturated(Vector a, Vector b) { return _mm_adds_epu8(a, b); }
QX_INLINE_SSE4 Vector addBytes(Vector a, Vector b) { return _mm_add_epi8(a, b); }
/// The differences of the units, 0 where @p b is larger.
QX_INLINE_SSE4 Vector subtractSaturated(Vector a, Vector b) { return _mm_subs_epu16(a, b); }
/// The differences of the bytes as signed numbers, the least of these where they are too small.
QX_INLINE_SSE4 Vector subtractSigned(Vector a, Vector b) { return _mm_subs_epi8(a, b); }
QX_INLINE_SSE4 Vector equalBytes(Vector a, Vector b) { return _mm_cmpeq_epi8(a, b); }
QX_INLINE_SSE4 Vector equalUnits(Vector a, Vector b) { return _mm_cmpeq_epi16(a, b); }

template <int Bits>
QX_INLINE_SSE4 Vector shiftLeft(Vector vector) {
    return _mm_slli_epi16(vector, Bits);
}

template <int Bits>
QX_INLINE_SSE4 Vector shiftRight(Vector vector) {
    return _mm_srli_epi16(vector, Bits);
}

/// The bytes of @p there where @p mask is set, those of @p elsewhere where it is not.
QX_INLINE_SSE4 Vector select(Vector mask, Vector there, Vector elsewhere) {
    return _mm_blendv_epi8(elsewhere, there, mask);
}
/// The same where the top bit of a byte of @p mask is set, whatever else is.
QX_INLINE_SSE4 Vector selectByTopBit(Vector mask, Vector there, Vector elsewhere) {
    return select(mask, there, elsewhere);
}

/// The vector with its bytes @p Count places further; zeros come in at the bottom.
template <int Count>
QX_INLINE_SSE4 Vector moveUp(Vector vector) {
    return _mm_slli_si128(vector, Count);
}

/// The vector with its bytes up to 16 places nearer to the start; zeros come in at the top.
QX_INLINE_SSE4 Vector moveDown(Vector vector, size_t count) {
    alignas(32) static constexpr uint8_t Places[32] = {
        0,    1,    2,    3,    4,    5,    6,    7,    8,    9,    10,
        11,   12,   13,   14,   15,   0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
    return _mm_shuffle_epi8(vector, load(Places + count));
}

/// Loads @p size units, 0 < size < 8, and zeros behind them.
QX_INLINE_SSE4 Vector loadPart(const char16_t* in, size_t size) {
    if (size >= 4) {
        const Vector end = _mm_loadl_epi64(reinterpret_cast<const Vector*>(in + size - 4));
        return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const Vector*>(in)),
                                  moveDown(end, 2 * (8 - size)));
    }
    uint32_t start = in[0];
    uint32_t end = 0;
    if (size >= 2) {
        std::memcpy(&start, in, sizeof start);
        end = size == 3 ? in[2] : 0u;
    }
    return _mm_cvtsi64_si128(static_cast<int64_t>(start | uint64_t{end} << 32));
}

/// Loads @p size bytes, 0 < size < 16, and zeros behind them.
QX_INLINE_SSE4 Vector loadPart(const uint8_t* in, size_t size) {
    if (size >= 8) {
        const Vector end = _mm_loadl_epi64(reinterpret_cast<const Vector*>(in + size - 8));
        return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const Vector*>(in)),
                                  moveDown(end, 16 - size));
    }
    uint64_t bytes = 0;
    if (size >= 4) {
        uint32_t start;
        uint32_t end;
        std::memcpy(&start, in, sizeof start);
        std::memcpy(&end, in + size - 4, sizeof end);
        bytes = start | uint64_t{end} << (8 * (size - 4));
    } else {
        const size_t middle = size / 2;
        bytes = in[0] | uint64_t{in[middle]} << (8 * middle) |
                uint64_t{in[size - 1]} << (8 * (size - 1));
    }
    return _mm_cvtsi64_si128(static_cast<int64_t>(bytes));
}

/// The low bytes of units that are all below 0x100, as one vector of bytes.
QX_INLINE_SSE4 Vector narrow(Vector low, Vector high) { return _mm_packus_epi16(low, high); }

/// Bytes of which joinLow and joinHigh take those in front and those behind.
QX_INLINE_SSE4 Vector loadToWiden(const uint8_t* in) { return load(in); }
/// Units of which the low byte is in @p low, and the high byte in the same place in @p high.
QX_INLINE_SSE4 Vector joinLow(Vector low, Vector high) { return _mm_unpacklo_epi8(low, high); }
QX_INLINE_SSE4 Vector joinHigh(Vector low, Vector high) { return _mm_unpackhi_epi8(low, high); }
/// Units of @p first and @p second in turns.
QX_INLINE_SSE4 Vector joinUnitsLow(Vector first, Vector second) {
    return _mm_unpacklo_epi16(first, second);
}
QX_INLINE_SSE4 Vector joinUnitsHigh(Vector first, Vector second) {
    return _mm_unpackhi_epi16(first, second);
}

/// A table of 16 bytes for shuffle, and what it answers for an index below 16: 0 for one with its
/// top bit set.
QX_INLINE_SSE4 Vector loadRow(const uint8_t* row) { return load(row); }
QX_INLINE_SSE4 Vector shuffle(Vector row, Vector index) { return _mm_shuffle_epi8(row, index); }
/// The index for shuffle from the distance to the start of a row: one that it answers with 0 where
/// that is 16 or more.
QX_INLINE_SSE4 Vector placeInRow(Vector distance) {
    return addBytesSaturated(distance, repeated(0x7070)); // its low four bits or the top bit count
}
/// The index for shuffle from the low four bits of bytes without the top bit, and one that it
/// answers with 0 from the others.
QX_INLINE_SSE4 Vector lowNibbles(Vector index) { return index; }

/// The bytes of 16 places.
QX_INLINE_SSE4 Sixteen gather(const uint8_t* table, const uint16_t* places) {
    uint64_t first;
    uint64_t second;
    __m128i chains[2] = {_mm_setzero_si128(), _mm_setzero_si128()};
    const auto take = [&](int chain) QX_TARGET_SSE4 {
        std::memcpy(&first, places + 8 * chain, sizeof first);
        std::memcpy(&second, places + 8 * chain + 4, sizeof second);
        __m128i bytes = chains[chain];
        bytes = _mm_insert_epi8(bytes, table[first & 0xFFFF], 0);
        bytes = _mm_insert_epi8(bytes, table[first >> 16 & 0xFFFF], 1);
        bytes = _mm_insert_epi8(bytes, table[first >> 32 & 0xFFFF], 2);
        bytes = _mm_insert_epi8(bytes, table[first >> 48], 3);
        bytes = _mm_insert_epi8(bytes, table[second & 0xFFFF], 4);
        bytes = _mm_insert_epi8(bytes, table[second >> 16 & 0xFFFF], 5);
        bytes = _mm_insert_epi8(bytes, table[second >> 32 & 0xFFFF], 6);
        bytes = _mm_insert_epi8(bytes, table[second >> 48], 7);
        chains[chain] = bytes;
    };
    take(0);
    take(1);
    return _mm_unpacklo_epi64(chains[0], chains[1]);
}

} // namespace qx::text::charset::detail::sse4

#define QX_VECTOR_SPACE sse4
#define QX_INLINE_VECTOR QX_INLINE_SSE4
#include <qx/text/charset/detail/Squeeze.h>
#undef QX_VECTOR_SPACE
#undef QX_INLINE_VECTOR

#endif
