#include "DecodeTable.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include <qx/text/charset/Surrogates.h>

#include "Iconv.h"

namespace qx::codecs {

using text::charset::isSurrogate;
using text::charset::ReplacementCharacter;
using text::charset::RunLength;
using text::charset::writeUtf16;

namespace {

/// Bytes that are tested for ASCII at once.
constexpr std::size_t Block = 8;

bool isAscii(const uint8_t* block) {
    uint64_t bytes;
    std::memcpy(&bytes, block, sizeof bytes);
    return (bytes & 0x8080808080808080u) == 0;
}

constexpr bool isDigit(uint8_t byte) { return byte >= 0x30 && byte <= 0x39; }

} // namespace

/// Walks all sequences, deeper where the system says that a character goes on.
class DecodeTable::Builder {
public:
    Builder(DecodeTable& table, const char* encoding, std::string_view shift,
            std::string_view starts)
        : m_table(table), m_converter(Iconv::decoder(encoding)), m_sequence(shift),
          m_shiftSize(shift.size()), m_starts(starts) {}

    void fill(std::size_t node) {
        m_sequence.push_back('\0');
        for (std::size_t byte = 0; byte < 256; ++byte) {
            m_sequence.back() = static_cast<char>(byte);
            const char16_t entry = meaning(node, byte); // may add nodes
            m_table.m_nodes[node][byte] = entry;
        }
        m_sequence.pop_back();
    }

    /// Asks for the four-byte forms below those that follow in order.
    void fillFourByte() {
        auto& table = m_table.m_fourByte;
        for (uint32_t number = 0; number < FourByteForm::TableSize; ++number) {
            const auto bytes = FourByteForm::bytes(number);
            char32_t first = 0, second = 0;
            if (m_converter.decode({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                   &first, &second) == Iconv::Outcome::Converted &&
                first <= 0xFFFF)
                table[number] = static_cast<char16_t>(first);
        }
    }

private:
    std::size_t length() const { return m_sequence.size() - m_shiftSize; }

    char16_t meaning(std::size_t node, std::size_t byte) {
        if (length() == 1 && m_starts.find(m_sequence.back()) != m_starts.npos)
            return ReplacementCharacter;
        char32_t first = 0, second = 0;
        switch (m_converter.decode(m_sequence, &first, &second)) {
        case Iconv::Outcome::Converted:
            if (isSurrogate(first) || isSurrogate(second) || second > 0xFFFF)
                return ReplacementCharacter;
            if (second == 0 && first <= 0xFFFF)
                return static_cast<char16_t>(first);
            wideNode(node)[byte] =
                static_cast<uint32_t>(second != 0 ? first << 16 | second : first);
            return Wide;
        case Iconv::Outcome::Incomplete:
            if (length() == 2 && isDigit(static_cast<uint8_t>(byte))) {
                m_table.m_fourByte.resize(FourByteForm::TableSize);
                return FourByte;
            }
            if (length() < LongestCharacter && m_table.m_nodes.size() < MostNodes)
                return addNode();
            break;
        case Iconv::Outcome::Invalid:
            break;
        }
        return ReplacementCharacter;
    }

    WideNode& wideNode(std::size_t node) {
        uint16_t& index = m_table.m_wideOf[node];
        if (index == NoWide) {
            index = static_cast<uint16_t>(m_table.m_wide.size());
            m_table.m_wide.emplace_back();
        }
        return m_table.m_wide[index];
    }

    /// What begins no character at all is as wrong as its first byte that cannot follow.
    char16_t addNode() {
        const std::size_t node = m_table.m_nodes.size();
        m_table.m_nodes.emplace_back();
        m_table.m_wideOf.push_back(NoWide);
        fill(node);
        constexpr auto isNone = [](char16_t entry) { return entry == ReplacementCharacter; };
        if (std::ranges::all_of(m_table.m_nodes[node], isNone)) {
            m_table.m_nodes.pop_back(); // the last one: those behind it were like it
            m_table.m_wideOf.pop_back();
            return ReplacementCharacter;
        }
        return static_cast<char16_t>(ToNode + node);
    }

    DecodeTable& m_table;
    Iconv m_converter;
    std::string m_sequence;
    std::size_t m_shiftSize;
    std::string_view m_starts;
};

DecodeTable::DecodeTable(const char* encoding, std::string_view shift, std::string_view starts) {
    Builder builder(*this, encoding, shift, starts);
    builder.fill(0);
    if (!m_fourByte.empty())
        builder.fillFourByte();
    const Node& root = m_nodes.front();
    for (char16_t byte = 0; byte < 0x80; ++byte)
        m_keepsAscii = m_keepsAscii && root[byte] == byte;
}

DecodeTable::DecodeTable(std::span<const char16_t, 128> upperHalf) {
    Node& root = m_nodes.front();
    std::iota(root.begin(), root.begin() + 128, u'\0');
    std::copy(upperHalf.begin(), upperHalf.end(), root.begin() + 128);
}

Meaning DecodeTable::decode(const uint8_t* bytes, std::size_t size, std::size_t* read) const {
    std::size_t node = 0;
    std::size_t length = 0;
    for (;;) {
        if (length == size) {
            *read = 0;
            return {ReplacementCharacter};
        }
        const uint8_t byte = bytes[length++];
        const char16_t entry = m_nodes[node][byte];
        if (entry >= ToNode && entry < Wide) {
            node = static_cast<std::size_t>(entry - ToNode);
            continue;
        }
        if (entry == FourByte)
            return decodeFourByte(bytes, size, read);
        const bool keepsLast = entry == ReplacementCharacter && length > 1 && byte < 0x80;
        *read = keepsLast ? length - 1 : length;
        return entry == Wide ? meaningOf(wideNode(node)[byte]) : Meaning{entry};
    }
}

/// The first two bytes are right.
Meaning DecodeTable::decodeFourByte(const uint8_t* bytes, std::size_t size,
                                    std::size_t* read) const {
    *read = 0;
    const bool isThird = size > 2 && bytes[2] >= 0x81 && bytes[2] <= 0xFE;
    if (size < 3 || (isThird && size < 4))
        return {ReplacementCharacter};
    const std::size_t length = isThird ? 4 : 3;
    if (isThird && isDigit(bytes[3])) {
        *read = length;
        const uint32_t number = FourByteForm::number(bytes);
        if (number < FourByteForm::TableSize && m_fourByte[number] != 0)
            return {m_fourByte[number]};
        if (number >= FourByteForm::Supplementary && number < FourByteForm::Count)
            return {number - FourByteForm::Supplementary + 0x10000};
    }
    *read = bytes[length - 1] < 0x80 ? length - 1 : length;
    return {ReplacementCharacter};
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
            while (isSurrogate(entry) && entry < Wide && next < size)
                entry = m_nodes[entry - ToNode][bytes[next++]];
            if (isSurrogate(entry)) {
                if (entry < Wide)
                    break;
                std::size_t length = 0;
                const Meaning meaning = decode(bytes + read, size - read, &length);
                // A form of four bytes that ends with a digit is that character, not a fault.
                const bool isWhole = length == 4 && isDigit(bytes[read + 3]);
                if (length == 0 || (meaning.first == ReplacementCharacter && !isWhole))
                    break;
                char16_t made[4];
                char16_t* end = writeUtf16(meaning.first, made);
                if (meaning.second != 0)
                    end = writeUtf16(meaning.second, end);
                const auto count = static_cast<std::size_t>(end - made);
                if (capacity - written < count)
                    break;
                std::copy_n(made, count, units + written);
                written += count;
                read += length;
                continue;
            }
        }
        if (entry == ReplacementCharacter)
            break;
        units[written++] = entry;
        read = next;
    }
    return {read, written};
}

} // namespace qx::codecs
