#pragma once

#include <qx/text/charset/detail/NeonKernels.h>

#if defined(__aarch64__)

#include <arm_neon.h>

#include <array>
#include <bit>
#include <cstring>

#include <qx/text/charset/detail/CompactionTables.h>

/// The operations on 16 bytes of which the kernels are made; Sse4Vectors.h tells what those do that
/// have no comment here.
namespace qx::text::charset::detail::neon {

using Vector = uint16x8_t;
using Sixteen = Vector;

inline constexpr size_t VectorUnits = 8;
inline constexpr size_t VectorBytes = 16;
inline constexpr size_t RunVectors = 4;
/// Vectors of UTF-8 that are decoded between two looks for a run of ASCII, which takes four.
inline constexpr size_t StepsPerLook = 3;

QX_INLINE_NEON uint8x16_t bytesOf(Vector vector) { return vreinterpretq_u8_u16(vector); }
QX_INLINE_NEON int8x16_t signedOf(Vector vector) { return vreinterpretq_s8_u16(vector); }
QX_INLINE_NEON Vector vectorOf(uint8x16_t bytes) { return vreinterpretq_u16_u8(bytes); }
QX_INLINE_NEON Vector vectorOf(int8x16_t bytes) { return vreinterpretq_u16_s8(bytes); }

QX_INLINE_NEON Vector load(const void* in) {
    return vectorOf(vld1q_u8(static_cast<const uint8_t*>(in)));
}

QX_INLINE_NEON void store(Vector vector, void* out) {
    vst1q_u8(static_cast<uint8_t*>(out), bytesOf(vector));
}

QX_INLINE_NEON constexpr Vector repeated(uint16_t unit) {
    return Vector{unit, unit, unit, unit, unit, unit, unit, unit};
}

/// Every byte, or every 16-bit unit, of a vector set to one constant.
QX_INLINE_NEON Vector bytes(unsigned value) {
    return vectorOf(vdupq_n_u8(static_cast<uint8_t>(value)));
}
QX_INLINE_NEON Vector units(unsigned value) { return repeated(static_cast<uint16_t>(value)); }

/// The bits that are set in numbers of one byte.
inline constexpr auto OnesOfByte = [] {
    std::array<uint8_t, 256> ones{};
    for (unsigned byte = 0; byte < ones.size(); ++byte)
        ones[byte] = static_cast<uint8_t>(std::popcount(byte));
    return ones;
}();

/// Of 16 bits. A table is nearer than the vectors, which alone can count.
QX_INLINE_NEON unsigned ones(unsigned bits) {
    return unsigned{OnesOfByte[bits & 0xFF]} + OnesOfByte[bits >> 8 & 0xFF];
}

/// There is no instruction for this: each byte keeps the bit of its place in its half, and sums of
/// neighbours bring eight of them together.
QX_INLINE_NEON unsigned topBits(Vector vector) {
    constexpr uint8x16_t Places = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    uint8x16_t sums = vreinterpretq_u8_s8(vshrq_n_s8(signedOf(vector), 7)) & Places;
    for (int i = 0; i < 3; ++i)
        sums = vpaddq_u8(sums, sums);
    return vgetq_lane_u16(vectorOf(sums), 0);
}

QX_INLINE_NEON bool hasNone(Vector vector, Vector bits) {
    return vmaxvq_u32(vreinterpretq_u32_u16(vector & bits)) == 0;
}

QX_INLINE_NEON Vector without(Vector vector, Vector bits) { return vbicq_u16(vector, bits); }

QX_INLINE_NEON Vector leastOfUnits(Vector a, Vector b) { return vminq_u16(a, b); }
QX_INLINE_NEON Vector leastOfBytes(Vector a, Vector b) {
    return vectorOf(vminq_u8(bytesOf(a), bytesOf(b)));
}
QX_INLINE_NEON Vector addUnits(Vector a, Vector b) { return a + b; }
QX_INLINE_NEON Vector addBytes(Vector a, Vector b) { return vectorOf(bytesOf(a) + bytesOf(b)); }
QX_INLINE_NEON Vector addBytesSaturated(Vector a, Vector b) {
    return vectorOf(vqaddq_u8(bytesOf(a), bytesOf(b)));
}
QX_INLINE_NEON Vector subtractSaturated(Vector a, Vector b) { return vqsubq_u16(a, b); }
QX_INLINE_NEON Vector subtractSigned(Vector a, Vector b) {
    return vectorOf(vqsubq_s8(signedOf(a), signedOf(b)));
}
QX_INLINE_NEON Vector subtractBytes(Vector a, Vector b) {
    return vectorOf(bytesOf(a) - bytesOf(b));
}
QX_INLINE_NEON Vector subtractBytesSaturated(Vector a, Vector b) {
    return vectorOf(vqsubq_u8(bytesOf(a), bytesOf(b)));
}
QX_INLINE_NEON Vector lessSigned(Vector a, Vector b) {
    return vectorOf(vcltq_s8(signedOf(a), signedOf(b)));
}
/// Set where the byte of @p a is less than that of @p b.
QX_INLINE_NEON Vector less(Vector a, Vector b) {
    return vectorOf(vcltq_u8(bytesOf(a), bytesOf(b)));
}
QX_INLINE_NEON Vector equalBytes(Vector a, Vector b) {
    return vectorOf(vceqq_u8(bytesOf(a), bytesOf(b)));
}
QX_INLINE_NEON Vector equalUnits(Vector a, Vector b) { return vceqq_u16(a, b); }

template <int Bits>
QX_INLINE_NEON Vector shiftLeft(Vector vector) {
    return vshlq_n_u16(vector, Bits);
}

template <int Bits>
QX_INLINE_NEON Vector shiftRight(Vector vector) {
    return vshrq_n_u16(vector, Bits);
}

QX_INLINE_NEON Vector swapBytes(Vector units) { return vectorOf(vrev16q_u8(bytesOf(units))); }

QX_INLINE_NEON Vector select(Vector mask, Vector there, Vector elsewhere) {
    return vbslq_u16(mask, there, elsewhere);
}
QX_INLINE_NEON Vector selectByTopBit(Vector mask, Vector there, Vector elsewhere) {
    return select(vectorOf(vshrq_n_s8(signedOf(mask), 7)), there, elsewhere);
}

template <int Count>
QX_INLINE_NEON Vector moveUp(Vector vector) {
    return vectorOf(vextq_u8(vdupq_n_u8(0), bytesOf(vector), 16 - Count));
}

/// Loads @p size units or bytes, at least one and less than a vector, and zeros behind them.
template <class Unit>
QX_INLINE_NEON Vector loadPart(const Unit* in, size_t size) {
    constexpr size_t Half = 8 / sizeof(Unit);
    constexpr size_t Bits = 8 * sizeof(Unit);
    uint64_t low = 0;
    uint64_t high = 0;
    if (size >= Half) {
        std::memcpy(&low, in, sizeof low);
        std::memcpy(&high, in + size - Half, sizeof high);
        const size_t shift = Bits / 2 * (2 * Half - size); // twice: what low has too, up to 64 bits
        high = high >> shift >> shift;
    } else {
        for (size_t i = size; i > 0; --i)
            low = low << Bits | in[i - 1];
    }
    return vreinterpretq_u16_u64(vcombine_u64(vcreate_u64(low), vcreate_u64(high)));
}

/// Zero-extends 16 bytes to 16 units.
QX_INLINE_NEON void widen(Vector block, char16_t* out) {
    store(vmovl_u8(vget_low_u8(bytesOf(block))), out);
    store(vmovl_high_u8(bytesOf(block)), out + 8);
}

QX_INLINE_NEON Vector narrow(Vector low, Vector high) {
    return vectorOf(vuzp1q_u8(bytesOf(low), bytesOf(high)));
}

QX_INLINE_NEON Vector loadToWiden(const uint8_t* in) { return load(in); }
QX_INLINE_NEON Vector joinLow(Vector low, Vector high) {
    return vectorOf(vzip1q_u8(bytesOf(low), bytesOf(high)));
}
QX_INLINE_NEON Vector joinHigh(Vector low, Vector high) {
    return vectorOf(vzip2q_u8(bytesOf(low), bytesOf(high)));
}
QX_INLINE_NEON Vector joinUnitsLow(Vector first, Vector second) {
    return vzip1q_u16(first, second);
}
QX_INLINE_NEON Vector joinUnitsHigh(Vector first, Vector second) {
    return vzip2q_u16(first, second);
}

QX_INLINE_NEON Vector loadRow(const uint8_t* row) { return load(row); }
QX_INLINE_NEON constexpr Vector nibbleTable(const std::array<uint8_t, 16>& row) {
    const auto unit = [&row](size_t i) {
        return static_cast<uint16_t>(row[2 * i] | row[2 * i + 1] << 8);
    };
    return Vector{unit(0), unit(1), unit(2), unit(3), unit(4), unit(5), unit(6), unit(7)};
}
QX_INLINE_NEON Vector shuffle(Vector row, Vector index) {
    return vectorOf(vqtbl1q_u8(bytesOf(row), bytesOf(index)));
}
QX_INLINE_NEON Vector placeInRow(Vector distance) { return distance; } // from 16 on it answers 0
QX_INLINE_NEON Vector lowNibbles(Vector index) { return index & bytes(0x8F); }

QX_INLINE_NEON Vector gather(const uint8_t* table, const uint16_t* places) {
    const auto at = [&](size_t i) { return table[places[i]]; };
    return vectorOf(uint8x16_t{at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8), at(9),
                               at(10), at(11), at(12), at(13), at(14), at(15)});
}

/// Zero-extends ASCII in steps of 64 bytes; returns the count of bytes it took.
QX_INLINE_NEON size_t widenAsciiBlocks(const uint8_t* in, size_t size, char16_t* out) {
    size_t i = 0;
    for (; size - i >= 64; i += 64) {
        const uint8_t* const from = in + i;
        const Vector blocks[] = {load(from), load(from + 16), load(from + 32), load(from + 48)};
        if (!hasNone(blocks[0] | blocks[1] | blocks[2] | blocks[3], bytes(0x80)))
            break;
        for (size_t k = 0; k < 4; ++k)
            widen(blocks[k], out + i + 16 * k);
    }
    return i;
}

} // namespace qx::text::charset::detail::neon

#define QX_VECTOR_SPACE neon
#define QX_INLINE_VECTOR QX_INLINE_NEON
#include <qx/text/charset/detail/Squeeze.h>
#undef QX_VECTOR_SPACE
#undef QX_INLINE_VECTOR

namespace qx::text::charset::detail::neon {

/// Writes the units of @p low and @p high bytes whose bit in @p kept is set, of the first @p size,
/// 8 or 16; returns their count.
QX_INLINE_NEON unsigned writeKept(Vector low, Vector high, unsigned kept, size_t size,
                                  char16_t* out) {
    squeeze(joinLow(low, high), KeepUnits, kept, out);
    if (size == 8)
        return ones(kept & 0xFF);
    squeeze(joinHigh(low, high), KeepUnits, kept >> 8, out + ones(kept & 0xFF));
    return ones(kept);
}

/// The leads of UTF-8 in a block that begins at a character boundary.
class Leads {
public:
    /// @param before  the byte in front of each
    QX_INLINE_NEON Leads(Vector block, Vector before)
        : m_block(block), m_before(before), m_largest(vmaxvq_u8(bytesOf(block))) {}

    /// Whether there is one of at least three bytes.
    QX_INLINE_NEON bool haveThree() const { return m_largest >= 0xE0; }
    QX_INLINE_NEON bool haveFour() const { return m_largest >= 0xF0; }

    /// Of leads of two bytes: whether there is a continuation behind each and nowhere else.
    QX_INLINE_NEON bool areFollowedBy(Vector isContinuation) const {
        const Vector wrong = equalBytes(less(m_before, bytes(0xC0)), isContinuation);
        return hasNone(wrong, wrong);
    }

    /// Where the character begins that the end of the block cuts off; 16 when there is none.
    QX_INLINE_NEON unsigned end() const {
        // Only in these places are there leads that long.
        constexpr uint8x8_t Longest = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xEF, 0xDF, 0xBF};
        const uint8x8_t longer = vqsub_u8(vget_high_u8(bytesOf(m_block)), Longest);
        const uint64_t places = vget_lane_u64(vreinterpret_u64_u8(longer), 0);
        return 8 + static_cast<unsigned>(std::countr_zero(places)) / 8;
    }

    /// The positions in front of @p end that give a unit.
    QX_INLINE_NEON unsigned kept(unsigned end) const {
        const Vector kept = less(m_block, bytes(0xC0)) & less(m_before, bytes(0xE0));
        return topBits(kept) & ((1u << end) - 1);
    }

private:
    Vector m_block;
    Vector m_before;
    unsigned m_largest;
};

} // namespace qx::text::charset::detail::neon

#endif
