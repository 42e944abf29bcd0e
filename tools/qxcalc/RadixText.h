#pragma once

#include <cstdint>
#include <string_view>

#include <qx/core/String.h>

#include "Arithmetic.h"

/// The position of the first unit of @p text that cannot stand in a number of the radix, or npos:
/// a digit that is too high, a second point, or, as the position behind the end, no digit at all.
size_t findFault(std::u16string_view text, int32_t radix);

/// The value of digits with at most one point. A fraction that no decimal equals is rounded so
/// that it is told from its neighbours, and to at least @p scale digits.
BigDecimal readNumber(std::u16string_view text, int32_t radix, int32_t scale);

/// The number without superfluous zeros. In a radix other than 10 a fraction has at least the
/// precision of @p scale decimal digits and is rounded half away from zero.
qx::String writeNumber(const BigDecimal& value, int32_t radix, int32_t scale);
