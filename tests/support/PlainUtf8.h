#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace qxtest {

/// What a plain UTF-8 decoder makes of the bytes at one place.
struct PlainStep {
    enum Kind {
        Text,       // `units` for `consumed` bytes
        Cut,        // the bytes end too early to tell
        Surrogate,  // a fault that throws
        OutOfRange, // above U+10FFFF: the substitution for `consumed` bytes
    };
    Kind kind = Cut;
    size_t consumed = 0;
    size_t count = 0;
    char16_t units[2] = {};
};

inline PlainStep plainText(size_t consumed, uint32_t value) {
    if (value < 0x10000)
        return {PlainStep::Text, consumed, 1, {static_cast<char16_t>(value), 0}};
    const auto high = static_cast<char16_t>(0xD800 + (value - 0x10000) / 0x400);
    const auto low = static_cast<char16_t>(0xDC00 + value % 0x400);
    return {PlainStep::Text, consumed, 2, {high, low}};
}

/// Decodes the @p size > 0 bytes at @p in: strictly, with one U+FFFD per maximal subpart, or so
/// that over-long forms give their value.
inline PlainStep plainUtf8(const uint8_t* in, size_t size, bool isStrict) {
    const auto ones = static_cast<size_t>(std::countl_one(in[0])), length = ones == 0 ? 1 : ones;
    if (ones == 1 || in[0] == 0xC0 || in[0] == 0xC1 || in[0] > 0xF4)
        return plainText(1, 0xFFFD);
    if (!isStrict && length > size)
        return {};
    uint32_t value = length == 1 ? in[0] : in[0] % (1u << (7 - length));
    for (size_t i = 1; i < length; ++i) {
        if (i == size)
            return {};
        const bool isNarrow = isStrict && i == 1;
        const int low = !isNarrow ? 0x80 : in[0] == 0xE0 ? 0xA0 : in[0] == 0xF0 ? 0x90 : 0x80;
        const int high = !isNarrow ? 0xBF : in[0] == 0xED ? 0x9F : in[0] == 0xF4 ? 0x8F : 0xBF;
        if (in[i] < low || in[i] > high)
            return plainText(isStrict ? i : 1, 0xFFFD);
        value = value * 64 + in[i] % 64;
    }
    if (value >= 0xD800 && value <= 0xDFFF)
        return {PlainStep::Surrogate, length, 0, {}};
    if (value > 0x10FFFF)
        return {PlainStep::OutOfRange, length, 0, {}};
    return plainText(length, value);
}

} // namespace qxtest
