#pragma once

#include <array>
#include <cstddef>

#include <qx/math/detail/DivideNormalized.h>
#include <qx/math/detail/RadixConstants.h>

namespace qx::math::detail {

/// A power of a chunk as limbs * 2^(64 * zeros - shift): an even radix gives it many zero limbs at
/// the end, which are left out.
struct RadixPower {
    Limb* limbs;
    size_t length;
    size_t zeros;
    unsigned shift;
    /// The exponent: the number of chunks below the power.
    size_t chunks;
    /// For NormalizedDivisor; null where division does without.
    const Limb* inverse;
    size_t inverseLength;

    NormalizedDivisor divisor() const noexcept {
        NormalizedDivisor divisor(limbs, length);
        divisor.inverse = inverse;
        divisor.inverseLength = inverseLength;
        return divisor;
    }
};

/// The powers at which a number of many chunks is cut in halves, the halves again, and so on down
/// to leaves: level i cuts at half the chunks of level i - 1, rounded up. The powers cost about as
/// much as one squaring of the largest.
class RadixPowers {
public:
    /// Levels until a part has at most @p leafChunks chunks, which are at least 2; none when it has
    /// from the start.
    RadixPowers(size_t chunks, size_t leafChunks, const RadixConstants& constants) noexcept;

    size_t levels() const noexcept { return m_levels; }
    const RadixPower& operator[](size_t level) const noexcept { return m_powers[level]; }

    /// Limbs of storage for the powers.
    size_t storage() const noexcept;
    /// Computes the powers into @p storage, with a shift of 0.
    /// @throws std::bad_alloc
    void compute(Limb* storage, ProductScratch& products);

    /// Limbs of storage and of scratch for prepareDivision.
    size_t inverseStorage() const noexcept;
    size_t inverseScratch() const noexcept;
    /// Makes divisors of the powers: shifts them so that their top bits are set, and computes the
    /// reciprocals of those that are long and used more than once.
    /// @throws std::bad_alloc
    void prepareDivision(Limb* storage, Limb* scratch, ProductScratch& products);

private:
    /// Length of the longest reciprocal, that of level 1.
    size_t longestInverse() const noexcept;

    const RadixConstants& m_constants;
    size_t m_levels = 0;
    // Each level halves, so that these are as many as any memory holds; only those of m_levels have
    // values.
    std::array<RadixPower, 40> m_powers;
};

} // namespace qx::math::detail
