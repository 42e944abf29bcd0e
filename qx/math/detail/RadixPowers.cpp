#include "qx/math/detail/RadixPowers.h"

#include <bit>

#include <qx/math/detail/NewtonDivide.h>
#include <qx/math/detail/Thresholds.h>

namespace qx::math::detail {

RadixPowers::RadixPowers(size_t chunks, size_t leafChunks, const RadixConstants& constants) noexcept
    : m_constants(constants) {
    while (chunks > leafChunks) {
        chunks = (chunks + 1) / 2;
        m_powers[m_levels++].chunks = chunks;
    }
}

size_t RadixPowers::storage() const noexcept {
    size_t limbs = 0;
    for (size_t level = 0; level < m_levels; ++level)
        limbs += m_powers[level].chunks + 2; // a square of half the chunks, rounded up
    return limbs;
}

void RadixPowers::compute(Limb* storage, ProductScratch& products) {
    const RadixPower* half = nullptr;
    for (size_t level = m_levels; level-- > 0;) {
        RadixPower& power = m_powers[level];
        power.zeros = 0;
        power.shift = 0;
        power.inverse = nullptr;
        power.inverseLength = 0;
        size_t length;
        if (!half) {
            storage[0] = m_constants.chunk;
            length = 1;
            for (size_t i = 1; i < power.chunks; ++i) {
                storage[length] = multiplyLimb(storage, storage, length, m_constants.chunk);
                length = normalizedLength(storage, length + 1);
            }
        } else {
            const bool isOdd = 2 * half->chunks != power.chunks;
            // Zeros that were left out take part in the division by a chunk, which is exact then.
            const size_t zeros = isOdd && half->zeros > 0 ? 1 : 0;
            power.zeros = 2 * half->zeros - zeros;
            storage[0] = 0;
            products.square(storage + zeros, half->limbs, half->length);
            length = normalizedLength(storage, zeros + 2 * half->length);
            if (isOdd) {
                divideLimb(storage, storage, length, m_constants.chunk);
                length = normalizedLength(storage, length);
            }
        }
        for (; storage[0] == 0; ++storage, --length)
            ++power.zeros;
        power.limbs = storage;
        power.length = length;
        storage += length;
        half = &power;
    }
}

// The power of level i divides 2^i parts, so that the first one divides once.

size_t RadixPowers::longestInverse() const noexcept {
    return m_levels > 1 ? m_powers[1].chunks : 0;
}

size_t RadixPowers::inverseStorage() const noexcept {
    size_t limbs = 0;
    for (size_t level = 1; level < m_levels; ++level)
        limbs += m_powers[level].chunks;
    return longestInverse() < PowerInverseThreshold ? 0 : limbs;
}

size_t RadixPowers::inverseScratch() const noexcept {
    return longestInverse() < PowerInverseThreshold ? 0 : invertScratch(longestInverse());
}

void RadixPowers::prepareDivision(Limb* storage, Limb* scratch, ProductScratch& products) {
    for (size_t level = 0; level < m_levels; ++level) {
        RadixPower& power = m_powers[level];
        power.shift = static_cast<unsigned>(std::countl_zero(power.limbs[power.length - 1]));
        if (power.shift != 0)
            shiftLeft(power.limbs, power.limbs, power.length, power.shift);
        if (level == 0 || power.length < PowerInverseThreshold)
            continue;
        // The quotients have as many limbs as the power has chunks, or one or two more.
        const size_t blocks = (power.chunks + power.length - 1) / power.length;
        power.inverseLength = (power.chunks + blocks - 1) / blocks;
        invertDivisor(storage, power.divisor(), scratch, products);
        power.inverse = storage;
        storage += power.inverseLength;
    }
}

} // namespace qx::math::detail
