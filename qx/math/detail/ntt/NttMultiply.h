#pragma once

#include <qx/math/detail/Limbs.h>

/// Multiplication by a number-theoretic transform: the operands become polynomials whose
/// coefficients are pieces of the numbers, these are multiplied by their values at roots of unity
/// modulo three primes, and the Chinese remainder theorem gives the coefficients of the product.
/// Exact, at n log n.
namespace qx::math::detail {

/// Length of the transforms of one multiplication: a power of two, or a power of two and a
/// shorter one behind it that catches the coefficients above (remainders modulo x^main - 1 and
/// modulo a factor of x^main + 1). Keeps the cost from doubling at every power of two.
struct NttPlan {
    size_t main;
    size_t tail;   ///< 0, or a power of two of at least 16 and at most main / 2
    unsigned bits; ///< of a coefficient: 64, or 60 for long operands, so that no sum of products
                   ///< overflows
    size_t length() const { return main + tail; }
};

/// True when operands of an and bn limbs are short enough for a transform.
bool nttApplies(size_t an, size_t bn) noexcept;
NttPlan nttPlan(size_t an, size_t bn) noexcept;
/// Scratch, in limbs, that a plan needs.
QX_API size_t nttScratch(const NttPlan& plan) noexcept;

/// r[an + bn] = a * b with nttScratch limbs of scratch. a and b may be the same array, which
/// saves a third of the work.
using NttMultiply = void (*)(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                             const NttPlan& plan, Limb* scratch);
void nttMultiplyPlain(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                      const NttPlan& plan, Limb* scratch);
void nttMultiplyAvx2(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                     const NttPlan& plan, Limb* scratch);
void nttMultiplyNeon(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                     const NttPlan& plan, Limb* scratch);

} // namespace qx::math::detail
