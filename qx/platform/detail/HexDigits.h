#pragma once

#include <cstdint>

namespace qx::platform {

/// The digit of a number below 16, in upper case.
constexpr char hexDigit(unsigned number) { return "0123456789ABCDEF"[number]; }

/// Writes the lowest @p Count digits of @p number, the most significant first, and returns the
/// position behind them.
template <int Count, class Unit>
constexpr Unit* writeHex(unsigned number, Unit* out) {
    for (int shift = 4 * Count; shift > 0;) {
        shift -= 4;
        *out++ = static_cast<Unit>(hexDigit(number >> shift & 0xFu));
    }
    return out;
}

/// Value of a hexadecimal digit in either case; -1 for any other unit.
constexpr int hexValue(char32_t unit) {
    if (unit >= U'0' && unit <= U'9')
        return static_cast<int>(unit - U'0');
    const char32_t letter = unit | 0x20;
    return letter >= U'a' && letter <= U'f' ? static_cast<int>(letter - U'a') + 10 : -1;
}

} // namespace qx::platform
