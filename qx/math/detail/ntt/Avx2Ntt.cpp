#if defined(__x86_64__)

#include <immintrin.h>

#define QX_NTT_CODE __attribute__((target("avx2,fma,bmi2")))
#define QX_NTT_INLINE QX_NTT_CODE __attribute__((always_inline)) inline
#define QX_NTT_LAMBDA QX_NTT_CODE __attribute__((always_inline))

#include <qx/math/detail/ntt/DoubleField.h>

namespace qx::math::detail {

namespace {

struct Avx2Doubles {
    using Vector = __m256d;

    QX_NTT_INLINE static Vector repeated(double value) { return _mm256_set1_pd(value); }
    QX_NTT_INLINE static Vector load(const double* x) { return _mm256_load_pd(x); }
    QX_NTT_INLINE static void store(double* x, Vector v) { _mm256_store_pd(x, v); }
    QX_NTT_INLINE static Vector add(Vector a, Vector b) { return _mm256_add_pd(a, b); }
    QX_NTT_INLINE static Vector subtract(Vector a, Vector b) { return _mm256_sub_pd(a, b); }
    QX_NTT_INLINE static Vector product(Vector a, Vector b) { return _mm256_mul_pd(a, b); }
    /// x - a * b, rounded once.
    QX_NTT_INLINE static Vector lessProduct(Vector x, Vector a, Vector b) {
        return _mm256_fnmadd_pd(a, b, x);
    }
    /// x and what @p product, a * b rounded, lacks.
    QX_NTT_INLINE static Vector addError(Vector x, Vector a, Vector b, Vector product) {
        return _mm256_add_pd(x, _mm256_fmsub_pd(a, b, product));
    }
    /// To the nearest integers.
    QX_NTT_INLINE static Vector rounded(Vector v) {
        return _mm256_round_pd(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }
    /// x + y where x is negative.
    QX_NTT_INLINE static Vector addToNegative(Vector x, Vector y) {
        return _mm256_add_pd(x,
                             _mm256_and_pd(y, _mm256_cmp_pd(x, _mm256_setzero_pd(), _CMP_LT_OQ)));
    }

    // The halves of four limbs are set into the mantissa of 2^52 and, the upper, of 2^84.
    QX_NTT_INLINE static Vector fromLowerHalves(const Limb* limbs) {
        const __m256i magic = _mm256_set1_epi64x(0x4330000000000000);
        return _mm256_sub_pd(_mm256_castsi256_pd(_mm256_blend_epi32(loadLimbs(limbs), magic, 0xAA)),
                             _mm256_set1_pd(0x1p52));
    }
    QX_NTT_INLINE static Vector fromUpperHalves(const Limb* limbs) {
        const __m256i magic = _mm256_set1_epi64x(0x4530000000000000);
        return _mm256_sub_pd(
            _mm256_castsi256_pd(_mm256_or_si256(_mm256_srli_epi64(loadLimbs(limbs), 32), magic)),
            _mm256_set1_pd(0x1p84));
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
    template <bool IsReversed>
    QX_NTT_INLINE static Vector inOrder(Vector v) {
        return IsReversed ? _mm256_permute4x64_pd(v, 0x1B) : v;
    }
    /// Of the eight in @p low and @p high.
    QX_NTT_INLINE static Vector evens(Vector low, Vector high) {
        return _mm256_permute4x64_pd(_mm256_unpacklo_pd(low, high), 0xD8);
    }
    QX_NTT_INLINE static Vector odds(Vector low, Vector high) {
        return _mm256_permute4x64_pd(_mm256_unpackhi_pd(low, high), 0xD8);
    }
    QX_NTT_INLINE static Vector reversedEvens(Vector low, Vector high) {
        return _mm256_permute4x64_pd(_mm256_unpacklo_pd(low, high), 0x27);
    }
    QX_NTT_INLINE static Vector reversedOdds(Vector low, Vector high) {
        return _mm256_permute4x64_pd(_mm256_unpackhi_pd(low, high), 0x27);
    }

private:
    QX_NTT_INLINE static __m256i loadLimbs(const Limb* limbs) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(limbs));
    }
};

} // namespace

void nttMultiplyAvx2(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                     const NttPlan& plan, Limb* scratch) {
    NttProduct<DoubleField<Avx2Doubles>>::multiply(r, a, an, b, bn, plan, scratch);
}

} // namespace qx::math::detail

#endif
