#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// UTF-8, one sequence at a time, for the library's own sources.

namespace qx::platform {

constexpr bool isContinuation(uint8_t byte) { return (byte & 0xC0u) == 0x80u; }

/// Bytes that @p value takes: 1 to 4.
constexpr size_t utf8Length(char32_t value) {
    return value < 0x80u ? 1 : value < 0x800u ? 2 : value < 0x10000u ? 3 : 4;
}

/// Writes @p value, a lone surrogate like any other three-byte value, and returns the position
/// behind it.
constexpr uint8_t* writeUtf8(char32_t value, uint8_t* out) {
    const size_t length = utf8Length(value);
    constexpr uint8_t leads[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
    for (size_t i = length - 1; i > 0; --i) {
        out[i] = static_cast<uint8_t>(0x80u | (value & 0x3Fu));
        value >>= 6;
    }
    out[0] = static_cast<uint8_t>(leads[length] | value);
    return out + length;
}

/// @p text cut to at most @p length bytes, not inside a character of UTF-8.
constexpr std::string_view cutUtf8(std::string_view text, size_t length) noexcept {
    if (text.size() <= length)
        return text;
    while (length > 0 && isContinuation(static_cast<uint8_t>(text[length])))
        --length;
    return text.substr(0, length);
}

} // namespace qx::platform
