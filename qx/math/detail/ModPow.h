#pragma once

#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// r[mn] = base^exponent mod m, where 0^0 is 1 and everything is 0 modulo 1. Lengths of base and
/// exponent may be 0 and their leading limbs zero; the base need not be below m. m is normalized
/// and not zero. r overlaps no operand. The time depends on the values, so it keeps no secret.
/// @throws std::bad_alloc with r in any state
QX_API void modPow(Limb* r, const Limb* base, size_t bn, const Limb* exponent, size_t en,
                   const Limb* m, size_t mn);

} // namespace qx::math::detail
