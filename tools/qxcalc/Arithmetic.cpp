#include "Arithmetic.h"

#include <algorithm>
#include <bit>

#include <qx/core/Exception.h>

namespace {

/// Larger powers are refused instead of begun.
constexpr int64_t HighestBitCount = int64_t{1} << 30;
constexpr int64_t HighestDigitCount = 300'000'000;

/// The smallest exponent that is 0 if and only if @p exponent is, and even if and only if it is.
BigInteger smallestLike(const BigInteger& exponent) {
    return exponent.isZero() ? exponent : 2 - exponent % 2;
}

} // namespace

BigDecimal quotient(const BigDecimal& left, const BigDecimal& right, int32_t scale) {
    BigDecimal result = left;
    result.divide(right, scale);
    return result;
}

BigDecimal remainder(const BigDecimal& left, const BigDecimal& right) {
    const int32_t scale = std::max(left.getScale(), right.getScale());
    BigDecimal dividend = left;
    dividend.setScale(scale);
    BigDecimal modulus = right;
    modulus.setScale(scale);
    return {dividend.getUnscaled() % modulus.getUnscaled(), scale};
}

BigDecimal power(const BigDecimal& base, const BigInteger& exponent, int32_t scale) {
    BigInteger result = base.getUnscaled();
    const int32_t baseScale = result.isZero() ? 0 : base.getScale();
    BigInteger times = exponent;
    times.abs();
    if (result.getBitCount() <= 1 && baseScale == 0)
        times = smallestLike(times); // 0, 1 and -1 stay small whatever the exponent is
    else if (times.getBitCount() > 32 || result.getBitCount() * times.toInt64() > HighestBitCount ||
             baseScale * times.toInt64() > HighestDigitCount)
        throw qx::Exception(u"the result would be too large");
    result.pow(times);
    const BigDecimal power(result, baseScale * times.toInt32());
    return exponent.isNegative() ? quotient(BigDecimal(1), power, scale) : power;
}

BigDecimal squareRoot(const BigDecimal& value, int32_t scale) {
    if (value.isNegative())
        throw qx::Exception(u"a negative number has no square root");
    // One digit more than wanted, which then rounds.
    BigDecimal shifted = value;
    shifted.setScale(std::max(2 * (scale + 1), value.getScale() + value.getScale() % 2));
    BigDecimal root(integerSquareRoot(shifted.getUnscaled()), shifted.getScale() / 2);
    return quotient(root, BigDecimal(1), scale);
}

/// Newton's method from the top bits down: each step doubles the number of right bits, so that the
/// last one costs about as much as all before it.
BigInteger integerSquareRoot(const BigInteger& value) {
    if (value.isZero())
        return BigInteger();
    const int64_t half = (value.getBitCount() - 1) / 2;
    BigInteger root(1);
    int64_t precision = 0;
    for (auto step = std::bit_width(static_cast<uint64_t>(half)); step-- > 0;) {
        const int64_t previous = precision;
        precision = half >> step;
        root = (root << (precision - previous - 1)) +
               (value >> (2 * half - previous - precision + 1)) / root;
    }
    return root * root > value ? root - 1 : root;
}
