#pragma once

#include <array>
#include <bit>
#include <cstddef>

#include <qx/math/detail/Limbs.h>
#include <qx/math/detail/Reciprocal.h>

namespace qx::math::detail {

/// What the conversions know of a radix. A chunk is as many digits as surely fit into a limb.
struct RadixConstants {
    Limb radix = 0;
    /// Bits of a digit where the radix is a power of two, else 0.
    unsigned bitsPerDigit = 0;
    unsigned digitsPerChunk = 0;
    /// radix^digitsPerChunk, less than 2^64.
    Limb chunk = 0;
    /// Leading zeros of chunk, and the reciprocal of chunk without them.
    unsigned chunkShift = 0;
    Limb chunkInverse = 0;
    /// log2 of the radix in units of 2^-32, rounded down.
    uint64_t log2 = 0;
};

/// log2(value) in units of 2^-32, rounded down: squaring doubles the logarithm, bit by bit.
constexpr uint64_t fixedLog2(Limb value) {
    const auto whole = static_cast<unsigned>(std::bit_width(value)) - 1;
    // 1 <= mantissa < 2 in units of 2^-63; what is cut off only makes the result smaller.
    Limb mantissa = value << (LimbBits - 1 - whole);
    uint64_t log2 = whole;
    for (int i = 0; i < 32; ++i) {
        const DoubleLimb square = DoubleLimb{mantissa} * mantissa;
        const auto bit = static_cast<unsigned>(square >> (2 * LimbBits - 1));
        log2 = log2 << 1 | bit;
        mantissa = static_cast<Limb>(square >> (LimbBits - 1 + bit));
    }
    return log2;
}

/// By radix.
inline constexpr auto RadixTable = [] {
    std::array<RadixConstants, 37> table{};
    for (unsigned radix = 2; radix < table.size(); ++radix) {
        RadixConstants& constants = table[radix];
        constants.radix = radix;
        constants.log2 = fixedLog2(radix);
        if (std::has_single_bit(radix))
            constants.bitsPerDigit = static_cast<unsigned>(std::countr_zero(radix));
        DoubleLimb power = 1;
        for (; power * radix >> LimbBits == 0; power *= radix)
            ++constants.digitsPerChunk;
        constants.chunk = static_cast<Limb>(power);
        constants.chunkShift = static_cast<unsigned>(std::countl_zero(constants.chunk));
        constants.chunkInverse = reciprocal(constants.chunk << constants.chunkShift);
    }
    return table;
}();

inline const RadixConstants& radixConstants(int radix) noexcept {
    return RadixTable[static_cast<size_t>(radix)];
}

/// Chunks that @p limbs limbs may take.
inline size_t chunksForLimbs(size_t limbs, const RadixConstants& constants) noexcept {
    const DoubleLimb bits = DoubleLimb{limbs} * LimbBits << 32;
    return static_cast<size_t>(bits / (constants.digitsPerChunk * constants.log2)) + 1;
}

} // namespace qx::math::detail
