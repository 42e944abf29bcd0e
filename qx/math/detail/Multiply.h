#pragma once

#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// r[an + bn] = a * b for an, bn >= 1. r overlaps neither operand; a and b may be the same array.
/// @throws std::bad_alloc  for the scratch of long operands, before r is touched
QX_API void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn);

/// r[2n] = a * a for n >= 1. r does not overlap a.
/// @throws std::bad_alloc  for the scratch of long operands, before r is touched
QX_API void square(Limb* r, const Limb* a, size_t n);

/// Scratch, in limbs, of the functions below.
QX_API size_t multiplyScratch(size_t an, size_t bn) noexcept;
QX_API size_t squareScratch(size_t n) noexcept;

/// As above, with scratch that the caller keeps from one product to the next.
QX_API void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                     Limb* scratch) noexcept;
QX_API void square(Limb* r, const Limb* a, size_t n, Limb* scratch) noexcept;

} // namespace qx::math::detail
