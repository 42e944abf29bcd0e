#pragma once

#include <span>

#include <qx/math/detail/Limbs.h>
#include <qx/math/detail/MultiplyThresholds.h>
#include <qx/math/detail/ntt/NttMultiply.h>

/// The inner loops of the arithmetic on limbs in one set for each kind of processor. Every set
/// gives the same results.
namespace qx::math::detail {

struct LimbKernels {
    const char* name;

    // As the functions of these names in Limbs.h.
    Limb (*add)(Limb* r, const Limb* a, const Limb* b, size_t n);
    Limb (*subtract)(Limb* r, const Limb* a, const Limb* b, size_t n);
    Limb (*multiplyLimb)(Limb* r, const Limb* a, size_t n, Limb b);
    Limb (*addProduct)(Limb* r, const Limb* a, size_t n, Limb b);
    Limb (*subtractProduct)(Limb* r, const Limb* a, size_t n, Limb b);

    /// r[an + bn] = a * b by long rows, an * bn products of limbs; an, bn >= 1.
    void (*multiplyRows)(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn);
    /// r[2n] = a * a, every product of two different limbs computed once; n >= 1.
    void (*squareRows)(Limb* r, const Limb* a, size_t n);
    /// Adds multiples of m[n] to t[2n] that make t[0] to t[n - 1] zero, and leaves there what is to
    /// be added to the limbs n above. @p inverse is -1 / m[0] modulo 2^64.
    void (*montgomeryRows)(Limb* t, const Limb* m, size_t n, Limb inverse);

    NttMultiply nttMultiply;
    MultiplyThresholds thresholds;
};

extern const LimbKernels PlainLimbKernels;
#if defined(__x86_64__)
/// For processors with ADX, BMI2, AVX2 and FMA.
extern const LimbKernels AdxLimbKernels;
#elif defined(__aarch64__)
/// The plain rows, and transforms in NEON.
extern const LimbKernels NeonLimbKernels;
#endif

/// The set in use: the fastest that this machine can run, unless another was selected.
QX_API const LimbKernels& limbKernels() noexcept;

/// Every set that this machine can run, the plain one first.
QX_API std::span<const LimbKernels* const> limbKernelSets() noexcept;

/// Makes another set the one in use, for the tests, which hold the sets and their thresholds
/// against each other. @p kernels must outlive its use; no other thread may be at work.
QX_API void selectLimbKernels(const LimbKernels& kernels) noexcept;

} // namespace qx::math::detail
