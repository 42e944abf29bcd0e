#pragma once

#include <qx/math/detail/TwoLimbDivisor.h>

/// Division by a divisor whose top bit is set. The dividend becomes the remainder in its bn low
/// limbs; the quotient has an - bn limbs and one bit above them, which is returned. Exported for
/// the tests.
namespace qx::math::detail {

/// Knuth's algorithm D: (an - bn) * bn steps. an >= bn >= 2; @p divisor holds the two leading limbs
/// of b.
QX_API Limb divideSchoolbook(Limb* q, Limb* a, size_t an, const Limb* b, size_t bn,
                             const TwoLimbDivisor& divisor) noexcept;

/// Division by halves (Burnikel and Ziegler): the cost of a few multiplications of bn limbs for
/// each bn limbs of quotient, short ones by schoolbook. an >= bn >= 2.
/// @param scratch bn limbs
QX_API Limb divideNormalized(Limb* q, Limb* a, size_t an, const Limb* b, size_t bn,
                             const TwoLimbDivisor& divisor, Limb* scratch);

} // namespace qx::math::detail
