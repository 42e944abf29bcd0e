#pragma once

#include <cstdint>

/*
 * Simple case mapping of single UTF-16 units, for the library's own sources.
 *
 * The tables have two stages. The upper ten bits of a unit select, through UpperBlocks or
 * LowerBlocks, one row of CaseDeltas; its lower six bits select in that row what is added to the
 * unit, modulo 65536. Few of the 1024 blocks of 64 units hold cased letters, and all others share
 * row 0, which adds nothing; surrogates lie there too. So both directions together take 14 KiB.
 */

namespace qx::platform {

extern const uint8_t UpperBlocks[1024];
extern const uint8_t LowerBlocks[1024];
extern const uint16_t CaseDeltas[][64];

/// The unit's upper-case form, or the unit, without a branch.
inline char16_t upperInTable(char16_t unit) noexcept {
    return static_cast<char16_t>(unit + CaseDeltas[UpperBlocks[unit >> 6]][unit & 63]);
}

/// The unit's lower-case form, or the unit, without a branch.
inline char16_t lowerInTable(char16_t unit) noexcept {
    return static_cast<char16_t>(unit + CaseDeltas[LowerBlocks[unit >> 6]][unit & 63]);
}

/// The same for text that is mostly ASCII, whose units do not touch the tables.
inline char16_t toUpper(char16_t unit) noexcept {
    if (unit < 0x80)
        return static_cast<char16_t>(unit >= u'a' && unit <= u'z' ? unit - 0x20 : unit);
    return upperInTable(unit);
}

inline char16_t toLower(char16_t unit) noexcept {
    if (unit < 0x80)
        return static_cast<char16_t>(unit >= u'A' && unit <= u'Z' ? unit + 0x20 : unit);
    return lowerInTable(unit);
}

} // namespace qx::platform
