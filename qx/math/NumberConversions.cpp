// What joins boxed numbers and the big ones.

#include "qx/core/Number.h"

#include <cmath>

#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>
#include <qx/core/detail/PlainNumber.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>

namespace qx {

using math::BigDecimal;
using math::BigInteger;

BigInteger Number::toBigInteger() const { return BigInteger(toInt64()); }
BigDecimal Number::toBigDecimal() const { return BigDecimal(toInt64()); }

int64_t Number::parseInt64(TextView text) {
    const auto value = detail::plainNumber(text);
    return value ? *value : BigInteger(text, 10).toInt64();
}
uint64_t Number::parseUInt64(TextView text, int radix) {
    return BigInteger(text, radix).toUInt64();
}
BigInteger Number::parseBigInteger(TextView text) { return BigInteger(text, 10); }
BigDecimal Number::parseBigDecimal(TextView text) { return BigDecimal(text); }

BigInteger UnsignedInteger::toBigInteger() const { return BigInteger(toUInt64()); }
BigDecimal UnsignedInteger::toBigDecimal() const { return BigDecimal(toUInt64()); }
String UnsignedInteger::toString(int radix) const { return toBigInteger().toString(radix); }

// Whole numbers print exactly with "%f", however large they are.
BigInteger Float::toBigInteger() const { return Double(*this).toBigInteger(); }
BigInteger Double::toBigInteger() const {
    return BigDecimal(std::trunc(toDouble())).toBigInteger();
}
BigDecimal Float::toBigDecimal() const { return BigDecimal(toDouble()); }
BigDecimal Double::toBigDecimal() const { return BigDecimal(toDouble()); }

} // namespace qx
