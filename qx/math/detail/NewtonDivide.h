#pragma once

#include <qx/math/detail/DivideNormalized.h>

/// Division by multiplication with a reciprocal of the divisor's leading limbs (Barrett), found by
/// Newton's iteration: for each limb of quotient a constant number of products, whatever their
/// lengths. Exported for the tests.
namespace qx::math::detail {

/// Leading limbs of a divisor of bn limbs whose reciprocal serves a single quotient of qn limbs
/// best.
size_t inverseLength(size_t qn, size_t bn) noexcept;

/// x = the reciprocal of the b.inverseLength leading limbs of b, 1 to b.length of them: with n for
/// their number and d for their value, x + 2^(64n) is at most 2^(128n) / d, and not much less.
/// @param scratch invertScratch limbs
/// @throws std::bad_alloc
QX_API void invertDivisor(Limb* x, const NormalizedDivisor& b, Limb* scratch,
                          ProductScratch& products);
QX_API size_t invertScratch(size_t inverseLength) noexcept;

/// As divideNormalized, by the inverse that b has, as many limbs of the quotient at a time.
/// @param scratch divideByInverseScratch limbs
/// @throws std::bad_alloc
QX_API Limb divideByInverse(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b, Limb* scratch,
                            ProductScratch& products);
QX_API size_t divideByInverseScratch(size_t bn, size_t inverseLength) noexcept;

} // namespace qx::math::detail
