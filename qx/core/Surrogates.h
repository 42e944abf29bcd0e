#pragma once

#include <cstdint>

#include <qx/platform/export.h>

/// Surrogate arithmetic of UTF-16, in one place.
namespace qx::text::charset {

QX_LOCAL inline constexpr char16_t ReplacementCharacter = u'\uFFFD';
QX_LOCAL inline constexpr char32_t LastCodePoint = 0x10FFFF;

constexpr bool isSurrogate(char32_t value) { return (value & 0xFFFFF800u) == 0xD800u; }
constexpr bool isHighSurrogate(char32_t value) { return (value & 0xFFFFFC00u) == 0xD800u; }
constexpr bool isLowSurrogate(char32_t value) { return (value & 0xFFFFFC00u) == 0xDC00u; }

/// The code point of a surrogate pair.
constexpr char32_t joinSurrogates(char16_t high, char16_t low) {
    return ((static_cast<char32_t>(high) - 0xD800u) << 10) +
           (static_cast<char32_t>(low) - 0xDC00u) + 0x10000u;
}

/// Units that @p value takes: 1 or 2.
constexpr int32_t utf16Length(char32_t value) { return value < 0x10000u ? 1 : 2; }

/// Writes @p value (at most U+10FFFF) and returns the position behind it.
constexpr char16_t* writeUtf16(char32_t value, char16_t* out) {
    if (value < 0x10000u) {
        *out++ = static_cast<char16_t>(value);
    } else {
        *out++ = static_cast<char16_t>(0xD800u + ((value - 0x10000u) >> 10));
        *out++ = static_cast<char16_t>(0xDC00u + (value & 0x3FFu));
    }
    return out;
}

} // namespace qx::text::charset
