#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/text/charset/Surrogates.h>

/// UTF-8, one sequence at a time. The wide kernels and the converters share these for their tails.
namespace qx::text::charset::detail {

constexpr bool isContinuation(uint8_t byte) { return (byte & 0xC0u) == 0x80u; }

/// Length that a lead byte announces, 0 when the byte cannot start a sequence.
constexpr size_t announcedLength(uint8_t lead) {
    if (lead < 0x80)
        return 1;
    if (lead < 0xC2)
        return 0;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

/// The value that @p length bytes at @p in spell; continuation bytes are taken on trust.
constexpr char32_t assemble(const uint8_t* in, size_t length) {
    if (length == 1)
        return in[0];
    // 5, 4 and 3 payload bits in the lead of 2, 3 and 4 bytes.
    char32_t value = in[0] & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i)
        value = value << 6 | (in[i] & 0x3Fu);
    return value;
}

struct Sequence {
    char32_t value = 0;
    size_t length = 0; ///< in bytes; 0: ill-formed, or cut off by the end of the input
};

/// Reads the well-formed sequence at the start of @p size > 0 bytes.
constexpr Sequence readWellFormed(const uint8_t* in, size_t size) {
    const size_t length = announcedLength(in[0]);
    if (length == 0 || length > size)
        return {};
    for (size_t i = 1; i < length; ++i) {
        if (!isContinuation(in[i]))
            return {};
    }
    const char32_t value = assemble(in, length);
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < smallest[length] || value > LastCodePoint || isSurrogate(value))
        return {};
    return {value, length};
}

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

} // namespace qx::text::charset::detail
