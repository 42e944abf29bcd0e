#include <qx/math/detail/Radix.h>

#include <algorithm>

#include <qx/math/detail/RadixConstants.h>
#include <qx/math/detail/Scratch.h>

namespace qx::math::detail {

namespace {

/// Scratch on the stack for numbers of up to some 1,200 decimal digits.
constexpr size_t InlineLimbs = 64;

/// Digits are groups of bits: linear.
size_t fromBits(Limb* r, const uint8_t* digits, size_t count, unsigned bitsPerDigit) noexcept {
    size_t n = 0;
    Limb limb = 0;
    unsigned filled = 0;
    for (size_t i = count; i-- > 0;) {
        const Limb digit = digits[i];
        limb |= digit << filled;
        filled += bitsPerDigit;
        if (filled >= LimbBits) {
            r[n++] = limb;
            filled -= LimbBits;
            // The part of the digit that did not fit; all of it did when filled is 0.
            limb = digit >> (bitsPerDigit - filled);
        }
    }
    if (filled > 0)
        r[n++] = limb;
    return normalizedLength(r, n);
}

size_t toBits(uint8_t* digits, const Limb* a, size_t n, unsigned bitsPerDigit) noexcept {
    const auto topBits = static_cast<size_t>(std::bit_width(a[n - 1]));
    const size_t count = ((n - 1) * LimbBits + topBits + bitsPerDigit - 1) / bitsPerDigit;
    const Limb mask = (Limb{1} << bitsPerDigit) - 1;
    size_t limb = 0;
    unsigned bit = 0;
    for (size_t i = count; i-- > 0;) {
        Limb digit = a[limb] >> bit;
        bit += bitsPerDigit;
        if (bit >= LimbBits) {
            bit -= LimbBits;
            ++limb;
            if (bit > 0 && limb < n)
                digit |= a[limb] << (bitsPerDigit - bit);
        }
        digits[i] = static_cast<uint8_t>(digit & mask);
    }
    return count;
}

} // namespace

size_t limbsForDigits(size_t count, int radix) noexcept {
    const DoubleLimb bits = (DoubleLimb{count} * (radixConstants(radix).log2 + 1) >> 32) + 1;
    return static_cast<size_t>((bits + LimbBits - 1) / LimbBits);
}

size_t digitsForLimbs(size_t n, int radix) noexcept {
    const RadixConstants& constants = radixConstants(radix);
    const DoubleLimb bits = DoubleLimb{n} * LimbBits << 32;
    const auto digits = static_cast<size_t>(bits / constants.log2) + 1;
    // Whole chunks are written, then leading zeros are dropped.
    const size_t chunks = (digits + constants.digitsPerChunk - 1) / constants.digitsPerChunk;
    return chunks * constants.digitsPerChunk;
}

size_t fromDigits(Limb* r, const uint8_t* digits, size_t count, int radix) {
    const RadixConstants& constants = radixConstants(radix);
    if (constants.bitsPerDigit != 0)
        return fromBits(r, digits, count, constants.bitsPerDigit);

    size_t n = 0;
    size_t chunkDigits = count % constants.digitsPerChunk;
    for (const uint8_t* const end = digits + count; digits < end;
         chunkDigits = constants.digitsPerChunk) {
        Limb chunk = 0;
        for (const uint8_t* const chunkEnd = digits + chunkDigits; digits < chunkEnd; ++digits)
            chunk = chunk * static_cast<Limb>(radix) + *digits;
        Limb carry = multiplyLimb(r, r, n, constants.chunk);
        carry += addLimb(r, r, n, chunk);
        if (carry != 0)
            r[n++] = carry;
    }
    return n;
}

size_t toDigits(uint8_t* digits, const Limb* a, size_t n, int radix) {
    n = normalizedLength(a, n);
    if (n == 0)
        return 0;
    const RadixConstants& constants = radixConstants(radix);
    if (constants.bitsPerDigit != 0)
        return toBits(digits, a, n, constants.bitsPerDigit);

    Scratch<InlineLimbs> scratch(n);
    Limb* const rest = scratch.take(n);
    std::copy_n(a, n, rest);
    uint8_t* const end = digits + digitsForLimbs(n, radix);
    uint8_t* begin = end;
    while (n > 0) {
        Limb chunk = divideLimb(rest, rest, n, constants.chunk);
        n = normalizedLength(rest, n);
        for (unsigned i = 0; i < constants.digitsPerChunk; ++i) {
            *--begin = static_cast<uint8_t>(chunk % static_cast<Limb>(radix));
            chunk /= static_cast<Limb>(radix);
        }
    }
    while (*begin == 0)
        ++begin;
    std::copy(begin, end, digits);
    return static_cast<size_t>(end - begin);
}

} // namespace qx::math::detail
