#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace qx::detail {

/// The number that a short text of decimal digits, with "-" in front or without, stands for;
/// nothing for any other text.
inline std::optional<int64_t> plainNumber(std::u16string_view text) noexcept {
    constexpr size_t MostDigits = std::numeric_limits<int64_t>::digits10; // which all fit
    const bool negative = text.starts_with(u'-');
    text.remove_prefix(negative ? 1 : 0);
    if (text.empty() || text.size() > MostDigits)
        return std::nullopt;
    int64_t value = 0;
    for (const char16_t unit : text) {
        if (unit < u'0' || unit > u'9')
            return std::nullopt;
        value = value * 10 + (unit - u'0');
    }
    return negative ? -value : value;
}

} // namespace qx::detail
