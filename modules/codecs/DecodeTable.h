#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <qx/text/charset/RunLength.h>

namespace qx::codecs {

/// What every byte sequence of an encoding means: a tree with one node of 256 entries for each
/// prefix of a character. An encoding of one byte per character has the root alone, one of two
/// bytes takes about 64 KiB.
class DecodeTable {
public:
    /// Asks the system's converter for every sequence.
    /// @throws ResultException with result::NotAvailable when the system lacks the encoding
    explicit DecodeTable(const char* encoding);
    /// An encoding of one byte per character that begins with ASCII: the units of the bytes from
    /// 0x80 on, U+FFFD for a byte without mapping.
    explicit DecodeTable(std::span<const char16_t, 128> upperHalf);

    bool isSingleByte() const { return m_nodes.size() == 1; }
    /// By first byte: 256 units, U+FFFD for a byte without mapping. Of use when isSingleByte.
    const char16_t* units() const { return m_nodes.front().data(); }

    /// Reads the character at the start of @p size bytes.
    /// @param read  its bytes, 0 when it goes on behind @p size. A sequence that is wrong ends with
    ///     its first byte that cannot follow, which stays unless it lies above ASCII.
    /// @return U+FFFD for a sequence without meaning
    char16_t decode(const uint8_t* bytes, std::size_t size, std::size_t* read) const;
    /// Reads characters up to the first without meaning, cut off, or without room.
    text::charset::RunLength decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                                       std::size_t capacity) const;

private:
    /// U+FFFD for no meaning; ToNode + n for "goes on in node n", which takes the values of the
    /// surrogates, that no encoding can mean.
    using Node = std::array<char16_t, 256>;
    static constexpr char16_t ToNode = 0xD800;
    static constexpr std::size_t MostNodes = 0x800;
    static constexpr std::size_t LongestCharacter = 3;

    class Builder;

    std::vector<Node> m_nodes{1};
    bool m_keepsAscii = true;
};

} // namespace qx::codecs
