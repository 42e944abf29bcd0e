#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Number.h>
#include <qx/core/Required.h>
#include <qx/core/String.h>

namespace qx {

/// What the boxed numbers have in common: one value, which is set and read like a plain one. The
/// classes are Integer8 to Integer64 and UInteger8 to UInteger64 (qx/core/Integer.h), Float and
/// Double; collections hold them where they take objects:
///
///     qx::Integer32 count(41);
///     count = count + 1;                              // as an int32_t
///     list->add(qx::makeReference<qx::Integer32>(7)); // as an object
///
/// @tparam Self     the class that derives from this
/// @tparam Base     SignedInteger, UnsignedInteger or Number
/// @tparam Convert  the conversion of a Number to the value, as &Number::toInt32
/// @tparam Parse    makes the value from a text
template <class Self, class Base, auto Convert, auto Parse>
class QX_API BoxedNumber : public Base {
public:
    using ValueType = std::invoke_result_t<decltype(Convert), const Number&>;

    /// 0
    BoxedNumber() noexcept = default;
    BoxedNumber(ValueType value) noexcept : m_value(value) {}
    /// The conversion of @p number to this width.
    explicit BoxedNumber(const Number& number) : m_value((number.*Convert)()) {}
    /// The number that Parse makes of the text, in radix 10.
    explicit BoxedNumber(TextView text) : m_value(parse(text)) {}

    Self& operator=(ValueType value) noexcept {
        m_value = value;
        return static_cast<Self&>(*this);
    }
    operator ValueType() const noexcept { return m_value; }

    int64_t toInt64() const override {
        if constexpr (std::is_floating_point_v<ValueType>)
            return Number::truncate(m_value);
        else
            return static_cast<int64_t>(m_value);
    }
    double toDouble() const override { return static_cast<double>(m_value); }

    /// Compares with @p other cut to this width. Values of up to 16 bits give their difference,
    /// the others -1, 0 or 1. A NaN on either side gives 1, unless both are the same object.
    int compareTo(const Number& other) const {
        if (this == &other)
            return 0;
        const ValueType value = (other.*Convert)();
        if constexpr (sizeof(ValueType) <= sizeof(int16_t))
            return m_value - value;
        else if (m_value == value)
            return 0;
        else
            return m_value < value ? -1 : 1;
    }
    /// The same.
    /// @throws CastFailedException when @p other is of another class
    int compareTo(const Object& other) const override {
        const Number& same = requireCast(castTo<const Self>(&other));
        return compareTo(same);
    }

    /// Decimal, for integers of 64 bits as the base writes it; floating point with up to six
    /// significant digits.
    String toString() const override {
        if constexpr (std::is_integral_v<ValueType> && sizeof(ValueType) == sizeof(int64_t))
            return Base::toString();
        else
            return String::valueOf(+m_value);
    }
    using Base::toString;

private:
    static ValueType parse(TextView text) {
        if constexpr (std::is_invocable_v<decltype(Parse), TextView>)
            return Parse(text);
        else
            return Parse(text, 10);
    }

    ValueType m_value = 0;
};

/// Hash of a boxed number by its value.
template <class Boxed>
struct BoxedHash {
    size_t operator()(const Boxed& number) const noexcept {
        return std::hash<typename Boxed::ValueType>()(number);
    }
};

} // namespace qx
