#pragma once

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
    value -= 0x10000;
    return {PlainStep::Text,
            consumed,
            2,
            {static_cast<char16_t>(0xD800 | value / 0x400),
             static_cast<char16_t>(0xDC00 | value % 0x400)}};
}

/// One row for every kind of well-formed sequence: the ranges of its bytes.
struct PlainRow {
    size_t length;
    uint8_t first[2];
    uint8_t second[2];
};

/// Strict decoding of the @p size > 0 bytes at @p in: one U+FFFD per maximal subpart.
inline PlainStep plainStrictUtf8(const uint8_t* in, size_t size) {
    static constexpr PlainRow rows[] = {
        {1, {0x00, 0x7F}, {}},           {2, {0xC2, 0xDF}, {0x80, 0xBF}},
        {3, {0xE0, 0xE0}, {0xA0, 0xBF}}, {3, {0xE1, 0xEC}, {0x80, 0xBF}},
        {3, {0xED, 0xED}, {0x80, 0x9F}}, {3, {0xEE, 0xEF}, {0x80, 0xBF}},
        {4, {0xF0, 0xF0}, {0x90, 0xBF}}, {4, {0xF1, 0xF3}, {0x80, 0xBF}},
        {4, {0xF4, 0xF4}, {0x80, 0x8F}},
    };
    for (const PlainRow& row : rows) {
        if (in[0] < row.first[0] || in[0] > row.first[1])
            continue;
        uint32_t value = row.length == 1 ? in[0] : in[0] % (1u << (7 - row.length));
        for (size_t i = 1; i < row.length; ++i) {
            if (i == size)
                return {};
            const uint8_t low = i == 1 ? row.second[0] : 0x80;
            const uint8_t high = i == 1 ? row.second[1] : 0xBF;
            if (in[i] < low || in[i] > high)
                return plainText(i, 0xFFFD);
            value = value * 64 + in[i] % 64;
        }
        return plainText(row.length, value);
    }
    return plainText(1, 0xFFFD);
}

/// Lenient decoding of the @p size > 0 bytes at @p in: over-long forms give their value.
inline PlainStep plainLenientUtf8(const uint8_t* in, size_t size) {
    const size_t length = in[0] <= 0x7F                    ? 1
                          : in[0] >= 0xC2 && in[0] <= 0xDF ? 2
                          : in[0] >= 0xE0 && in[0] <= 0xEF ? 3
                          : in[0] >= 0xF0 && in[0] <= 0xF4 ? 4
                                                           : 0;
    if (length == 0)
        return plainText(1, 0xFFFD);
    if (length > size)
        return {};
    uint32_t value = length == 1 ? in[0] : in[0] % (1u << (7 - length));
    for (size_t i = 1; i < length; ++i) {
        if (in[i] < 0x80 || in[i] > 0xBF)
            return plainText(1, 0xFFFD);
        value = value * 64 + in[i] % 64;
    }
    if (value >= 0xD800 && value <= 0xDFFF)
        return {PlainStep::Surrogate, length, 0, {}};
    if (value > 0x10FFFF)
        return {PlainStep::OutOfRange, length, 0, {}};
    return plainText(length, value);
}

} // namespace qxtest
