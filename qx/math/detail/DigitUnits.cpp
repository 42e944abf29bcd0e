#include "qx/math/detail/DigitUnits.h"

namespace qx::math::detail {

// Both loops are without branches, so that the compiler makes vectors of them.

bool digitsFromUnits(uint8_t* digits, const char16_t* units, size_t count, int radix) noexcept {
    const auto end = static_cast<uint16_t>(radix);
    uint16_t others = 0;
    for (size_t i = 0; i < count; ++i) {
        const auto unit = static_cast<uint16_t>(units[i]);
        const auto decimal = static_cast<uint16_t>(unit - u'0');
        const auto letter = static_cast<uint16_t>((unit | 0x20) - u'a');
        const auto large = static_cast<uint16_t>(letter < 26 ? letter + 10 : NoDigit);
        const uint16_t digit = decimal < 10 ? decimal : large;
        const uint16_t other = digit < end ? uint16_t{0} : uint16_t{NoDigit};
        digits[i] = static_cast<uint8_t>(digit | other);
        others |= other;
    }
    return others == 0;
}

void unitsFromDigits(char16_t* units, const uint8_t* digits, size_t count) noexcept {
    for (size_t i = 0; i < count; ++i) {
        const uint16_t digit = digits[i];
        units[i] = static_cast<char16_t>(digit + (digit < 10 ? u'0' : u'A' - 10));
    }
}

} // namespace qx::math::detail
