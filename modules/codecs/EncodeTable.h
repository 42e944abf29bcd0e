#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include <qx/text/charset/RunLength.h>

namespace qx::codecs {

class DecodeTable;

/// The bytes of every unit of an encoding, in two levels: for unit u they stand at offset
/// offsets()[u >> 8] + (u & 0xFF). All high bytes that the encoding never uses share the first 256
/// entries, which are empty. Characters beyond U+FFFF have no bytes in any encoding that is served
/// here.
class EncodeTable {
public:
    /// Asks the system's converter for every unit.
    /// @throws ResultException with result::NotAvailable when the system lacks the encoding
    explicit EncodeTable(const char* encoding);
    /// The inverse of an encoding of one byte per character.
    explicit EncodeTable(const DecodeTable& singleByte);

    /// Bytes of the longest character: 1 to 3.
    int32_t longest() const { return m_longest; }
    const int32_t* offsets() const { return m_offsets.data(); }
    /// One byte per entry, 0 for none (and for U+0000); null unless longest() is 1.
    const signed char* bytes() const { return m_bytes.empty() ? nullptr : m_bytes.data(); }

    /// Writes the bytes of a unit, for which there is room, and returns their count; 0 when it has
    /// none.
    std::size_t encode(char16_t unit, uint8_t* bytes) const;
    /// Writes characters up to the first that has no bytes or no room.
    text::charset::RunLength encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                                       std::size_t capacity) const;

private:
    static constexpr std::size_t LongestCharacter = 3;

    void set(char16_t unit, const char* bytes, std::size_t length);
    void finish();

    uint32_t entry(char16_t unit) const {
        return m_entries[static_cast<std::size_t>(m_offsets[unit >> 8] + (unit & 0xFF))];
    }

    std::array<int32_t, 256> m_offsets{};
    /// First byte in the low 8 bits, the next above it; their count in the top 8 bits.
    std::vector<uint32_t> m_entries = std::vector<uint32_t>(256);
    std::vector<signed char> m_bytes;
    int32_t m_longest = 1;
    bool m_keepsAscii = true;
};

} // namespace qx::codecs
