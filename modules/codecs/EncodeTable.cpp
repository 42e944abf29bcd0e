#include "EncodeTable.h"

#include <algorithm>
#include <cstring>
#include <set>

#include <qx/text/charset/Surrogates.h>

#include "DecodeTable.h"
#include "Iconv.h"

namespace qx::codecs {

using text::charset::isHighSurrogate;
using text::charset::isLowSurrogate;
using text::charset::isSurrogate;
using text::charset::joinSurrogates;
using text::charset::ReplacementCharacter;
using text::charset::RunLength;

namespace {

/// Units that are tested for ASCII at once.
constexpr std::size_t Block = 8;
/// Units that are looked up one by one before that is tried again.
constexpr std::size_t Group = 16;
constexpr char32_t LastUnit = 0xFFFF;

bool isAscii(const char16_t* block) {
    uint64_t halves[2];
    std::memcpy(halves, block, sizeof halves);
    return ((halves[0] | halves[1]) & 0xFF80FF80FF80FF80u) == 0;
}

} // namespace

EncodeTable::EncodeTable(const char* encoding, const DecodeTable& decode)
    : m_hasFourByteForms(decode.hasFourByteForms()) {
    Iconv converter = Iconv::encoder(encoding);
    std::set<char32_t> planes;
    decode.forEachWide([&](const std::string& sequence, const Meaning& meaning) {
        if (meaning.second == 0 && m_hasFourByteForms)
            set(meaning.first, sequence); // others of the plane have a form of four bytes
        else if (meaning.second == 0)
            planes.insert(meaning.first >> 16);
    });
    planes.insert(0);
    for (const char32_t plane : planes) {
        for (char32_t point = plane << 16; point <= (plane << 16 | LastUnit); ++point) {
            if (isSurrogate(point))
                continue;
            // The system swallows language tags, for which it writes nothing.
            if (const auto bytes = converter.encodeWhole(point); !bytes.empty())
                set(point, bytes);
        }
    }
    finish();
}

EncodeTable::EncodeTable(const DecodeTable& singleByte) {
    for (int value = 255; value >= 0; --value) { // the lowest byte of a unit counts
        const auto byte = static_cast<char>(value);
        const char16_t unit = singleByte.units()[value];
        if (unit != ReplacementCharacter)
            set(unit, {&byte, 1});
    }
    finish();
}

EncodeTable::Entry& EncodeTable::entryAt(char32_t codePoint) {
    const std::size_t block = codePoint >> 8;
    if (block >= m_offsets.size())
        m_offsets.resize((block | 0xFF) + 1, m_emptyOffset);
    int32_t& offset = m_offsets[block];
    if (offset == m_emptyOffset) {
        offset = static_cast<int32_t>(m_entries.size());
        m_entries.resize(m_entries.size() + 256);
    }
    return m_entries[static_cast<std::size_t>(offset) + (codePoint & 0xFF)];
}

void EncodeTable::set(char32_t codePoint, std::string_view bytes) {
    const std::size_t length = bytes.size();
    if (length > LongestCharacter)
        return;
    const auto* const raw = reinterpret_cast<const uint8_t*>(bytes.data());
    Entry value = 0;
    if (length == 4 && m_hasFourByteForms) {
        value = FourByteNumber << 24 | FourByteForm::number(raw);
    } else if (length == 4) {
        if (m_lead != 0 && m_lead != raw[0])
            return;
        m_lead = raw[0];
        value = FourBytes << 24 | static_cast<Entry>(raw[1]) | static_cast<Entry>(raw[2]) << 8 |
                static_cast<Entry>(raw[3]) << 16;
    } else {
        value = static_cast<Entry>(length) << 24;
        for (std::size_t i = 0; i < length; ++i)
            value |= static_cast<Entry>(raw[i]) << (8 * i);
    }
    entryAt(codePoint) = value;
    m_longest = std::max(m_longest, static_cast<int32_t>(length));
}

void EncodeTable::stopAt(char16_t unit) { entryAt(unit) |= Stop << 24; }

void EncodeTable::finish() {
    for (char16_t unit = 0; unit < 0x80; ++unit)
        m_keepsAscii = m_keepsAscii && entry(unit) == (1u << 24 | unit);
    if (m_longest > 1) {
        placeByUnit();
        return;
    }
    const bool isZeroItself = entry(0) == 1u << 24;
    if (m_offsets.size() > 256 || !isZeroItself)
        return;
    m_bytes.resize(m_entries.size());
    std::transform(m_entries.begin(), m_entries.end(), m_bytes.begin(),
                   [](uint32_t value) { return static_cast<signed char>(value & 0xFF); });
}

/// Gives each unit the entry at its own number, for runs that find it there.
void EncodeTable::placeByUnit() {
    std::vector<Entry> entries(LastUnit + 1);
    for (char32_t unit = 0; unit <= LastUnit; ++unit)
        entries[unit] = entry(unit);
    constexpr char32_t Empty = 0xD800; // no encoding has surrogates
    for (std::size_t row = 0; row < m_offsets.size(); ++row) {
        int32_t& offset = m_offsets[row];
        if (row <= LastUnit >> 8) {
            offset = static_cast<int32_t>(row << 8);
        } else if (offset == m_emptyOffset) {
            offset = Empty;
        } else {
            const auto from = m_entries.begin() + offset;
            offset = static_cast<int32_t>(entries.size());
            entries.insert(entries.end(), from, from + 256);
        }
    }
    m_emptyOffset = Empty;
    m_entries = std::move(entries);
    m_isByUnit = true;
}

std::size_t EncodeTable::write(Entry entry, uint8_t lead, uint8_t* bytes) {
    const uint32_t kind = kindOf(entry);
    const uint32_t value = entry & 0xFFFFFF;
    if (kind == FourByteNumber) {
        const auto form = FourByteForm::bytes(value);
        std::copy(form.begin(), form.end(), bytes);
        return form.size();
    }
    if (kind == FourBytes)
        *bytes++ = lead;
    const std::size_t count = std::min<std::size_t>(kind, 3);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    return kind;
}

std::size_t EncodeTable::encode(char32_t codePoint, uint8_t* bytes) const {
    const Entry known = codePoint >> 8 < m_offsets.size() ? entry(codePoint) : 0;
    if (kindOf(known) == 0 && m_hasFourByteForms && codePoint > LastUnit)
        return write(FourByteNumber << 24 | (codePoint - 0x10000 + FourByteForm::Supplementary),
                     m_lead, bytes);
    return write(known, m_lead, bytes);
}

/// Writes @p count characters of one unit and at most three bytes, each with all bytes of its
/// entry, whatever they are, or those up to the first other.
template <bool IsByUnit>
RunLength EncodeTable::encodeGroup(const char16_t* units, std::size_t count, uint8_t* bytes) const {
    const int32_t* const offsets = m_offsets.data();
    const Entry* const entries = m_entries.data();
    uint8_t* to = bytes;
    std::size_t read = 0;
    for (; read < count; ++read) {
        const char16_t unit = units[read];
        const std::size_t row =
            IsByUnit ? unit & ~std::size_t{0xFF} : static_cast<std::size_t>(offsets[unit >> 8]);
        const Entry value = entries[row + (unit & 0xFF)];
        const uint32_t length = value >> 24;
        if (length - 1 >= 3)
            break;
        for (std::size_t i = 0; i < LongestCharacter; ++i)
            to[i] = static_cast<uint8_t>(value >> (8 * i));
        to += length;
    }
    return {read, static_cast<std::size_t>(to - bytes)};
}

RunLength EncodeTable::encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                                 std::size_t capacity) const {
    const bool keepsAscii = m_keepsAscii; // a byte that is written might change a member
    const bool isByUnit = m_isByUnit;
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < size) {
        if (keepsAscii && size - read >= Block && capacity - written >= Block &&
            isAscii(units + read)) {
            std::transform(units + read, units + read + Block, bytes + written,
                           [](char16_t unit) { return static_cast<uint8_t>(unit); });
            read += Block;
            written += Block;
            continue;
        }
        const std::size_t group =
            std::min({Group, size - read, (capacity - written) / LongestCharacter});
        RunLength run;
        if (!isByUnit)
            run = encodeGroup<false>(units + read, group, bytes + written);
        else if (group == Group) // without a count that varies
            run = encodeGroup<true>(units + read, Group, bytes + written);
        else
            run = encodeGroup<true>(units + read, group, bytes + written);
        read += run.read;
        written += run.written;
        if (group != 0 && run.read == group)
            continue;
        char32_t point = units[read];
        std::size_t count = 1;
        if (isHighSurrogate(point) && size - read > 1 && isLowSurrogate(units[read + 1])) {
            point = joinSurrogates(units[read], units[read + 1]);
            count = 2;
        }
        const bool isStop = (entry(units[read]) >> 24 & Stop) != 0;
        uint8_t form[LongestCharacter];
        const std::size_t needed = isStop ? 0 : encode(point, form);
        if (needed == 0 || needed > capacity - written)
            break;
        std::copy_n(form, needed, bytes + written);
        written += needed;
        read += count;
    }
    return {read, written};
}

} // namespace qx::codecs
