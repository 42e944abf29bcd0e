#pragma once

#include <qx/math/detail/ntt/NttProduct.h>

namespace qx::math::detail {
namespace {

/// Residues as doubles, four at a time. A product of two is held exactly as its rounded value and
/// the error of that, which a fused multiplication yields; the multiple of p to subtract is the
/// quotient rounded to the nearest integer.
///
/// @tparam Doubles  four doubles and the operations on them with the instructions of one processor
template <class Doubles>
class DoubleField : public Doubles {
public:
    using Element = double;
    using Vector = typename Doubles::Vector;
    static constexpr size_t Width = 4;

    struct Twiddle {
        Vector w;
        Vector quotient; ///< w / p, rounded
    };

    QX_NTT_INLINE explicit DoubleField(size_t prime)
        : m_prime(prime), m_p(Doubles::repeated(static_cast<double>(NttPrimes[prime]))),
          m_inverse(Doubles::repeated(1.0 / static_cast<double>(NttPrimes[prime]))) {}

    QX_NTT_INLINE uint64_t modulus() const { return NttPrimes[m_prime]; }
    QX_NTT_INLINE const NttRoots& roots() const { return NttRootsOfUnity[m_prime]; }
    QX_NTT_INLINE uint64_t root(size_t log2Order) const { return roots().roots[log2Order]; }
    QX_NTT_INLINE double element(uint64_t residue) const {
        const auto value = static_cast<int64_t>(residue);
        const auto p = static_cast<int64_t>(modulus());
        return static_cast<double>(value > p / 2 ? value - p : value);
    }
    QX_NTT_INLINE Twiddle vectorTwiddle(Vector w) const {
        return {w, Doubles::product(w, m_inverse)};
    }
    QX_NTT_INLINE Twiddle broadcast(double w) const { return vectorTwiddle(Doubles::repeated(w)); }
    QX_NTT_INLINE Twiddle twiddle(uint64_t residue) const { return broadcast(element(residue)); }
    QX_NTT_INLINE Twiddle productTwiddle(uint64_t residue) const { return twiddle(residue); }

    QX_NTT_INLINE Vector multiply(Vector a, const Twiddle& b) const {
        return remainder(a, b.w, Doubles::product(a, b.quotient));
    }
    QX_NTT_INLINE Vector multiply(Vector a, Vector b) const {
        return remainder(a, b, Doubles::product(Doubles::product(a, b), m_inverse));
    }
    QX_NTT_INLINE Vector reduce(Vector a) const {
        return Doubles::lessProduct(a, Doubles::rounded(Doubles::product(a, m_inverse)), m_p);
    }
    /// In [0, p).
    QX_NTT_INLINE Vector canonical(Vector a) const {
        return Doubles::addToNegative(reduce(a), m_p);
    }

    QX_NTT_INLINE Vector fromLimbs(const Limb* limbs) const {
        return Doubles::add(reduce(Doubles::fromUpperHalves(limbs)),
                            Doubles::fromLowerHalves(limbs));
    }

    // The roots of a leaf's blocks, or mirrored in reverse: one for each of four nodes, or those of
    // the even or odd of eight, which mirrored are the odd or even ones from the end.
    template <bool IsMirrored>
    QX_NTT_INLINE Twiddle each(const double* roots) const {
        return vectorTwiddle(Doubles::template inOrder<IsMirrored>(Doubles::load(roots)));
    }
    template <bool IsMirrored>
    QX_NTT_INLINE Twiddle evens(const double* roots) const {
        const Vector low = Doubles::load(roots), high = Doubles::load(roots + 4);
        return vectorTwiddle(IsMirrored ? Doubles::reversedOdds(low, high)
                                        : Doubles::evens(low, high));
    }
    template <bool IsMirrored>
    QX_NTT_INLINE Twiddle odds(const double* roots) const {
        const Vector low = Doubles::load(roots), high = Doubles::load(roots + 4);
        return vectorTwiddle(IsMirrored ? Doubles::reversedEvens(low, high)
                                        : Doubles::odds(low, high));
    }

private:
    QX_NTT_INLINE Vector remainder(Vector a, Vector b, Vector quotient) const {
        const Vector high = Doubles::product(a, b);
        return Doubles::addError(Doubles::lessProduct(high, Doubles::rounded(quotient), m_p), a, b,
                                 high);
    }

    size_t m_prime;
    Vector m_p;
    Vector m_inverse; ///< 1 / p, rounded
};

} // namespace
} // namespace qx::math::detail
