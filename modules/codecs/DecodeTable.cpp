#include "DecodeTable.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include <qx/text/charset/Surrogates.h>

#include "Iconv.h"

namespace qx::codecs {

using text::charset::isSurrogate;
using text::charset::ReplacementCharacter;
using text::charset::RunLength;

namespace {

/// Bytes that are tested for ASCII at once.
constexpr std::size_t Block = 8;

bool isAscii(const uint8_t* block) {
    uint64_t bytes;
    std::memcpy(&bytes, block, sizeof bytes);
    return (bytes & 0x8080808080808080u) == 0;
}

} // namespace

/// Walks all sequences, deeper where the system says that a character goes on.
class DecodeTable::Builder {
public:
    Builder(std::vector<Node>& nodes, const char* encoding)
        : m_nodes(nodes), m_converter(Iconv::decoder(encoding)) {}

    void fill(std::size_t node) {
        m_sequence.push_back('\0');
        for (std::size_t byte = 0; byte < 256; ++byte) {
            m_sequence.back() = static_cast<char>(byte);
            const char16_t entry = meaning(); // may add nodes
            m_nodes[node][byte] = entry;
        }
        m_sequence.pop_back();
    }

private:
    char16_t meaning() {
        char32_t codePoint = 0;
        switch (m_converter.decode(m_sequence, &codePoint)) {
        case Iconv::Outcome::Converted:
            return codePoint > 0xFFFF || isSurrogate(codePoint) ? ReplacementCharacter
                                                                : static_cast<char16_t>(codePoint);
        case Iconv::Outcome::Incomplete:
            if (m_sequence.size() < LongestCharacter && m_nodes.size() < MostNodes)
                return addNode();
            break;
        case Iconv::Outcome::Invalid:
            break;
        }
        return ReplacementCharacter;
    }

    char16_t addNode() {
        const std::size_t node = m_nodes.size();
        m_nodes.emplace_back();
        fill(node);
        return static_cast<char16_t>(ToNode + node);
    }

    std::vector<Node>& m_nodes;
    Iconv m_converter;
    std::string m_sequence;
};

DecodeTable::DecodeTable(const char* encoding) {
    Builder(m_nodes, encoding).fill(0);
    const Node& root = m_nodes.front();
    for (char16_t byte = 0; byte < 0x80; ++byte)
        m_keepsAscii = m_keepsAscii && root[byte] == byte;
}

DecodeTable::DecodeTable(std::span<const char16_t, 128> upperHalf) {
    Node& root = m_nodes.front();
    std::iota(root.begin(), root.begin() + 128, u'\0');
    std::copy(upperHalf.begin(), upperHalf.end(), root.begin() + 128);
}

char16_t DecodeTable::decode(const uint8_t* bytes, std::size_t size, std::size_t* read) const {
    char16_t entry = ToNode;
    std::size_t length = 0;
    while (isSurrogate(entry)) {
        if (length == size) {
            *read = 0;
            return ReplacementCharacter;
        }
        entry = m_nodes[entry - ToNode][bytes[length++]];
    }
    const bool keepsLast = entry == ReplacementCharacter && length > 1 && bytes[length - 1] < 0x80;
    *read = keepsLast ? length - 1 : length;
    return entry;
}

RunLength DecodeTable::decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                                 std::size_t capacity) const {
    const Node& root = m_nodes.front();
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < size && written < capacity) {
        char16_t entry = root[bytes[read]];
        std::size_t next = read + 1;
        if (!isSurrogate(entry)) {
            if (m_keepsAscii && size - read >= Block && capacity - written >= Block &&
                isAscii(bytes + read)) {
                std::copy_n(bytes + read, Block, units + written);
                read += Block;
                written += Block;
                continue;
            }
        } else {
            while (isSurrogate(entry) && next < size)
                entry = m_nodes[entry - ToNode][bytes[next++]];
            if (isSurrogate(entry))
                break;
        }
        if (entry == ReplacementCharacter)
            break;
        units[written++] = entry;
        read = next;
    }
    return {read, written};
}

} // namespace qx::codecs
