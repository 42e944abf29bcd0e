#pragma once

#include <cstdint>

#include <qx/core/Result.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset::detail {

/// Room for the form of any character in any encoding, and for any substitution; in bytes.
inline constexpr int32_t LongestSequence = 32;

/// Tells the two conditions apart under which an encoder stops at @p position, in front of the end
/// of its input: true when it waits for more input, false when it waits for more room. One that
/// does nothing even with room for any character waits for input, such as the other half of a pair.
/// The encoder may then have taken more of the input than was told and is of no further use.
inline bool waitsForInput(CharToByteConverter& encoder, const char16_t* in, int32_t position,
                          int32_t length) {
    signed char room[LongestSequence];
    int32_t reached = position;
    int32_t written = 0;
    const int32_t result =
        resultOf([&] { encoder.convert(in, &reached, length, room, &written, LongestSequence); });
    // One that fails has gone on.
    return result >= 0 && reached == position;
}

} // namespace qx::text::charset::detail
