#pragma once

#include <cstdint>

#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>

/// The operations on exact decimals that the classes do not have as they are needed here. Failures
/// are qx::Exception with a text for the user.

using qx::math::BigDecimal;
using qx::math::BigInteger;

/// @p left / @p right, rounded half away from zero to @p scale digits behind the point.
BigDecimal quotient(const BigDecimal& left, const BigDecimal& right, int32_t scale);

/// What lies between @p left and the multiple of @p right at or below it; @p right is positive.
BigDecimal remainder(const BigDecimal& left, const BigDecimal& right);

/// Exact for an exponent of 0 or more, else rounded as a quotient.
BigDecimal power(const BigDecimal& base, const BigInteger& exponent, int32_t scale);

/// Rounded half up to @p scale digits behind the point.
BigDecimal squareRoot(const BigDecimal& value, int32_t scale);

/// The largest integer whose square is not above @p value, which is not negative.
BigInteger integerSquareRoot(const BigInteger& value);

/// The first @p digits digits of pi behind the point, cut off there.
BigDecimal pi(int32_t digits);
