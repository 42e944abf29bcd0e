#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <qx/text/charset/RunLength.h>

namespace qx::codecs {

/// What a sequence of bytes means: @p second is 0 unless it means two characters. U+FFFD for no
/// meaning.
struct Meaning {
    char32_t first;
    char32_t second = 0;
};

/// The four-byte forms of GB18030 that count up from 81 30 81 30, by number. There are tables of
/// those for characters below U+10000; those from U+10000 on follow in order.
struct FourByteForm {
    static constexpr uint32_t TableSize = 4 * 12600;
    static constexpr uint32_t Supplementary = 189000;
    static constexpr uint32_t Count = Supplementary + 0x100000;

    static constexpr uint32_t number(const uint8_t* bytes) {
        return (((bytes[0] - 0x81u) * 10 + (bytes[1] - 0x30u)) * 126 + (bytes[2] - 0x81u)) * 10 +
               (bytes[3] - 0x30u);
    }
    static constexpr std::array<uint8_t, 4> bytes(uint32_t number) {
        return {static_cast<uint8_t>(0x81 + number / 12600),
                static_cast<uint8_t>(0x30 + number / 1260 % 10),
                static_cast<uint8_t>(0x81 + number / 10 % 126),
                static_cast<uint8_t>(0x30 + number % 10)};
    }
};

/// What every byte sequence of a set of characters means: a tree with one node of 256 entries for
/// each prefix of a character. An encoding of one byte per character has the root alone, one of two
/// bytes takes about 64 KiB, and twice that for runs, which look both bytes up at once.
class DecodeTable {
public:
    /// Asks the system's converter for every sequence behind @p shift. The bytes of @p starts begin
    /// no character.
    /// @throws ResultException with result::NotAvailable when the system lacks the encoding
    explicit DecodeTable(const char* encoding, std::string_view shift = {},
                         std::string_view starts = {});
    /// An encoding of one byte per character that begins with ASCII: the units of the bytes from
    /// 0x80 on, U+FFFD for a byte without mapping.
    explicit DecodeTable(std::span<const char16_t, 128> upperHalf);

    bool isSingleByte() const { return m_nodes.size() == 1 && m_wide.empty(); }
    bool hasFourByteForms() const { return !m_fourByte.empty(); }
    /// By first byte: 256 units, U+FFFD for a byte without mapping. Of use when isSingleByte.
    const char16_t* units() const { return m_nodes.front().data(); }

    /// Calls @p use(sequence, meaning) for every sequence that means two characters or one above
    /// U+FFFF, but for the four-byte forms.
    template <class Use>
    void forEachWide(Use&& use) const {
        std::string sequence;
        walkWide(0, sequence, use);
    }

    /// Reads the character at the start of @p size bytes.
    /// @param read  its bytes, 0 when it goes on behind @p size. A sequence that is wrong ends with
    ///     its first byte that cannot follow, which stays unless it lies above ASCII.
    Meaning decode(const uint8_t* bytes, std::size_t size, std::size_t* read) const;
    /// Reads characters up to the first without meaning, cut off, or without room.
    text::charset::RunLength decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                                       std::size_t capacity) const;

private:
    /// U+FFFD for no meaning. The values of the surrogates, that no encoding can mean, have a
    /// meaning of their own: ToNode + n for "goes on in node n", Wide for what m_wide has,
    /// FourByte for the beginning of a four-byte form.
    using Node = std::array<char16_t, 256>;
    static constexpr char16_t ToNode = 0xD800;
    static constexpr std::size_t MostNodes = 0x7FE;
    static constexpr char16_t Wide = 0xDFFE;
    static constexpr char16_t FourByte = 0xDFFF;
    static constexpr std::size_t LongestCharacter = 4;

    class Builder;
    /// Bytes that are read at once.
    static constexpr std::size_t Block = 64;
    struct Range {
        uint8_t first = 0;
        uint8_t count = 0;
    };
    /// One code point, or the units of two.
    using WideNode = std::array<uint32_t, 256>;

    static Meaning meaningOf(uint32_t wide) {
        if (wide <= 0x10FFFF)
            return {wide};
        return {wide >> 16, wide & 0xFFFF};
    }
    const WideNode& wideNode(std::size_t node) const { return m_wide[m_wideOf[node]]; }
    Meaning decodeFourByte(const uint8_t* bytes, std::size_t size, std::size_t* read) const;
    void findLeads();
    void fillUnits();
    uint64_t leadsOf(const uint8_t* bytes) const;
    enum class BlockEnd {
        Whole,   ///< behind its last whole character
        Ascii,   ///< before many characters of one byte, but not at once
        Stopped, ///< before a character of more than two bytes or above U+FFFF, or what is wrong
    };
    BlockEnd decodeBlock(const uint8_t* bytes, char16_t* units,
                         text::charset::RunLength* done) const;

    template <class Use>
    void walkWide(std::size_t node, std::string& sequence, Use& use) const {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const char16_t entry = m_nodes[node][byte];
            sequence.push_back(static_cast<char>(byte));
            if (entry == Wide)
                use(sequence, meaningOf(wideNode(node)[byte]));
            else if (entry >= ToNode && entry < Wide)
                walkWide(entry - ToNode, sequence, use);
            sequence.pop_back();
        }
    }

    std::vector<Node> m_nodes{1};
    std::vector<WideNode> m_wide;
    static constexpr uint16_t NoWide = 0xFFFF;
    /// By node, where in m_wide.
    std::vector<uint16_t> m_wideOf{NoWide};
    /// By number; 0 for no character.
    std::vector<char16_t> m_fourByte;
    bool m_keepsAscii = true;
    /// Where the bytes that begin a longer character lie, with others that begin none; empty when
    /// they are too scattered for blocks.
    std::vector<Range> m_leads;
    /// By two bytes as they lie in memory the unit that they mean together, or that the first means
    /// alone; NoUnit for all else. Empty where no character has two bytes.
    std::vector<char16_t> m_units;
    static constexpr char16_t NoUnit = 0xFFFF;
    std::array<bool, 256> m_isLead{}; ///< begins a character of several bytes
};

} // namespace qx::codecs
