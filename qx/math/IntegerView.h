#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

namespace qx::math {

class BigInteger;

/// A built-in integer type, but neither bool nor a character type.
template <class T>
concept BuiltInInteger = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                         !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                         !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// A whole number as an argument: a BigInteger, which is read in place and must outlive the call,
/// or a built-in integer, which costs no allocation.
class IntegerView {
public:
    inline IntegerView(const BigInteger& value) noexcept;
    template <BuiltInInteger T>
    IntegerView(T value) noexcept
        : m_single(magnitudeOf(value)), m_length(value != 0 ? 1 : 0), m_negative(value < 0) {}

    bool isZero() const noexcept { return m_length == 0; }
    /// True for a number below zero.
    bool isNegative() const noexcept { return m_negative; }
    bool isOdd() const noexcept { return lowLimb() % 2 != 0; }
    /// The magnitude in units of 64 bits, least significant first; the last one is not 0.
    const uint64_t* limbs() const noexcept { return m_limbs ? m_limbs : &m_single; }
    size_t length() const noexcept { return m_length; }
    /// The low 64 bits of the magnitude.
    uint64_t lowLimb() const noexcept { return m_length != 0 ? limbs()[0] : 0; }

    /// The same number with the other sign.
    IntegerView negated() const noexcept {
        IntegerView other(*this);
        other.m_negative = !m_negative && m_length != 0;
        return other;
    }

private:
    template <class T>
    static uint64_t magnitudeOf(T value) noexcept {
        const auto bits = static_cast<uint64_t>(value);
        return value < 0 ? 0 - bits : bits;
    }

    const uint64_t* m_limbs = nullptr;
    uint64_t m_single = 0;
    size_t m_length;
    bool m_negative;
};

} // namespace qx::math
