#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/math/detail/Limbs.h>

/// Conversion between limbs and the digits of a radix of 2 to 36. Digits are values of 0 to
/// radix - 1, the most significant first.
namespace qx::math::detail {

/// Limbs that @p count digits need at most.
QX_API size_t limbsForDigits(size_t count, int radix) noexcept;

/// The value of @p count digits, leading zeros among them; returns its normalized length.
/// @param r limbsForDigits(count, radix) limbs, of which those above the result have any value
/// @throws std::bad_alloc with r in any state
QX_API size_t fromDigits(Limb* r, const uint8_t* digits, size_t count, int radix);

/// Digits that @p n limbs need at most.
QX_API size_t digitsForLimbs(size_t n, int radix) noexcept;

/// The digits of a without leading zeros, none for zero; returns their number. Leading limbs of a
/// may be zero.
/// @param digits digitsForLimbs(n, radix) bytes, of which those behind the result have any value
/// @throws std::bad_alloc with digits in any state
QX_API size_t toDigits(uint8_t* digits, const Limb* a, size_t n, int radix);

} // namespace qx::math::detail
