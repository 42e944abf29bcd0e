#include "qx/math/detail/Radix.h"

#include <algorithm>
#include <array>

#include <qx/math/detail/DigitBits.h>
#include <qx/math/detail/DigitGroups.h>
#include <qx/math/detail/NewtonDivide.h>
#include <qx/math/detail/RadixPowers.h>
#include <qx/math/detail/Scratch.h>
#include <qx/math/detail/Thresholds.h>

namespace qx::math::detail {

namespace {

/// Scratch on the stack: enough for some 1,000 decimal digits.
constexpr size_t InlineLimbs = 256;

/// Divides a by a chunk @p Times times, with the remainders in order. Every division follows the
/// one before at a distance of one limb, so that the processor works on all of them at once, which
/// hides most of their latency.
template <size_t Times, bool IsShifted>
std::array<Limb, Times> divideByChunk(Limb* a, size_t n, const RadixConstants& constants) noexcept {
    const unsigned shift = IsShifted ? constants.chunkShift : 0;
    const Limb divisor = constants.chunk << shift;
    const Limb inverse = constants.chunkInverse;
    std::array<Limb, Times> remainders{};
    while (n-- > 0) {
        Limb limb = a[n];
        for (Limb& remainder : remainders) {
            if constexpr (IsShifted)
                remainder |= limb >> (LimbBits - shift);
            limb = divideTwo(remainder, limb << shift, divisor, inverse);
        }
        a[n] = limb;
    }
    for (Limb& remainder : remainders)
        remainder >>= shift;
    return remainders;
}

/// Writes @p chunks chunks of digits of a, which is normalized: quadratic. a is lost.
template <bool IsShifted>
void writeChunks(uint8_t* digits, size_t chunks, Limb* a, size_t n,
                 const RadixConstants& constants) noexcept {
    // As many divisions as the registers hold.
    constexpr size_t Times = 3;
    uint8_t* next = digits + chunks * constants.digitsPerChunk;
    const auto write = [&](Limb chunk) {
        next -= constants.digitsPerChunk;
        writeChunk(next, chunk, constants);
    };
    for (; n > 1 && chunks >= Times; chunks -= Times) {
        for (const Limb chunk : divideByChunk<Times, IsShifted>(a, n, constants))
            write(chunk);
        n = normalizedLength(a, n);
    }
    for (; n > 0; n = normalizedLength(a, n))
        write(divideByChunk<1, IsShifted>(a, n, constants)[0]);
    std::fill(digits, next, uint8_t{0});
}

void writeLeaf(uint8_t* digits, size_t chunks, Limb* a, size_t n,
               const RadixConstants& constants) noexcept {
    if (constants.chunkShift == 0)
        writeChunks<false>(digits, chunks, a, n, constants);
    else
        writeChunks<true>(digits, chunks, a, n, constants);
}

/// Cuts a number in two by a division by a power of the radix, and the parts again.
class DigitWriter {
public:
    DigitWriter(const RadixConstants& constants, const RadixPowers& powers,
                ProductScratch& products) noexcept
        : m_constants(constants), m_powers(powers), m_products(products) {}

    /// Limbs of scratch for write.
    static size_t scratch(const RadixPowers& powers) noexcept {
        const size_t longest = powers[0].chunks;
        const size_t next = longest / 2 + 1;
        size_t limbs = std::max(divideScratch(longest + QuotientSlack, longest),
                                divideByInverseScratch(next, next));
        for (size_t level = 0; level < powers.levels(); ++level)
            limbs += powers[level].chunks + QuotientSlack;
        return limbs;
    }

    /// Writes @p chunks chunks of digits of a, which is normalized. a is lost and has room for a
    /// limb more.
    /// @param level the first at which a may be cut
    void write(uint8_t* digits, size_t chunks, Limb* a, size_t n, size_t level,
               Limb* scratch) const {
        if (level == m_powers.levels())
            return writeLeaf(digits, chunks, a, n, m_constants);
        const RadixPower& power = m_powers[level];
        if (chunks <= power.chunks)
            return write(digits, chunks, a, n, level + 1, scratch);

        const size_t highChunks = chunks - power.chunks;
        uint8_t* const lowDigits = digits + highChunks * m_constants.digitsPerChunk;
        if (n < power.zeros + power.length) {
            std::fill(digits, lowDigits, uint8_t{0});
            return write(lowDigits, power.chunks, a, n, level + 1, scratch);
        }
        // The zero limbs of the power leave these limbs of a as they are.
        Limb* const dividend = a + power.zeros;
        n -= power.zeros;
        dividend[n] = power.shift == 0 ? 0 : shiftLeft(dividend, dividend, n, power.shift);
        ++n;
        Limb* const quotient = scratch;
        const size_t quotientLength = n - power.length;
        scratch += quotientLength + 1;
        divideNormalized(quotient, dividend, n, power.divisor(), scratch, m_products);
        if (power.shift != 0)
            shiftRight(dividend, dividend, power.length, power.shift);
        write(digits, highChunks, quotient, normalizedLength(quotient, quotientLength), level + 1,
              scratch);
        write(lowDigits, power.chunks, a, normalizedLength(a, power.zeros + power.length),
              level + 1, scratch);
    }

private:
    /// A part has as many limbs as chunks at most. Its quotient has those of the upper chunks, up
    /// to two for the cuts inside of limbs, one from the shift, and room for one more.
    static constexpr size_t QuotientSlack = 4;

    const RadixConstants& m_constants;
    const RadixPowers& m_powers;
    ProductScratch& m_products;
};

/// For a that is normalized and too long for a single leaf.
void writeByPowers(uint8_t* digits, size_t chunks, const Limb* a, size_t n,
                   const RadixConstants& constants) {
    RadixPowers powers(chunks, WriteLeafChunks, constants);
    const size_t sharedScratch = std::max(powers.inverseScratch(), DigitWriter::scratch(powers));
    Scratch<InlineLimbs> scratch(n + 1 + powers.storage() + powers.inverseStorage() +
                                 sharedScratch);
    ProductScratch products;
    Limb* const shared = scratch.take(sharedScratch);
    powers.compute(scratch.take(powers.storage()), products);
    powers.prepareDivision(scratch.take(powers.inverseStorage()), shared, products);
    Limb* const number = scratch.take(n + 1);
    std::copy_n(a, n, number);
    DigitWriter(constants, powers, products).write(digits, chunks, number, n, 0, shared);
}

} // namespace

size_t toDigits(uint8_t* digits, const Limb* a, size_t n, int radix) {
    n = normalizedLength(a, n);
    if (n == 0)
        return 0;
    const RadixConstants& constants = radixConstants(radix);
    if (constants.bitsPerDigit != 0)
        return toBitDigits(digits, a, n, constants.bitsPerDigit);

    const size_t chunks = chunksForLimbs(n, constants);
    if (chunks <= WriteLeafChunks) {
        Limb number[WriteLeafChunks]; // a chunk is less than a limb
        std::copy_n(a, n, number);
        writeLeaf(digits, chunks, number, n, constants);
    } else {
        writeByPowers(digits, chunks, a, n, constants);
    }
    uint8_t* const end = digits + chunks * constants.digitsPerChunk;
    uint8_t* const first = std::find_if(digits, end, [](uint8_t digit) { return digit != 0; });
    std::copy(first, end, digits);
    return static_cast<size_t>(end - first);
}

} // namespace qx::math::detail
