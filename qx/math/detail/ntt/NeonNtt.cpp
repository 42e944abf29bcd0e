#if defined(__aarch64__)

#include <arm_neon.h>

#define QX_NTT_CODE
#define QX_NTT_INLINE __attribute__((always_inline)) inline
#define QX_NTT_LAMBDA __attribute__((always_inline))

#include <qx/math/detail/ntt/DoubleField.h>

namespace qx::math::detail {

namespace {

/// In two registers. Avx2Ntt.cpp tells what the operations do.
struct NeonDoubles {
    struct Vector {
        float64x2_t low;
        float64x2_t high;
    };

    QX_NTT_INLINE static Vector repeated(double value) {
        return {vdupq_n_f64(value), vdupq_n_f64(value)};
    }
    QX_NTT_INLINE static Vector load(const double* x) { return {vld1q_f64(x), vld1q_f64(x + 2)}; }
    QX_NTT_INLINE static void store(double* x, Vector v) {
        vst1q_f64(x, v.low);
        vst1q_f64(x + 2, v.high);
    }
    QX_NTT_INLINE static Vector add(Vector a, Vector b) {
        return {vaddq_f64(a.low, b.low), vaddq_f64(a.high, b.high)};
    }
    QX_NTT_INLINE static Vector subtract(Vector a, Vector b) {
        return {vsubq_f64(a.low, b.low), vsubq_f64(a.high, b.high)};
    }
    QX_NTT_INLINE static Vector product(Vector a, Vector b) {
        return {vmulq_f64(a.low, b.low), vmulq_f64(a.high, b.high)};
    }
    QX_NTT_INLINE static Vector lessProduct(Vector x, Vector a, Vector b) {
        return {vfmsq_f64(x.low, a.low, b.low), vfmsq_f64(x.high, a.high, b.high)};
    }
    QX_NTT_INLINE static Vector addError(Vector x, Vector a, Vector b, Vector product) {
        return subtract(x, lessProduct(product, a, b)); // there is none for a * b - product
    }
    QX_NTT_INLINE static Vector rounded(Vector v) {
        return {vrndnq_f64(v.low), vrndnq_f64(v.high)};
    }
    QX_NTT_INLINE static Vector addToNegative(Vector x, Vector y) {
        return {addToNegative(x.low, y.low), addToNegative(x.high, y.high)};
    }

    QX_NTT_INLINE static Vector fromLowerHalves(const Limb* limbs) {
        return {lowerHalves(limbs), lowerHalves(limbs + 2)};
    }
    QX_NTT_INLINE static Vector fromUpperHalves(const Limb* limbs) {
        return product({upperHalves(limbs), upperHalves(limbs + 2)}, repeated(0x1p32));
    }
    QX_NTT_INLINE static void storeInteger(uint64_t* out, Vector canonical) {
        vst1q_u64(out, vcvtq_u64_f64(canonical.low));
        vst1q_u64(out + 2, vcvtq_u64_f64(canonical.high));
    }

    QX_NTT_INLINE static void transpose(Vector (&v)[4]) {
        const Vector front[] = {{v[0].low, v[1].low}, {v[2].low, v[3].low}};
        const Vector behind[] = {{v[0].high, v[1].high}, {v[2].high, v[3].high}};
        v[0] = evens(front[0], front[1]);
        v[1] = odds(front[0], front[1]);
        v[2] = evens(behind[0], behind[1]);
        v[3] = odds(behind[0], behind[1]);
    }
    template <bool IsReversed>
    QX_NTT_INLINE static Vector inOrder(Vector v) {
        if (!IsReversed)
            return v;
        return {vextq_f64(v.high, v.high, 1), vextq_f64(v.low, v.low, 1)};
    }
    QX_NTT_INLINE static Vector evens(Vector low, Vector high) {
        return {vuzp1q_f64(low.low, low.high), vuzp1q_f64(high.low, high.high)};
    }
    QX_NTT_INLINE static Vector odds(Vector low, Vector high) {
        return {vuzp2q_f64(low.low, low.high), vuzp2q_f64(high.low, high.high)};
    }
    QX_NTT_INLINE static Vector reversedEvens(Vector low, Vector high) {
        return {vuzp1q_f64(high.high, high.low), vuzp1q_f64(low.high, low.low)};
    }
    QX_NTT_INLINE static Vector reversedOdds(Vector low, Vector high) {
        return {vuzp2q_f64(high.high, high.low), vuzp2q_f64(low.high, low.low)};
    }

private:
    QX_NTT_INLINE static float64x2_t addToNegative(float64x2_t x, float64x2_t y) {
        const uint64x2_t added = vandq_u64(vreinterpretq_u64_f64(y), vcltzq_f64(x));
        return vaddq_f64(x, vreinterpretq_f64_u64(added));
    }
    QX_NTT_INLINE static float64x2_t lowerHalves(const Limb* limbs) {
        return vcvtq_f64_u64(vandq_u64(vld1q_u64(limbs), vdupq_n_u64(0xFFFFFFFF)));
    }
    QX_NTT_INLINE static float64x2_t upperHalves(const Limb* limbs) {
        return vcvtq_f64_u64(vshrq_n_u64(vld1q_u64(limbs), 32));
    }
};

} // namespace

void nttMultiplyNeon(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                     const NttPlan& plan, Limb* scratch) {
    NttProduct<DoubleField<NeonDoubles>>::multiply(r, a, an, b, bn, plan, scratch);
}

} // namespace qx::math::detail

#endif
