#include <qx/math/detail/ModPow.h>

#include <algorithm>
#include <bit>
#include <vector>

#include <qx/math/detail/Multiply.h>

namespace qx::math::detail {

namespace {

/// Residues modulo one number, reduced bit by bit.
class Residues {
public:
    Residues(const Limb* m, size_t mn) : m_modulus(m), m_length(mn), m_product(2 * mn) {}

    /// r[mn] = a[n] mod m.
    void reduce(Limb* r, const Limb* a, size_t n) const {
        std::fill(r, r + m_length, 0);
        for (size_t i = n; i-- > 0;) {
            for (unsigned bit = LimbBits; bit-- > 0;) {
                const Limb out = shiftLeft(r, r, m_length, 1);
                r[0] |= a[i] >> bit & 1;
                if (out != 0 || compare(r, m_modulus, m_length) >= 0)
                    subtract(r, r, m_modulus, m_length);
            }
        }
    }

    /// r = r * a mod m.
    void multiplyBy(Limb* r, const Limb* a) {
        multiply(m_product.data(), r, m_length, a, m_length);
        reduce(r, m_product.data(), m_product.size());
    }

private:
    const Limb* m_modulus;
    size_t m_length;
    std::vector<Limb> m_product;
};

} // namespace

void modPow(Limb* r, const Limb* base, size_t bn, const Limb* exponent, size_t en, const Limb* m,
            size_t mn) {
    Residues residues(m, mn);
    std::vector<Limb> power(mn);
    residues.reduce(power.data(), base, bn);
    const Limb one = 1;
    residues.reduce(r, &one, 1);
    for (size_t i = normalizedLength(exponent, en); i-- > 0;) {
        for (unsigned bit = LimbBits; bit-- > 0;) {
            residues.multiplyBy(r, r);
            if ((exponent[i] >> bit & 1) != 0)
                residues.multiplyBy(r, power.data());
        }
    }
}

} // namespace qx::math::detail
