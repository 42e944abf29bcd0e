#include "qx/math/detail/Radix.h"

#include <qx/math/detail/RadixConstants.h>

namespace qx::math::detail {

size_t limbsForDigits(size_t count, int radix) noexcept {
    const RadixConstants& constants = radixConstants(radix);
    if (constants.bitsPerDigit != 0)
        return count / LimbBits * constants.bitsPerDigit +
               (count % LimbBits * constants.bitsPerDigit + LimbBits - 1) / LimbBits;
    // Each chunk is given a limb, which is 1 to 8 % more than needed.
    return (count + constants.digitsPerChunk - 1) / constants.digitsPerChunk;
}

size_t digitsForLimbs(size_t n, int radix) noexcept {
    const RadixConstants& constants = radixConstants(radix);
    if (constants.bitsPerDigit != 0)
        return n * LimbBits / constants.bitsPerDigit + 1;
    // Whole chunks are written before the leading zeros are dropped.
    return chunksForLimbs(n, constants) * constants.digitsPerChunk;
}

} // namespace qx::math::detail
