#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <string_view>

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

/// The decimal text of an integer, without a 0 unit.
class Decimal {
public:
    template <std::signed_integral Integer>
    explicit Decimal(Integer value) noexcept {
        const auto magnitude = static_cast<uint64_t>(value);
        write(value < 0 ? 0 - magnitude : magnitude);
        if (value < 0)
            *--m_begin = u'-';
    }
    template <std::unsigned_integral Integer>
    explicit Decimal(Integer value) noexcept {
        write(value);
    }
    Decimal(const Decimal&) = delete;
    Decimal& operator=(const Decimal&) = delete;

    std::u16string_view text() const noexcept {
        return {m_begin, static_cast<size_t>(m_units.data() + m_units.size() - m_begin)};
    }

private:
    void write(uint64_t magnitude) noexcept {
        for (; magnitude >= 100; magnitude /= 100)
            writePair(magnitude % 100);
        if (magnitude >= 10)
            writePair(magnitude);
        else
            *--m_begin = static_cast<char16_t>(u'0' + magnitude);
    }
    void writePair(uint64_t number) noexcept {
        m_begin -= 2;
        std::memcpy(m_begin, &DigitPairs[2 * number], 2 * sizeof(char16_t));
    }

    /// A sign and the 20 digits of 2^64 - 1.
    std::array<char16_t, 21> m_units;
    char16_t* m_begin = m_units.data() + m_units.size();
};

} // namespace qx::detail
