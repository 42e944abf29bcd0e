#include "qx/math/detail/ModPow.h"

#include <algorithm>
#include <bit>

#include <qx/math/detail/Scratch.h>
#include <qx/math/detail/ntt/Residues.h>

namespace qx::math::detail {

namespace {

constexpr size_t InlineLimbs = 512;

/// Bits of an exponent, bit 0 the lowest.
class ExponentBits {
public:
    ExponentBits(const Limb* exponent, size_t n)
        : m_exponent(exponent),
          m_count(n == 0 ? 0
                         : n * LimbBits - static_cast<size_t>(std::countl_zero(exponent[n - 1]))) {}

    size_t count() const { return m_count; }
    bool operator[](size_t i) const {
        return (m_exponent[i / LimbBits] >> (i % LimbBits) & 1) != 0;
    }

private:
    const Limb* m_exponent;
    size_t m_count;
};

/// Width of the window that takes the fewest products: each bit more doubles the table of odd
/// powers and spares bits / (w * (w + 1)) products.
unsigned windowWidth(size_t bits) {
    unsigned width = 1;
    while (width < 10 && bits > (size_t{width} * (width + 1)) << (width - 1))
        ++width;
    return width;
}

size_t tableLength(unsigned width) { return size_t{1} << (width - 1); }

/// r = base^exponent by sliding windows over the exponent from its highest bit, which is set. The
/// table holds the odd powers of base, of which the first is there.
template <class Residues>
void raise(const Residues& residues, Limb* r, Limb* table, unsigned width, const ExponentBits& bits,
           Limb* scratch) {
    const size_t n = residues.length();
    if (width > 1) {
        residues.multiply(r, table, table, scratch);
        for (size_t i = 1; i < tableLength(width); ++i)
            residues.multiply(table + i * n, table + (i - 1) * n, r, scratch);
    }
    bool isFirst = true;
    for (size_t at = bits.count(); at > 0;) {
        if (!bits[at - 1]) {
            residues.multiply(r, r, r, scratch);
            --at;
            continue;
        }
        // A window begins and ends with a set bit.
        size_t end = at > width ? at - width : 0;
        while (!bits[end])
            ++end;
        size_t power = 0;
        for (; at > end; --at) {
            power = 2 * power + bits[at - 1];
            if (!isFirst)
                residues.multiply(r, r, r, scratch);
        }
        const Limb* const factor = table + power / 2 * n;
        if (isFirst)
            std::copy_n(factor, n, r);
        else
            residues.multiply(r, r, factor, scratch);
        isFirst = false;
    }
    residues.leave(r, scratch);
}

} // namespace

void modPow(Limb* r, const Limb* base, size_t bn, const Limb* exponent, size_t en, const Limb* m,
            size_t mn) {
    bn = normalizedLength(base, bn);
    const ExponentBits bits(exponent, normalizedLength(exponent, en));
    std::fill_n(r, mn, 0);
    if (mn == 1 && m[0] == 1)
        return;
    if (bits.count() == 0) {
        r[0] = 1;
        return;
    }
    const unsigned width = windowWidth(bits.count());
    const size_t tableLimbs = tableLength(width) * mn;
    if (m[0] % 2 != 0) {
        const size_t scratchLimbs = MontgomeryResidues::scratchLimbs(mn);
        const size_t inverseLimbs = MontgomeryResidues::inverseLimbs(mn);
        Scratch<InlineLimbs> scratch(tableLimbs + scratchLimbs + inverseLimbs);
        Limb* const table = scratch.take(tableLimbs);
        Limb* const working = scratch.take(scratchLimbs);
        const MontgomeryResidues residues(m, mn, scratch.take(inverseLimbs), working);
        residues.enter(table, base, bn);
        raise(residues, r, table, width, bits, working);
    } else {
        const DividedResidues residues(m, mn);
        const size_t scratchLimbs = residues.scratchLimbs();
        Scratch<InlineLimbs> scratch(tableLimbs + scratchLimbs);
        Limb* const table = scratch.take(tableLimbs);
        residues.enter(table, base, bn);
        raise(residues, r, table, width, bits, scratch.take(scratchLimbs));
    }
}

} // namespace qx::math::detail
