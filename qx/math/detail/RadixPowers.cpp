#include <qx/math/detail/RadixPowers.h>

#include <bit>

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

void RadixPowers::normalize() noexcept {
    for (size_t level = 0; level < m_levels; ++level) {
        RadixPower& power = m_powers[level];
        power.shift = static_cast<unsigned>(std::countl_zero(power.limbs[power.length - 1]));
        if (power.shift != 0)
            shiftLeft(power.limbs, power.limbs, power.length, power.shift);
    }
}

} // namespace qx::math::detail
