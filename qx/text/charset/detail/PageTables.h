#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include <qx/platform/export.h>
#include <qx/text/charset/Surrogates.h>

/// What the kernels for code pages of one byte a character work with, made from the plain tables
/// ahead of their use.
namespace qx::text::charset::detail {

/// 256 values by their index, as what each differs from the index, which is asked for by shuffles:
/// first by the row of 16 that an index lies in, for the rows whose values follow each other, then
/// by the place in the row for each of the others, the leaves.
///
/// Where most rows are leaves, the rows of the upper half form a chain instead. Each is what its
/// differences have other than those of the row in front of it, so that all rows up to that of an
/// index together yield its difference.
struct RowTable {
    using Row = std::array<uint8_t, 16>;

    struct Leaf {
        Row start{}; ///< index of the first of its values, 16 times
        Row low{};
        Row high{};
    };

    Row low{}; ///< low and high bytes of the differences; 0 for the rows that are leaves
    Row high{};
    Row missing{}; ///< 0xFF for rows that have no value
    std::array<Leaf, 16> leaves{};
    std::size_t leafCount = 0;
    std::array<Leaf, 8> chain{};
    bool isChained = false;
    bool isWhole = true;    ///< every index has a value
    bool keepsAscii = true; ///< the first 128 indices are values of themselves

    /// @param none  what stands for no value
    constexpr explicit RowTable(std::span<const char16_t, 256> values, char16_t none) {
        for (std::size_t row = 0; row < low.size(); ++row) {
            const std::size_t start = 16 * row;
            const auto difference = [&](std::size_t i) {
                return static_cast<uint16_t>(values[start + i] - (start + i));
            };
            std::size_t absent = 0;
            std::size_t alike = 0;
            for (std::size_t i = 0; i < 16; ++i) {
                absent += values[start + i] == none ? 1 : 0;
                alike += difference(i) == difference(0) ? 1 : 0;
            }
            isWhole &= absent == 0;
            keepsAscii &= start >= 0x80 || (alike == 16 && difference(0) == 0);
            if (start >= 0x80) {
                for (std::size_t i = 0; i < 16; ++i) {
                    const auto before =
                        start > 0x80 ? values[start + i - 16] - (start + i - 16) : 0;
                    const auto other = static_cast<uint16_t>(difference(i) ^ before);
                    chain[row - 8].low[i] = static_cast<uint8_t>(other);
                    chain[row - 8].high[i] = static_cast<uint8_t>(other >> 8);
                }
            }
            if (absent == 16) {
                missing[row] = 0xFF;
            } else if (alike == 16) {
                low[row] = static_cast<uint8_t>(difference(0));
                high[row] = static_cast<uint8_t>(difference(0) >> 8);
            } else {
                Leaf& leaf = leaves[leafCount++];
                leaf.start.fill(static_cast<uint8_t>(start));
                for (std::size_t i = 0; i < 16; ++i) {
                    leaf.low[i] = static_cast<uint8_t>(difference(i));
                    leaf.high[i] = static_cast<uint8_t>(difference(i) >> 8);
                }
            }
        }
        isChained = keepsAscii && leafCount > 4;
    }
};

/// 256 units by their index, for pages with hardly a row whose units follow each other: the low
/// bytes as they are, and for each high byte other than 0 the places that have it.
struct UnitGrid {
    using Row = RowTable::Row;

    struct HighByte {
        Row value{}; ///< 16 times
        /// By the place in the row, a bit for each of the rows 0 to 7, and 8 to 15.
        Row inLowerRows{};
        Row inUpperRows{};
    };

    std::array<Row, 16> low{};
    std::array<HighByte, 3> highBytes{};
    std::size_t highByteCount = 0;
    bool fits = true; ///< there are not more high bytes

    constexpr explicit UnitGrid(std::span<const char16_t, 256> units) {
        for (std::size_t i = 0; i < units.size(); ++i) {
            const std::size_t row = i / 16;
            const std::size_t place = i % 16;
            low[row][place] = static_cast<uint8_t>(units[i]);
            HighByte* const high = highByte(static_cast<uint8_t>(units[i] >> 8));
            if (high)
                (row < 8 ? high->inLowerRows : high->inUpperRows)[place] |=
                    static_cast<uint8_t>(1u << row % 8);
        }
    }

private:
    /// The entry for a value; null when it needs none, and when there is no room for it.
    constexpr HighByte* highByte(uint8_t value) {
        if (value == 0)
            return nullptr;
        for (std::size_t i = 0; i < highByteCount; ++i) {
            if (highBytes[i].value[0] == value)
                return &highBytes[i];
        }
        if (highByteCount == highBytes.size()) {
            fits = false;
            return nullptr;
        }
        highBytes[highByteCount].value.fill(value);
        return &highBytes[highByteCount++];
    }
};

/// Units by byte.
struct PageDecoder {
    const char16_t* units; ///< 256 of them; U+FFFD for a byte without mapping
    RowTable rows;
    UnitGrid grid;
    bool isScattered; ///< decoded by the grid

    constexpr explicit PageDecoder(const char16_t* unitsByByte)
        : PageDecoder(std::span<const char16_t, 256>(unitsByByte, 256)) {}

private:
    constexpr explicit PageDecoder(std::span<const char16_t, 256> unitsByByte)
        : units(unitsByByte.data()), rows(unitsByByte, ReplacementCharacter), grid(unitsByByte),
          isScattered(!rows.keepsAscii && rows.leafCount > 4 && grid.fits) {}
};

/// The units of a page without the widest gap among them. The place of a unit is itself below the
/// gap; those of the units above follow one place behind, which all of the gap shares, and one more
/// place is for what lies above all of them.
struct Gap {
    char16_t start = 0; ///< first unit of the gap
    char16_t end = 0;   ///< first unit behind it, not 0
    uint16_t above = 0; ///< count of the places from there to the last unit of the page

    /// @param units  ascending, two at least
    constexpr explicit Gap(std::span<const char16_t> units) {
        std::size_t widest = 0;
        for (std::size_t i = 0; i + 1 < units.size(); ++i) {
            if (units[i + 1] - units[i] > units[widest + 1] - units[widest])
                widest = i;
        }
        start = static_cast<char16_t>(units[widest] + 1);
        end = units[widest + 1];
        above = static_cast<uint16_t>(units.back() - end + 1);
    }

    constexpr std::size_t placeCount() const { return std::size_t{start} + above + 2; }

    constexpr std::size_t place(char16_t unit) const {
        const int behind = std::max(unit - (end - 1), 0);
        return static_cast<std::size_t>(std::min(unit, start)) +
               static_cast<std::size_t>(std::min(behind, above + 1));
    }
};

/// The byte for a unit in tables of two levels; 0 when there is none.
constexpr uint8_t byteFor(char16_t unit, const int32_t* offsets, const signed char* bytes) {
    return static_cast<uint8_t>(bytes[offsets[unit >> 8] + (unit & 0xFF)]);
}

/// Bytes by unit, as byteFor finds them.
struct PageEncoder {
    const int32_t* offsets;
    const signed char* bytes;
    Gap gap;
    const uint8_t* byPlace; ///< bytes by the places of the gap; null when they are too many
    /// The high byte, other than 0, that most of the mapped units have.
    uint8_t secondRow;
    /// Bytes of the units with the high byte 0, and of those with that one, by the low byte.
    RowTable first;
    RowTable second;

    constexpr PageEncoder(const int32_t* offsetsByRow, const signed char* bytesByUnit,
                          std::span<const char16_t> units, const uint8_t* bytesByPlace)
        : offsets(offsetsByRow), bytes(bytesByUnit), gap(units), byPlace(bytesByPlace),
          secondRow(mostUsedRow(units)), first(bytesOfRow(0), 0), second(bytesOfRow(secondRow), 0) {
    }

    constexpr uint8_t byteOf(char16_t unit) const { return byteFor(unit, offsets, bytes); }

private:
    static constexpr uint8_t mostUsedRow(std::span<const char16_t> units) {
        std::array<int, 256> uses{};
        for (const char16_t unit : units)
            ++uses[unit >> 8];
        return static_cast<uint8_t>(std::max_element(uses.begin() + 1, uses.end()) - uses.begin());
    }

    constexpr std::array<char16_t, 256> bytesOfRow(unsigned row) const {
        std::array<char16_t, 256> values{};
        for (unsigned i = 0; i < 256; ++i)
            values[i] = byteOf(static_cast<char16_t>(row << 8 | i));
        return values;
    }
};

/// A PageEncoder with the memory for what it needs beside the plain tables. Exported for the tests.
class QX_API MadePageEncoder {
public:
    MadePageEncoder(const int32_t* offsets, const signed char* bytes);

    const PageEncoder& page() const { return m_page; }

private:
    MadePageEncoder(const int32_t* offsets, const signed char* bytes,
                    const std::vector<char16_t>& units);

    std::vector<uint8_t> m_byPlace;
    PageEncoder m_page;
};

} // namespace qx::text::charset::detail
