#pragma once

#include <array>
#include <cstdint>

/// Byte-shuffle patterns that close the gaps between the lanes of a 16-byte vector. Each pattern
/// lists the source positions of the bytes to keep; the places behind them are 0x80, which a
/// shuffle turns into a zero byte. Computed by the compiler: 4 KiB per table.
namespace qx::text::charset::detail {

using Shuffle = std::array<uint8_t, 16>;

struct alignas(64) ShuffleTable {
    std::array<Shuffle, 256> rows;

    const uint8_t* operator[](size_t index) const { return rows[index].data(); }
};

/// @p keep (index, byte) tells whether the pattern of that index keeps the source byte.
template <class Keep>
constexpr ShuffleTable makeShuffles(Keep keep) {
    ShuffleTable table{};
    for (unsigned index = 0; index < 256; ++index) {
        Shuffle& row = table.rows[index];
        row.fill(0x80);
        unsigned kept = 0;
        for (unsigned byte = 0; byte < 16; ++byte) {
            if (keep(index, byte))
                row[kept++] = static_cast<uint8_t>(byte);
        }
    }
    return table;
}

/// Eight 16-bit lanes; bit i of the index is set when lane i stays.
inline constexpr ShuffleTable KeepUnits =
    makeShuffles([](unsigned index, unsigned byte) { return (index >> (byte / 2) & 1) != 0; });

/// Eight 16-bit lanes, whose last byte stays; the first stays where bit i of the index is set.
inline constexpr ShuffleTable OneOrTwoBytes = makeShuffles(
    [](unsigned index, unsigned byte) { return byte % 2 == 1 || (index >> (byte / 2) & 1) != 0; });

/// Four 32-bit lanes, whose last byte stays; of lane i the third byte stays where bit 2i of the
/// index is set, the second where bit 2i + 1 is, the first never.
inline constexpr ShuffleTable OneToThreeBytes = makeShuffles([](unsigned index, unsigned byte) {
    const unsigned kept = index >> (2 * (byte / 4)); // bit 0: third byte, bit 1: second byte
    switch (byte % 4) {
    case 3:
        return true;
    case 2:
        return (kept & 1) != 0;
    case 1:
        return (kept & 2) != 0;
    default:
        return false;
    }
});

} // namespace qx::text::charset::detail
