#pragma once

// How vectors of 16 bytes are written without some of their bytes. The header of the vectors of
// such an instruction set includes this at its end; Utf8Encoder.h tells the macros that it sets for
// it.

#include <qx/text/charset/detail/CompactionTables.h>

namespace qx::text::charset::detail::QX_VECTOR_SPACE {

/// Writes 16 bytes of @p lanes, those first that the row @p kept of @p table keeps.
QX_INLINE_VECTOR void squeeze(Vector lanes, const ShuffleTable& table, unsigned kept, void* out) {
    store(shuffle(lanes, load(table[kept & 0xFF])), out);
}

/// Writes the second byte of every unit of both vectors, and the first where the unit in @p lowKept
/// and @p highKept is 0x80 and not less; returns their count.
QX_INLINE_VECTOR size_t storeOneOrTwo(Vector low, Vector lowKept, Vector high, Vector highKept,
                                      uint8_t* out) {
    const unsigned kept = topBits(narrow(lowKept, highKept));
    squeeze(low, OneOrTwoBytes, kept, out);
    squeeze(high, OneOrTwoBytes, kept >> 8, out + 8 + ones(kept & 0xFF));
    return 16 + ones(kept);
}

/// Writes up to three bytes for every unit: the high byte in @p first, then both bytes in @p
/// second. Of the two bits of the unit in @p kept the lower one keeps the second byte and the upper
/// one the first; the third always stays. Returns their count.
QX_INLINE_VECTOR size_t storeOneToThree(Vector first, Vector second, unsigned kept, uint8_t* out) {
    squeeze(joinUnitsLow(first, second), OneToThreeBytes, kept, out);
    squeeze(joinUnitsHigh(first, second), OneToThreeBytes, kept >> 8, out + 4 + ones(kept & 0xFF));
    return 8 + ones(kept);
}

} // namespace qx::text::charset::detail::QX_VECTOR_SPACE
