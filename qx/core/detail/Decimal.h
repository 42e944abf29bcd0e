#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

/// Decimal text of integers.
namespace qx::detail {

/// "00" to "99".
inline constexpr auto DigitPairs = [] {
    std::array<char16_t, 200> pairs{};
    for (size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char16_t>(u'0' + i / 10);
        pairs[2 * i + 1] = static_cast<char16_t>(u'0' + i % 10);
    }
    return pairs;
}();

/// 1, 10, ... 10^19.
inline constexpr auto PowersOfTen = [] {
    std::array<uint64_t, 20> powers{1};
    for (size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

/// The absolute value; in 32 bits where they suffice, because they divide faster.
template <std::integral Integer>
constexpr auto magnitudeOf(Integer value) noexcept {
    using Magnitude = std::conditional_t<sizeof(Integer) <= 4, uint32_t, uint64_t>;
    const auto magnitude = static_cast<Magnitude>(value);
    return value < 0 ? static_cast<Magnitude>(0 - magnitude) : magnitude;
}

/// Units that @p value takes, a sign included.
template <std::integral Integer>
constexpr int32_t decimalLength(Integer value) noexcept {
    const uint64_t magnitude = magnitudeOf(value) | 1;
    // log10(2) is 1233 / 4096, near enough for 64 bits: at most one too few.
    const auto digits = static_cast<int32_t>(std::bit_width(magnitude)) * 1233 >> 12;
    return digits + (magnitude >= PowersOfTen[static_cast<size_t>(digits)] ? 1 : 0) +
           (value < 0 ? 1 : 0);
}

/// Writes @p value so that it ends in front of @p end; its first unit.
template <std::integral Integer>
char16_t* writeDecimal(Integer value, char16_t* end) noexcept {
    const auto writePair = [&end](size_t pair) {
        end -= 2;
        std::memcpy(end, &DigitPairs[2 * pair], 2 * sizeof(char16_t));
    };
    auto magnitude = magnitudeOf(value);
    for (; magnitude >= 100; magnitude /= 100)
        writePair(magnitude % 100);
    if (magnitude >= 10)
        writePair(magnitude);
    else
        *--end = static_cast<char16_t>(u'0' + magnitude);
    if (value < 0)
        *--end = u'-';
    return end;
}

/// The text of an integer, without a 0 unit.
class Decimal {
public:
    explicit Decimal(std::integral auto value) noexcept { m_begin = writeDecimal(value, end()); }
    Decimal(const Decimal&) = delete;
    Decimal& operator=(const Decimal&) = delete;

    std::u16string_view text() const noexcept {
        return {m_begin, static_cast<size_t>(m_units.data() + m_units.size() - m_begin)};
    }

private:
    char16_t* end() noexcept { return m_units.data() + m_units.size(); }

    /// A sign and the 20 digits of 2^64 - 1.
    std::array<char16_t, 21> m_units;
    char16_t* m_begin;
};

} // namespace qx::detail
