#include "DecodeTable.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
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

constexpr std::size_t Word = 8;

/// Takes @p Count bytes if they are ASCII.
template <std::size_t Count>
bool widenAscii(const uint8_t* in, char16_t* units) {
    std::array<uint64_t, Count / Word> words;
    std::memcpy(words.data(), in, Count);
    const uint64_t all = std::accumulate(words.begin(), words.end(), uint64_t{0}, std::bit_or{});
    if ((all & 0x8080808080808080u) != 0)
        return false;
    // Copies, which nothing else can be: a compiler makes vectors of them.
    std::array<uint8_t, Count> bytes;
    std::array<char16_t, Count> wide;
    std::memcpy(bytes.data(), in, Count);
    std::copy(bytes.begin(), bytes.end(), wide.begin());
    std::memcpy(units, wide.data(), sizeof wide);
    return true;
}

/// Takes ASCII by the words; returns the count of bytes.
std::size_t widenAsciiRun(const uint8_t* in, std::size_t size, char16_t* units) {
    std::size_t done = 0;
    while (size - done >= 2 * Word && widenAscii<2 * Word>(in + done, units + done))
        done += 2 * Word;
    if (size - done >= Word && widenAscii<Word>(in + done, units + done))
        done += Word;
    return done;
}

/// Two bytes as they lie in memory.
uint16_t pairAt(const uint8_t* bytes) {
    uint16_t pair;
    std::memcpy(&pair, bytes, sizeof pair);
    return pair;
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
    if (m_nodes.size() > 1)
        fillUnits();
    if (starts.empty()) // else a run is mostly shorter than a block
        findLeads();
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

/// A byte without meaning ends a block whatever follows it, so it may belong to a range.
void DecodeTable::findLeads() {
    constexpr std::size_t MostRanges = 3;
    const Node& root = m_nodes.front();
    bool isInRange = false;
    for (std::size_t byte = 0; byte < root.size(); ++byte) {
        if (m_isLead[byte]) {
            if (!isInRange)
                m_leads.push_back({static_cast<uint8_t>(byte), 0});
            Range& range = m_leads.back();
            range.count = static_cast<uint8_t>(byte - range.first + 1);
        }
        isInRange = m_isLead[byte] || (isInRange && root[byte] == ReplacementCharacter);
    }
    if (m_leads.size() > MostRanges)
        m_leads.clear();
}

void DecodeTable::fillUnits() {
    m_units.resize(std::size_t{256} * 256);
    const Node& root = m_nodes.front();
    for (std::size_t first = 0; first < 256; ++first) {
        const char16_t entry = root[first];
        const bool isLead = entry >= ToNode && entry < Wide;
        m_isLead[first] = isLead;
        for (std::size_t second = 0; second < 256; ++second) {
            const char16_t unit =
                isLead ? m_nodes[static_cast<std::size_t>(entry - ToNode)][second] : entry;
            const bool isUnit = !isSurrogate(unit) && unit != ReplacementCharacter;
            const uint8_t bytes[] = {static_cast<uint8_t>(first), static_cast<uint8_t>(second)};
            m_units[pairAt(bytes)] = isUnit ? unit : NoUnit;
        }
    }
}

/// One bit for each byte of a block that lies in one of the ranges.
uint64_t DecodeTable::leadsOf(const uint8_t* bytes) const {
    uint8_t isLead[Block] = {};
    for (const Range range : m_leads) {
        for (std::size_t i = 0; i < Block; ++i)
            isLead[i] |= static_cast<uint8_t>(bytes[i] - range.first) < range.count ? 1 : 0;
    }
    // Moves the lowest bits of eight bytes side by side into the highest byte.
    constexpr uint64_t Gather =
        std::endian::native == std::endian::little ? 0x0102040810204080 : 0x8040201008040201;
    uint64_t bits = 0;
    for (std::size_t i = 0; i < Block; i += Word) {
        uint64_t word;
        std::memcpy(&word, isLead + i, sizeof word);
        bits |= (word * Gather) >> 56 << i;
    }
    return bits;
}

/// Reads characters of one and two bytes from a block and the byte behind it, without a branch that
/// depends on their lengths.
DecodeTable::BlockEnd DecodeTable::decodeBlock(const uint8_t* bytes, char16_t* units,
                                               RunLength* done) const {
    constexpr uint64_t OddBits = 0xAAAAAAAAAAAAAAAA;
    // Of leads in a row every other one is the second byte of a character, and so is what stands
    // behind an odd number of them: the subtraction carries through each row.
    const uint64_t leads = leadsOf(bytes);
    const uint64_t seconds = (((leads << 1 | OddBits) - leads) ^ OddBits) ^ leads;
    uint64_t starts = ~seconds;
    std::size_t end = Block;
    BlockEnd kind = BlockEnd::Whole;
    if ((leads & starts) >> (Block - 1) != 0)
        starts ^= uint64_t{1} << --end;
    uint64_t singles = starts & ~leads;
    for (const int run : {1, 2, 4, 8, 16})
        singles &= singles >> run;
    if (m_keepsAscii && (singles & ~uint64_t{1}) != 0 && (singles & 1) == 0) {
        end = static_cast<std::size_t>(std::countr_zero(singles));
        starts &= (uint64_t{1} << end) - 1;
        kind = BlockEnd::Ascii;
    }
    const char16_t* const all = m_units.data();
    std::size_t written = 0;
    for (; starts != 0; starts &= starts - 1) {
        const auto start = static_cast<unsigned>(std::countr_zero(starts));
        const char16_t unit = all[pairAt(bytes + start)];
        if (unit == NoUnit) {
            *done = {start, written};
            return BlockEnd::Stopped;
        }
        units[written++] = unit;
    }
    *done = {end, written};
    return kind;
}

RunLength DecodeTable::decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                                 std::size_t capacity) const {
    const Node& root = m_nodes.front();
    std::size_t read = 0;
    std::size_t written = 0;
    const char16_t* const pairs = m_units.data();
    std::size_t blocksFrom = 0;
    while (read < size && written < capacity) {
        if (m_keepsAscii) {
            const std::size_t ascii = widenAsciiRun(
                bytes + read, std::min(size - read, capacity - written), units + written);
            if (ascii != 0) {
                read += ascii;
                written += ascii;
                continue;
            }
        }
        if (m_leads.empty()) {
            for (; size - read >= 2 && written < capacity && m_isLead[bytes[read]]; read += 2) {
                const char16_t unit = pairs[pairAt(bytes + read)];
                if (unit == NoUnit)
                    break;
                units[written++] = unit;
            }
            for (; read < size && written < capacity; ++read) {
                const char16_t unit = root[bytes[read]];
                if (isSurrogate(unit) || unit == ReplacementCharacter)
                    break;
                units[written++] = unit;
            }
            if (read == size || written == capacity)
                break;
        } else if (read >= blocksFrom) {
            RunLength run;
            BlockEnd end = BlockEnd::Whole;
            while (end == BlockEnd::Whole && size - read > Block && capacity - written >= Block) {
                end = decodeBlock(bytes + read, units + written, &run);
                read += run.read;
                written += run.written;
            }
            if (end == BlockEnd::Ascii)
                continue;
            // What stops a block early may do so again.
            if (end == BlockEnd::Stopped && run.read < Block / 4)
                blocksFrom = read + Block / 2;
            if (read == size || written == capacity)
                break;
        }
        char16_t entry = root[bytes[read]];
        std::size_t next = read + 1;
        if (isSurrogate(entry)) {
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
