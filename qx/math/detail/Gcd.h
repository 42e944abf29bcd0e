#pragma once

#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// r = the greatest common divisor of a and b, which are normalized and not zero; returns its
/// normalized length. r has min(an, bn) limbs and overlaps no operand.
/// @throws std::bad_alloc with r in any state
QX_API size_t gcd(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn);

/// r[mn] = the inverse of a modulo m, for 0 < a < m and both normalized. False, and r is left as it
/// was, when a and m are not coprime. r overlaps no operand.
/// @throws std::bad_alloc with r as it was
QX_API bool modInverse(Limb* r, const Limb* a, size_t an, const Limb* m, size_t mn);

} // namespace qx::math::detail
