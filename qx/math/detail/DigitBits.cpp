#include "qx/math/detail/DigitBits.h"

#include <bit>

#include <qx/math/detail/DigitGroups.h>

namespace qx::math::detail {

namespace {

/// Gathers bits into limbs, the least significant first.
class BitWriter {
public:
    explicit BitWriter(Limb* limbs) noexcept : m_limbs(limbs) {}

    /// Appends the low @p bits, of 1 to 63, of a value that has no others.
    void append(Limb value, unsigned bits) noexcept {
        m_limb |= value << m_filled;
        m_filled += bits;
        if (m_filled >= LimbBits) {
            m_limbs[m_count++] = m_limb;
            m_filled -= LimbBits;
            m_limb = value >> (bits - m_filled);
        }
    }
    /// Number of limbs, with the last one filled up.
    size_t finish() noexcept {
        if (m_filled > 0)
            m_limbs[m_count++] = m_limb;
        return m_count;
    }

private:
    Limb* m_limbs;
    size_t m_count = 0;
    Limb m_limb = 0;
    unsigned m_filled = 0;
};

/// 64 bits of a from a bit position on; zeros behind its end.
Limb bitsAt(const Limb* a, size_t n, size_t position) noexcept {
    const size_t index = position / LimbBits;
    const auto shift = static_cast<unsigned>(position % LimbBits);
    if (index >= n)
        return 0;
    const Limb low = a[index] >> shift;
    return shift == 0 || index + 1 == n ? low : low | a[index + 1] << (LimbBits - shift);
}

/// Eight digits of the low bits of value.
Limb spread(Limb value, unsigned bitsPerDigit) noexcept {
    // Each step moves the lower half of every lane behind the upper, where the later digits are.
    const auto halve = [&value](unsigned bits, unsigned lane, Limb lowest) {
        const Limb mask = lowest * ((Limb{1} << bits) - 1);
        value = (value >> bits & mask) | (value & mask) << lane;
    };
    halve(4 * bitsPerDigit, 32, 1);
    halve(2 * bitsPerDigit, 16, 0x0000000100000001);
    halve(bitsPerDigit, 8, 0x0001000100010001);
    return value;
}

} // namespace

size_t fromBitDigits(Limb* r, const uint8_t* digits, size_t count, unsigned bitsPerDigit) noexcept {
    BitWriter writer(r);
    const Limb radix = Limb{1} << bitsPerDigit;
    for (; count >= DigitsPerGroup; count -= DigitsPerGroup)
        writer.append(valueOfGroup(loadGroup(digits + count - DigitsPerGroup), radix),
                      DigitsPerGroup * bitsPerDigit);
    while (count-- > 0)
        writer.append(digits[count], bitsPerDigit);
    return normalizedLength(r, writer.finish());
}

size_t toBitDigits(uint8_t* digits, const Limb* a, size_t n, unsigned bitsPerDigit) noexcept {
    const auto topBits = static_cast<size_t>(std::bit_width(a[n - 1]));
    const size_t count = ((n - 1) * LimbBits + topBits + bitsPerDigit - 1) / bitsPerDigit;
    size_t position = 0;
    size_t left = count;
    for (; left >= DigitsPerGroup; position += DigitsPerGroup * bitsPerDigit) {
        left -= DigitsPerGroup;
        storeGroup(digits + left, spread(bitsAt(a, n, position), bitsPerDigit));
    }
    const Limb mask = (Limb{1} << bitsPerDigit) - 1;
    for (; left > 0; position += bitsPerDigit)
        digits[--left] = static_cast<uint8_t>(bitsAt(a, n, position) & mask);
    return count;
}

} // namespace qx::math::detail
