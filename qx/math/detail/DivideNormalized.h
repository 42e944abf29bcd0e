#pragma once

#include <qx/math/detail/ProductScratch.h>
#include <qx/math/detail/TwoLimbDivisor.h>

/// Division by a divisor whose top bit is set. The dividend becomes the remainder in its limbs
/// below the divisor's length; the quotient has a limb for each of the others and one bit above
/// them, which is returned. The dividend is at least as long as the divisor, which has at least two
/// limbs. Exported for the tests.
namespace qx::math::detail {

/// A divisor and what is computed of it in advance. Refers to its limbs.
struct NormalizedDivisor {
    NormalizedDivisor(const Limb* divisor, size_t n) noexcept
        : limbs(divisor), length(n), lead(divisor[n - 1], divisor[n - 2]) {}

    const Limb* limbs;
    size_t length;
    TwoLimbDivisor lead;
    /// The reciprocal of the leading limbs by invertDivisor, for long divisors that are used often.
    const Limb* inverse = nullptr;
    size_t inverseLength = 0;
};

/// Knuth's algorithm D: a step for each limb of the quotient and each of the divisor.
QX_API Limb divideSchoolbook(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b) noexcept;

/// Division by halves (Burnikel and Ziegler): for each b.length limbs of quotient the cost of a few
/// products of that length, times its logarithm where multiplication is nearly linear.
/// @param scratch b.length limbs
/// @throws std::bad_alloc
QX_API Limb divideByHalves(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b, Limb* scratch,
                           ProductScratch& products);

/// By the algorithm that suits the lengths.
/// @param scratch divideScratch limbs
/// @throws std::bad_alloc
QX_API Limb divideNormalized(Limb* q, Limb* a, size_t an, const NormalizedDivisor& b, Limb* scratch,
                             ProductScratch& products);
/// Scratch, in limbs, for quotients of up to @p qn limbs by a divisor of @p bn.
QX_API size_t divideScratch(size_t qn, size_t bn) noexcept;

} // namespace qx::math::detail
