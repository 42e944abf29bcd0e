#define QX_NTT_CODE
#define QX_NTT_INLINE inline
#define QX_NTT_LAMBDA

#include <qx/math/detail/ntt/NttProduct.h>

namespace qx::math::detail {

namespace {

/// Residues as signed integers, one at a time, multiplied by Montgomery's reduction: a product
/// comes out divided by 2^64, which factors known ahead make good.
class PlainField {
public:
    using Element = int64_t;
    using Vector = int64_t;
    using Twiddle = int64_t; ///< w * 2^64 mod p
    static constexpr size_t Width = 1;

    explicit PlainField(size_t prime)
        : m_prime(prime), m_p(static_cast<int64_t>(NttPrimes[prime])) {
        // Newton's iteration doubles the correct low bits of the inverse.
        m_inverse = NttPrimes[prime];
        for (int i = 0; i < 5; ++i)
            m_inverse *= 2 - NttPrimes[prime] * m_inverse;
        m_radix = static_cast<uint64_t>((DoubleLimb{1} << LimbBits) % NttPrimes[prime]);
        m_radixSquared = static_cast<int64_t>(multiplyModulo(m_radix, m_radix, NttPrimes[prime]));
        m_two32 = twiddle(uint64_t{1} << 32);
    }

    uint64_t modulus() const { return NttPrimes[m_prime]; }
    const NttRoots& roots() const { return NttRootsOfUnity[m_prime]; }
    uint64_t root(size_t log2Order) const { return roots().roots[log2Order]; }

    int64_t element(uint64_t residue) const { return twiddle(residue); }
    int64_t broadcast(int64_t w) const { return w; }
    int64_t twiddle(uint64_t residue) const {
        return multiply(static_cast<int64_t>(residue), m_radixSquared);
    }

    /// Makes good the division in the product of two elements, too.
    int64_t productTwiddle(uint64_t residue) const {
        return multiply(twiddle(residue), m_radixSquared);
    }

    static int64_t load(const int64_t* x) { return *x; }
    static void store(int64_t* x, int64_t v) { *x = v; }
    static int64_t add(int64_t a, int64_t b) { return a + b; }
    static int64_t subtract(int64_t a, int64_t b) { return a - b; }

    /// a * b / 2^64 modulo p, in (-p, p).
    int64_t multiply(int64_t a, int64_t b) const {
        __extension__ typedef __int128 Product;
        const Product product = Product{a} * b;
        const auto quotient = static_cast<int64_t>(static_cast<uint64_t>(product) * m_inverse);
        return static_cast<int64_t>(product >> 64) -
               static_cast<int64_t>(Product{quotient} * m_p >> 64);
    }
    int64_t reduce(int64_t a) const { return multiply(a, static_cast<int64_t>(m_radix)); }
    int64_t canonical(int64_t a) const {
        const int64_t r = reduce(a);
        return r < 0 ? r + m_p : r;
    }

    int64_t fromLimbs(const Limb* limb) const {
        return multiply(static_cast<int64_t>(*limb >> 32), m_two32) +
               static_cast<int64_t>(*limb & 0xFFFFFFFF);
    }
    static void storeInteger(uint64_t* out, int64_t canonical) {
        *out = static_cast<uint64_t>(canonical);
    }

private:
    size_t m_prime;
    int64_t m_p;
    uint64_t m_inverse; ///< of p modulo 2^64
    uint64_t m_radix;   ///< 2^64 mod p
    int64_t m_radixSquared;
    int64_t m_two32;
};

} // namespace

void nttMultiplyPlain(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                      const NttPlan& plan, Limb* scratch) {
    NttProduct<PlainField>::multiply(r, a, an, b, bn, plan, scratch);
}

} // namespace qx::math::detail
