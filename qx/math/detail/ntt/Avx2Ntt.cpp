#if defined(__x86_64__)

#include <immintrin.h>

#define QX_NTT_CODE __attribute__((target("avx2,fma,bmi2")))
#define QX_NTT_INLINE QX_NTT_CODE __attribute__((always_inline)) inline
#define QX_NTT_LAMBDA QX_NTT_CODE __attribute__((always_inline))

#include <qx/math/detail/ntt/NttProduct.h>

namespace qx::math::detail {

namespace {

/// Residues as doubles, four at a time. A product of two is held exactly as its rounded value and
/// the error of that, which a fused multiplication yields; the multiple of p to subtract is the
/// quotient rounded to the nearest integer.
class Avx2Field {
public:
    using Element = double;
    using Vector = __m256d;
    static constexpr size_t Width = 4;

    struct Twiddle {
        Vector w;
        Vector quotient; ///< w / p, rounded
    };

    QX_NTT_INLINE explicit Avx2Field(size_t prime)
        : m_prime(prime), m_p(_mm256_set1_pd(static_cast<double>(NttPrimes[prime]))),
          m_inverse(_mm256_set1_pd(1.0 / static_cast<double>(NttPrimes[prime]))) {}

    QX_NTT_INLINE uint64_t modulus() const { return NttPrimes[m_prime]; }
    QX_NTT_INLINE const NttRoots& roots() const { return NttRootsOfUnity[m_prime]; }
    QX_NTT_INLINE uint64_t root(size_t log2Order) const { return roots().roots[log2Order]; }
    QX_NTT_INLINE double element(uint64_t residue) const {
        const auto value = static_cast<int64_t>(residue);
        const auto p = static_cast<int64_t>(modulus());
        return static_cast<double>(value > p / 2 ? value - p : value);
    }
    QX_NTT_INLINE Twiddle vectorTwiddle(Vector w) const { return {w, _mm256_mul_pd(w, m_inverse)}; }
    QX_NTT_INLINE Twiddle broadcast(double w) const { return vectorTwiddle(_mm256_set1_pd(w)); }
    QX_NTT_INLINE Twiddle twiddle(uint64_t residue) const { return broadcast(element(residue)); }
    QX_NTT_INLINE Twiddle productTwiddle(uint64_t residue) const { return twiddle(residue); }

    QX_NTT_INLINE static Vector load(const double* x) { return _mm256_load_pd(x); }
    QX_NTT_INLINE static void store(double* x, Vector v) { _mm256_store_pd(x, v); }
    QX_NTT_INLINE static Vector add(Vector a, Vector b) { return _mm256_add_pd(a, b); }
    QX_NTT_INLINE static Vector subtract(Vector a, Vector b) { return _mm256_sub_pd(a, b); }

    QX_NTT_INLINE Vector multiply(Vector a, const Twiddle& b) const {
        return remainder(a, b.w, _mm256_mul_pd(a, b.quotient));
    }
    QX_NTT_INLINE Vector multiply(Vector a, Vector b) const {
        return remainder(a, b, _mm256_mul_pd(_mm256_mul_pd(a, b), m_inverse));
    }
    QX_NTT_INLINE Vector reduce(Vector a) const {
        return _mm256_fnmadd_pd(rounded(_mm256_mul_pd(a, m_inverse)), m_p, a);
    }
    /// In [0, p).
    QX_NTT_INLINE Vector canonical(Vector a) const {
        const Vector r = reduce(a);
        return _mm256_add_pd(r,
                             _mm256_and_pd(m_p, _mm256_cmp_pd(r, _mm256_setzero_pd(), _CMP_LT_OQ)));
    }

    QX_NTT_INLINE Vector fromLimbs(const Limb* limbs) const {
        const __m256i limb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(limbs));
        // Set into the mantissa of 2^52 and, the upper half, of 2^84.
        const __m256i magicLow = _mm256_set1_epi64x(0x4330000000000000);
        const __m256i magicHigh = _mm256_set1_epi64x(0x4530000000000000);
        const Vector low = _mm256_sub_pd(
            _mm256_castsi256_pd(_mm256_blend_epi32(limb, magicLow, 0xAA)), _mm256_set1_pd(0x1p52));
        const Vector high = _mm256_sub_pd(
            _mm256_castsi256_pd(_mm256_or_si256(_mm256_srli_epi64(limb, 32), magicHigh)),
            _mm256_set1_pd(0x1p84));
        return _mm256_add_pd(reduce(high), low);
    }
    QX_NTT_INLINE static void storeInteger(uint64_t* out, Vector canonical) {
        const Vector magic = _mm256_set1_pd(0x1p52);
        const __m256i bits =
            _mm256_castpd_si256(_mm256_xor_pd(_mm256_add_pd(canonical, magic), magic));
        _mm256_store_si256(reinterpret_cast<__m256i*>(out), bits);
    }

    QX_NTT_INLINE static void transpose(Vector (&v)[4]) {
        const Vector t0 = _mm256_unpacklo_pd(v[0], v[1]), t1 = _mm256_unpackhi_pd(v[0], v[1]);
        const Vector t2 = _mm256_unpacklo_pd(v[2], v[3]), t3 = _mm256_unpackhi_pd(v[2], v[3]);
        v[0] = _mm256_permute2f128_pd(t0, t2, 0x20);
        v[1] = _mm256_permute2f128_pd(t1, t3, 0x20);
        v[2] = _mm256_permute2f128_pd(t0, t2, 0x31);
        v[3] = _mm256_permute2f128_pd(t1, t3, 0x31);
    }

    // The roots of a leaf's blocks, or mirrored in reverse: one for each of four nodes, or those of
    // the even or odd of eight, which mirrored are the odd or even ones from the end.
    template <bool IsMirrored>
    QX_NTT_INLINE Twiddle each(const double* roots) const {
        const Vector w = load(roots);
        return vectorTwiddle(IsMirrored ? _mm256_permute4x64_pd(w, 0x1B) : w);
    }
    template <bool IsMirrored>
    QX_NTT_INLINE Twiddle evens(const double* roots) const {
        const Vector low = load(roots), high = load(roots + 4);
        return vectorTwiddle(IsMirrored
                                 ? _mm256_permute4x64_pd(_mm256_unpackhi_pd(low, high), 0x27)
                                 : _mm256_permute4x64_pd(_mm256_unpacklo_pd(low, high), 0xD8));
    }
    template <bool IsMirrored>
    QX_NTT_INLINE Twiddle odds(const double* roots) const {
        const Vector low = load(roots), high = load(roots + 4);
        return vectorTwiddle(IsMirrored
                                 ? _mm256_permute4x64_pd(_mm256_unpacklo_pd(low, high), 0x27)
                                 : _mm256_permute4x64_pd(_mm256_unpackhi_pd(low, high), 0xD8));
    }

private:
    QX_NTT_INLINE static Vector rounded(Vector v) {
        return _mm256_round_pd(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }
    QX_NTT_INLINE Vector remainder(Vector a, Vector b, Vector quotient) const {
        const Vector high = _mm256_mul_pd(a, b);
        const Vector low = _mm256_fmsub_pd(a, b, high);
        return _mm256_add_pd(_mm256_fnmadd_pd(rounded(quotient), m_p, high), low);
    }

    size_t m_prime;
    Vector m_p;
    Vector m_inverse; ///< 1 / p, rounded
};

} // namespace

void nttMultiplyAvx2(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                     const NttPlan& plan, Limb* scratch) {
    NttProduct<Avx2Field>::multiply(r, a, an, b, bn, plan, scratch);
}

} // namespace qx::math::detail

#endif
