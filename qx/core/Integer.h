#pragma once

#include <string_view>

#include <qx/core/BoxedNumber.h>

/// @file
/// The boxed integers. They compare with plain numbers and with each other through their values.

namespace qx {

/// A signed integer of 8 bits.
class QX_API Integer8
    : public BoxedNumber<Integer8, SignedInteger, &Number::toInt8, &Number::parseInt8> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

/// A signed integer of 16 bits.
class QX_API Integer16
    : public BoxedNumber<Integer16, SignedInteger, &Number::toInt16, &Number::parseInt16> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

/// A signed integer of 32 bits.
class QX_API Integer32
    : public BoxedNumber<Integer32, SignedInteger, &Number::toInt32, &Number::parseInt32> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

/// A signed integer of 64 bits.
class QX_API Integer64
    : public BoxedNumber<Integer64, SignedInteger, &Number::toInt64, &Number::parseInt64> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

/// An unsigned integer of 8 bits.
class QX_API UInteger8
    : public BoxedNumber<UInteger8, UnsignedInteger, &Number::toUInt8, &Number::parseUInt8> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

/// An unsigned integer of 16 bits.
class QX_API UInteger16
    : public BoxedNumber<UInteger16, UnsignedInteger, &Number::toUInt16, &Number::parseUInt16> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

/// An unsigned integer of 32 bits.
class QX_API UInteger32
    : public BoxedNumber<UInteger32, UnsignedInteger, &Number::toUInt32, &Number::parseUInt32> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

/// An unsigned integer of 64 bits.
class QX_API UInteger64
    : public BoxedNumber<UInteger64, UnsignedInteger, &Number::toUInt64, &Number::parseUInt64> {
public:
    using BoxedNumber::BoxedNumber;
    using BoxedNumber::operator=;

    /// @throws CloneNotSupportedException for a derived class that does not override it
    [[nodiscard]] Object* clone() const override;
};

} // namespace qx

using CQXInteger8 = qx::Integer8;
using CQXInteger16 = qx::Integer16;
using CQXInteger32 = qx::Integer32;
using CQXInteger64 = qx::Integer64;
using CQXUInteger8 = qx::UInteger8;
using CQXUInteger16 = qx::UInteger16;
using CQXUInteger32 = qx::UInteger32;
using CQXUInteger64 = qx::UInteger64;

// clang-format off
template <> struct std::hash<qx::Integer8> : qx::BoxedHash<qx::Integer8> {};
template <> struct std::hash<qx::Integer16> : qx::BoxedHash<qx::Integer16> {};
template <> struct std::hash<qx::Integer32> : qx::BoxedHash<qx::Integer32> {};
template <> struct std::hash<qx::Integer64> : qx::BoxedHash<qx::Integer64> {};
template <> struct std::hash<qx::UInteger8> : qx::BoxedHash<qx::UInteger8> {};
template <> struct std::hash<qx::UInteger16> : qx::BoxedHash<qx::UInteger16> {};
template <> struct std::hash<qx::UInteger32> : qx::BoxedHash<qx::UInteger32> {};
template <> struct std::hash<qx::UInteger64> : qx::BoxedHash<qx::UInteger64> {};
// clang-format on
