#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/platform/detail/Utf8.h>
#include <qx/text/charset/Surrogates.h>

/// UTF-8, one sequence at a time. The wide kernels and the converters share these for their tails.
namespace qx::text::charset::detail {

using platform::isContinuation;
using platform::utf8Length;
using platform::writeUtf8;

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

} // namespace qx::text::charset::detail
