#pragma once

#include <string_view>

#include <qx/core/BoxedNumber.h>

namespace qx {

/// A number of single precision.
///
/// A conversion to an integer cuts the fraction off; a value that does not fit into 64 bits gives
/// the nearest limit, NaN gives 0. Big integers have no such limit; infinity and NaN give 0.
class QX_API Float : public BoxedNumber<Float, Number, &Number::toFloat, &Number::parseFloat> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;

    /// The value without its fraction.
    math::BigInteger toBigInteger() const override;
    /// The value with six decimal places; 0 for infinity and NaN.
    math::BigDecimal toBigDecimal() const override;
};

/// A number of double precision; otherwise like Float.
class QX_API Double : public BoxedNumber<Double, Number, &Number::toDouble, &Number::parseDouble> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;

    math::BigInteger toBigInteger() const override;
    math::BigDecimal toBigDecimal() const override;
};

} // namespace qx

using CQXFloat = qx::Float;
using CQXDouble = qx::Double;

template <>
struct std::hash<qx::Float> : qx::BoxedHash<qx::Float> {};
template <>
struct std::hash<qx::Double> : qx::BoxedHash<qx::Double> {};
