#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include <qx/text/charset/RunLength.h>

namespace qx::codecs {

class DecodeTable;

/// The bytes of every character of an encoding, in two levels: for unit u they stand at offset
/// offsets()[u >> 8] + (u & 0xFF). In an encoding of one byte per character all high bytes that it
/// never uses share the first 256 entries, which are empty.
class EncodeTable {
public:
    static constexpr std::size_t LongestCharacter = 4;

    /// Asks the system's converter for every unit, and for the characters above them that @p decode
    /// has or that lie beside those.
    /// @throws ResultException with result::NotAvailable when the system lacks the encoding
    EncodeTable(const char* encoding, const DecodeTable& decode);
    /// The inverse of an encoding of one byte per character.
    explicit EncodeTable(const DecodeTable& singleByte);
    /// Without a character.
    EncodeTable() = default;

    /// Bytes of the longest character: 1 to 4.
    int32_t longest() const { return m_longest; }
    const int32_t* offsets() const { return m_offsets.data(); }
    /// One byte per entry, 0 for none (and for U+0000); null unless longest() is 1 and U+0000 has
    /// that byte.
    const signed char* bytes() const { return m_bytes.empty() ? nullptr : m_bytes.data(); }

    /// Gives a character its bytes, at most four, unless there is no room for the four.
    void set(char32_t codePoint, std::string_view bytes);
    /// To be called behind the last set.
    void finish();
    /// Makes runs stop at a unit.
    void stopAt(char16_t unit);

    /// Writes the bytes of a character, for which there is room, and returns their count; 0 when it
    /// has none.
    std::size_t encode(char32_t codePoint, uint8_t* bytes) const;
    /// Writes characters up to the first that has no bytes or no room.
    text::charset::RunLength encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                                       std::size_t capacity) const;

private:
    /// The first byte in the low 8 bits, the next above it; in the top 8 bits their count, or one
    /// of the kinds.
    using Entry = uint32_t;
    static constexpr uint32_t FourBytes = 4; ///< the first byte is m_lead, the others follow
    static constexpr uint32_t FourByteNumber = 5;
    static constexpr uint32_t Stop = 0x80; ///< beside the others
    static constexpr uint32_t kindOf(Entry entry) { return entry >> 24 & ~Stop; }

    Entry& entryAt(char32_t codePoint);
    Entry entry(char32_t codePoint) const {
        return m_entries[static_cast<std::size_t>(m_offsets[codePoint >> 8]) + (codePoint & 0xFF)];
    }
    void placeByUnit();
    template <bool IsByUnit>
    text::charset::RunLength encodeGroup(const char16_t* units, std::size_t count,
                                         uint8_t* bytes) const;
    static std::size_t write(Entry entry, uint8_t lead, uint8_t* bytes);

    /// By the bits above the lowest 8; those above U+FFFF only where there are any.
    std::vector<int32_t> m_offsets = std::vector<int32_t>(256);
    std::vector<Entry> m_entries = std::vector<Entry>(256);
    int32_t m_emptyOffset = 0; ///< of the rows without a character
    bool m_isByUnit = false;   ///< the entry of a unit has its number
    std::vector<signed char> m_bytes;
    int32_t m_longest = 1;
    uint8_t m_lead = 0;
    bool m_hasFourByteForms = false;
    bool m_keepsAscii = true;
};

} // namespace qx::codecs
