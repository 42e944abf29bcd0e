#include "EncodeTable.h"

#include <algorithm>
#include <cstring>

#include <qx/text/charset/Surrogates.h>

#include "DecodeTable.h"
#include "Iconv.h"

namespace qx::codecs {

using text::charset::isSurrogate;
using text::charset::ReplacementCharacter;
using text::charset::RunLength;

namespace {

/// Units that are tested for ASCII at once.
constexpr std::size_t Block = 8;

bool isAscii(const char16_t* block) {
    uint64_t halves[2];
    std::memcpy(halves, block, sizeof halves);
    return ((halves[0] | halves[1]) & 0xFF80FF80FF80FF80u) == 0;
}

} // namespace

EncodeTable::EncodeTable(const char* encoding) {
    Iconv converter = Iconv::encoder(encoding);
    for (char32_t unit = 0; unit <= 0xFFFF; ++unit) {
        char bytes[LongestCharacter];
        std::size_t length = 0;
        if (!isSurrogate(unit) &&
            converter.encode(unit, bytes, sizeof bytes, &length) == Iconv::Outcome::Converted)
            set(static_cast<char16_t>(unit), bytes, length);
    }
    finish();
}

EncodeTable::EncodeTable(const DecodeTable& singleByte) {
    for (int value = 255; value >= 0; --value) { // the lowest byte of a unit counts
        const auto byte = static_cast<char>(value);
        const char16_t unit = singleByte.units()[value];
        if (unit != ReplacementCharacter)
            set(unit, &byte, 1);
    }
    finish();
}

void EncodeTable::set(char16_t unit, const char* bytes, std::size_t length) {
    int32_t& offset = m_offsets[unit >> 8];
    if (offset == 0) {
        offset = static_cast<int32_t>(m_entries.size());
        m_entries.resize(m_entries.size() + 256);
    }
    uint32_t value = static_cast<uint32_t>(length) << 24;
    for (std::size_t i = 0; i < length; ++i)
        value |= static_cast<uint32_t>(static_cast<uint8_t>(bytes[i])) << (8 * i);
    m_entries[static_cast<std::size_t>(offset + (unit & 0xFF))] = value;
    m_longest = std::max(m_longest, static_cast<int32_t>(length));
}

void EncodeTable::finish() {
    for (char16_t unit = 0; unit < 0x80; ++unit)
        m_keepsAscii = m_keepsAscii && entry(unit) == (1u << 24 | unit);
    if (m_longest > 1)
        return;
    m_bytes.resize(m_entries.size());
    std::transform(m_entries.begin(), m_entries.end(), m_bytes.begin(),
                   [](uint32_t value) { return static_cast<signed char>(value & 0xFF); });
}

std::size_t EncodeTable::encode(char16_t unit, uint8_t* bytes) const {
    const uint32_t value = entry(unit);
    const std::size_t length = value >> 24;
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    return length;
}

RunLength EncodeTable::encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                                 std::size_t capacity) const {
    std::size_t read = 0;
    std::size_t written = 0;
    // With room for the longest character all bytes of an entry are written, whatever they are.
    while (read < size && capacity - written >= LongestCharacter) {
        if (units[read] < 0x80 && m_keepsAscii && size - read >= Block &&
            capacity - written >= Block && isAscii(units + read)) {
            std::transform(units + read, units + read + Block, bytes + written,
                           [](char16_t unit) { return static_cast<uint8_t>(unit); });
            read += Block;
            written += Block;
            continue;
        }
        const uint32_t value = entry(units[read]);
        if (value == 0)
            return {read, written};
        bytes[written] = static_cast<uint8_t>(value);
        bytes[written + 1] = static_cast<uint8_t>(value >> 8);
        bytes[written + 2] = static_cast<uint8_t>(value >> 16);
        written += value >> 24;
        ++read;
    }
    for (; read < size; ++read) {
        const std::size_t length = entry(units[read]) >> 24;
        if (length == 0 || length > capacity - written)
            break;
        written += encode(units[read], bytes + written);
    }
    return {read, written};
}

} // namespace qx::codecs
