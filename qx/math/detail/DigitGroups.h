#pragma once

#include <qx/math/detail/RadixConstants.h>
#include <qx/platform/detail/ByteOrder.h>

/// Runs of digits, the most significant first, to and from the value of a limb. Eight digits are
/// the bytes of a limb and are joined in pairs, then fours, then all.
namespace qx::math::detail {

constexpr unsigned DigitsPerGroup = 8;

/// The bytes of eight digits with the first one lowest.
inline Limb loadGroup(const uint8_t* digits) noexcept {
    return platform::loadOrdered<Limb, std::endian::little>(digits);
}

inline void storeGroup(uint8_t* digits, Limb group) noexcept {
    platform::storeOrdered<std::endian::little>(group, digits);
}

/// The value of a group in a radix of at most 36, for which four digits fit into 32 bits.
inline Limb valueOfGroup(Limb group, Limb radix) noexcept {
    constexpr Limb Bytes = 0x00FF00FF00FF00FF;
    constexpr Limb Pairs = 0x0000FFFF0000FFFF;
    constexpr Limb Fours = 0x00000000FFFFFFFF;
    const Limb square = radix * radix;
    const Limb pairs = (group & Bytes) * radix + (group >> 8 & Bytes);
    const Limb fours = (pairs & Pairs) * square + (pairs >> 16 & Pairs);
    return (fours & Fours) * (square * square) + (fours >> 32);
}

/// The value of up to a chunk of digits.
inline Limb valueOfDigits(const uint8_t* digits, size_t count, Limb radix) noexcept {
    const Limb square = radix * radix;
    const Limb fourth = square * square;
    Limb value = 0;
    for (; count >= DigitsPerGroup; count -= DigitsPerGroup, digits += DigitsPerGroup)
        value = value * (fourth * fourth) + valueOfGroup(loadGroup(digits), radix);
    for (; count > 0; --count, ++digits)
        value = value * radix + *digits;
    return value;
}

/// Eight decimal digits of value < 10^8, in lanes of 32, then 16, then 8 bits. The factors are
/// reciprocals that are exact for the values of a lane.
inline Limb decimalGroup(Limb value) noexcept {
    const Limb fours = value / 10000 | value % 10000 << 32;
    const Limb hundreds = fours * 10486 >> 20 & 0x0000007F0000007F;
    const Limb pairs = hundreds | (fours - 100 * hundreds) << 16;
    const Limb tens = pairs * 103 >> 10 & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8;
}

/// Writes 19 decimal digits.
inline void writeDecimalChunk(uint8_t* digits, Limb value) noexcept {
    constexpr Limb Group = 100'000'000;
    const Limb upper = value / Group;
    const Limb top = upper / Group; // of three digits
    digits[0] = static_cast<uint8_t>(top / 100);
    digits[1] = static_cast<uint8_t>(top / 10 % 10);
    digits[2] = static_cast<uint8_t>(top % 10);
    storeGroup(digits + 3, decimalGroup(upper - top * Group));
    storeGroup(digits + 11, decimalGroup(value - upper * Group));
}

/// Writes a chunk of digits, leading zeros among them.
inline void writeChunk(uint8_t* digits, Limb value, const RadixConstants& constants) noexcept {
    if (constants.radix == 10)
        return writeDecimalChunk(digits, value);
    for (unsigned i = constants.digitsPerChunk; i-- > 0; value /= constants.radix)
        digits[i] = static_cast<uint8_t>(value % constants.radix);
}

} // namespace qx::math::detail
