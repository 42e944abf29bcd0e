#include "qx/math/detail/Radix.h"

#include <algorithm>

#include <qx/math/detail/DigitBits.h>
#include <qx/math/detail/DigitGroups.h>
#include <qx/math/detail/RadixPowers.h>
#include <qx/math/detail/Scratch.h>
#include <qx/math/detail/Thresholds.h>

namespace qx::math::detail {

namespace {

/// Scratch on the stack: enough for some 2,000 decimal digits.
constexpr size_t InlineLimbs = 256;

/// r = r * chunk + digits; returns the limb above.
Limb append(Limb* r, size_t n, Limb chunk, Limb digits) noexcept {
    // Up to here a call costs more than it saves.
    constexpr size_t InlineLength = 10;
    if (n > InlineLength) {
        const Limb top = multiplyLimb(r, r, n, chunk);
        return top + addLimb(r, r, n, digits);
    }
    for (size_t i = 0; i < n; ++i) {
        const DoubleLimb product = DoubleLimb{r[i]} * chunk + digits;
        r[i] = static_cast<Limb>(product);
        digits = static_cast<Limb>(product >> LimbBits);
    }
    return digits;
}

/// Appends chunk by chunk: quadratic. Returns the normalized length.
size_t readChunks(Limb* r, const uint8_t* digits, size_t count,
                  const RadixConstants& constants) noexcept {
    size_t n = 0;
    size_t chunkDigits = (count - 1) % constants.digitsPerChunk + 1;
    for (const uint8_t* const end = digits + count; digits < end;
         digits += chunkDigits, chunkDigits = constants.digitsPerChunk) {
        r[n] = append(r, n, constants.chunk, valueOfDigits(digits, chunkDigits, constants.radix));
        n += r[n] != 0;
    }
    return n;
}

/// Reads the two halves of the digits and joins them by a multiplication by a power of the radix.
class DigitReader {
public:
    DigitReader(const RadixConstants& constants, const RadixPowers& powers,
                ProductScratch& products) noexcept
        : m_constants(constants), m_powers(powers), m_products(products) {}

    /// @param level the first at which the digits may be cut
    /// @param scratch as much as the powers from that level on
    size_t read(Limb* r, const uint8_t* digits, size_t count, size_t level, Limb* scratch) const {
        if (level == m_powers.levels())
            return readChunks(r, digits, count, m_constants);
        const RadixPower& power = m_powers[level];
        const size_t lowCount = power.chunks * m_constants.digitsPerChunk;
        if (count <= lowCount)
            return read(r, digits, count, level + 1, scratch);

        Limb* const part = scratch;
        scratch += power.chunks;
        const size_t highCount = count - lowCount;
        const size_t highLength = read(part, digits, highCount, level + 1, scratch);
        digits += highCount;
        if (highLength == 0)
            return read(r, digits, lowCount, level + 1, scratch);
        std::fill_n(r, power.zeros, Limb{0});
        m_products.multiply(r + power.zeros, part, highLength, power.limbs, power.length);
        const size_t n = normalizedLength(r, power.zeros + highLength + power.length);
        const size_t lowLength = read(part, digits, lowCount, level + 1, scratch);
        const Limb carry = add(r, r, part, lowLength);
        if (addLimb(r + lowLength, r + lowLength, n - lowLength, carry) == 0)
            return n;
        r[n] = 1; // the sum needs it, so there is room for it
        return n + 1;
    }

private:
    const RadixConstants& m_constants;
    const RadixPowers& m_powers;
    ProductScratch& m_products;
};

} // namespace

size_t fromDigits(Limb* r, const uint8_t* digits, size_t count, int radix) {
    if (count == 0)
        return 0;
    const RadixConstants& constants = radixConstants(radix);
    if (constants.bitsPerDigit != 0)
        return fromBitDigits(r, digits, count, constants.bitsPerDigit);
    const size_t chunks = (count + constants.digitsPerChunk - 1) / constants.digitsPerChunk;
    if (chunks <= ReadPlainChunks)
        return readChunks(r, digits, count, constants);
    RadixPowers powers(chunks, ReadLeafChunks, constants);
    const size_t storage = powers.storage();
    Scratch<InlineLimbs> scratch(2 * storage);
    ProductScratch products;
    powers.compute(scratch.take(storage), products);
    return DigitReader(constants, powers, products)
        .read(r, digits, count, 0, scratch.take(storage));
}

} // namespace qx::math::detail
