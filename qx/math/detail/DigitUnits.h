#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/platform/export.h>

/// Digits between UTF-16 units and values. Letters stand for the digits from 10 on. Exported for
/// the tests.
namespace qx::math::detail {

/// Stands in the place of the value of a unit that is no digit.
constexpr uint8_t NoDigit = 0xFF;

/// The values of @p count units, letters of either case; false when a unit is no digit of the
/// radix.
QX_API bool digitsFromUnits(uint8_t* digits, const char16_t* units, size_t count,
                            int radix) noexcept;

/// The units of @p count digits, letters in upper case.
QX_API void unitsFromDigits(char16_t* units, const uint8_t* digits, size_t count) noexcept;

} // namespace qx::math::detail
