#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include <qx/platform/detail/ByteOrder.h>

namespace qx::io::detail {

/// Index of the first CR or LF in @p length units, or @p length when there is none. Eight units at
/// a time, then one by one.
inline int32_t findLineEnd(const char16_t* units, int32_t length) noexcept {
    using Lanes = uint16_t __attribute__((vector_size(16)));
    using Halves = uint64_t __attribute__((vector_size(16)));
    constexpr int32_t Step = sizeof(Lanes) / sizeof(char16_t);
    constexpr int32_t HalfStep = Step / 2;
    constexpr uint16_t cr = u'\r', lf = u'\n'; // clang 14 fails on a vector beside a char16_t

    int32_t index = 0;
    for (; length - index >= Step; index += Step) {
        Lanes lanes;
        std::memcpy(&lanes, units + index, sizeof lanes);
        // The comparison sets all 16 bits of a lane that matches.
        const auto matches = std::bit_cast<Halves>((lanes == cr) | (lanes == lf));
        if (matches[0] != 0)
            return index + static_cast<int32_t>(platform::firstLane(matches[0], 16));
        if (matches[1] != 0)
            return index + HalfStep + static_cast<int32_t>(platform::firstLane(matches[1], 16));
    }
    while (index < length && units[index] != u'\r' && units[index] != u'\n')
        ++index;
    return index;
}

} // namespace qx::io::detail
