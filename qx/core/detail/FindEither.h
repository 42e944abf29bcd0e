#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include <qx/platform/detail/ByteOrder.h>

namespace qx::detail {

/// Index of the first of @p length units that is one of two, or @p length. Eight units at a time,
/// then one by one.
template <char16_t One, char16_t Other, class Length>
Length findEither(const char16_t* units, Length length) noexcept {
    using Lanes [[gnu::vector_size(16)]] = uint16_t;
    using Halves [[gnu::vector_size(16)]] = uint64_t;
    constexpr Length Step = sizeof(Lanes) / sizeof(char16_t);
    constexpr uint16_t one = One, other = Other; // clang 14 fails on a vector beside a char16_t

    Length index = 0;
    for (; length - index >= Step; index += Step) {
        Lanes lanes;
        std::memcpy(&lanes, units + index, sizeof lanes);
        // The comparison sets all 16 bits of a lane that matches.
        const auto matches = std::bit_cast<Halves>((lanes == one) | (lanes == other));
        if (matches[0] != 0)
            return index + static_cast<Length>(platform::firstLane(matches[0], 16));
        if (matches[1] != 0)
            return index + Step / 2 + static_cast<Length>(platform::firstLane(matches[1], 16));
    }
    while (index < length && units[index] != One && units[index] != Other)
        ++index;
    return index;
}

} // namespace qx::detail
