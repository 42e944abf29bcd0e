#pragma once

// Code pages of one byte a character with the vectors of one instruction set; Utf8Encoder.h says
// how a source includes this.

#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/PageTables.h>
#include <qx/text/charset/detail/WideKernels.h>

namespace qx::text::charset::detail::QX_VECTOR_SPACE {

namespace {

/// What the values of vectors of bytes differ by from the bytes; see RowTable.
struct Differences {
    Vector low[2];
    Vector high[2];
};

template <bool WithHigh>
QX_INLINE_VECTOR Differences lookUp(const RowTable& table, const Vector (&blocks)[2]) {
    Differences result;
    if (table.isChained) {
        Vector index[2];
        for (size_t k = 0; k < 2; ++k) {
            index[k] = blocks[k] ^ repeated(0x8080);
            result.low[k] = result.high[k] = repeated(0);
        }
        for (const RowTable::Leaf& row : table.chain) {
            const Vector low = loadRow(row.low.data());
            const Vector high = loadRow(row.high.data());
            for (size_t k = 0; k < 2; ++k) {
                // Below the row the index is negative, and a shuffle answers 0.
                const Vector place = lowNibbles(index[k]);
                result.low[k] ^= shuffle(low, place);
                if (WithHigh)
                    result.high[k] ^= shuffle(high, place);
                index[k] = subtractSigned(index[k], repeated(0x1010));
            }
        }
        return result;
    }
    for (size_t k = 0; k < 2; ++k) {
        const Vector row = shiftRight<4>(blocks[k]) & repeated(0x0F0F);
        result.low[k] = shuffle(loadRow(table.low.data()), row);
        if (WithHigh)
            result.high[k] = shuffle(loadRow(table.high.data()), row);
    }
    const RowTable::Leaf* const end = table.leaves.data() + table.leafCount;
    for (const RowTable::Leaf* leaf = table.leaves.data(); leaf != end; ++leaf) {
        const Vector start = loadRow(leaf->start.data());
        const Vector low = loadRow(leaf->low.data());
        const Vector high = loadRow(leaf->high.data());
        for (size_t k = 0; k < 2; ++k) {
            const Vector index = placeInRow(blocks[k] ^ start);
            result.low[k] |= shuffle(low, index);
            if (WithHigh)
                result.high[k] |= shuffle(high, index);
        }
    }
    return result;
}

/// Set where no value is in the row.
QX_INLINE_VECTOR Vector missing(const RowTable& table, Vector block) {
    return shuffle(loadRow(table.missing.data()), shiftRight<4>(block) & repeated(0x0F0F));
}

/// Where the bytes of a vector lie among 256 in rows of 16.
struct GridPlaces {
    Vector inEven;    ///< the place in the row, with the top bit set where that row is an odd one
    Vector inOdd;     ///< and where it is an even one, so that a shuffle answers 0
    Vector rowHas[3]; ///< in the top bit: the number of the row has 2, 4, and 8
};

/// The bytes at the places, of the 2 << Bits rows from @p rows on: all rows are asked, two by two,
/// and each bit of the number of the row halves the answers.
template <unsigned Bits>
QX_INLINE_VECTOR Vector pick(const UnitGrid::Row* rows, const GridPlaces& places) {
    if constexpr (Bits == 0) {
        return shuffle(loadRow(rows[0].data()), places.inEven) |
               shuffle(loadRow(rows[1].data()), places.inOdd);
    } else {
        return selectByTopBit(places.rowHas[Bits - 1], pick<Bits - 1>(rows + (1u << Bits), places),
                              pick<Bits - 1>(rows, places));
    }
}

/// Decodes whole vectors by the grid of a page, as far as all bytes have a unit; returns how many.
QX_INLINE_VECTOR size_t decodeScattered(const uint8_t* in, size_t size, char16_t* out,
                                        const PageDecoder& page) {
    constexpr UnitGrid::Row BitOfRow = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const UnitGrid& grid = page.grid;
    const Vector unmapped = repeated(ReplacementCharacter);
    size_t i = 0;
    for (; size - i >= VectorBytes; i += VectorBytes) {
        const Vector block = loadToWiden(in + i);
        const Vector place = block & repeated(0x0F0F);
        const Vector inEven = place | (shiftLeft<3>(block) & repeated(0x8080));
        const GridPlaces places{
            inEven, inEven ^ repeated(0x8080), {shiftLeft<2>(block), shiftLeft<1>(block), block}};
        const Vector low = pick<3>(grid.low.data(), places);
        const Vector row =
            shuffle(loadRow(BitOfRow.data()), shiftRight<4>(block) & repeated(0x0F0F));
        Vector high = repeated(0);
        for (size_t k = 0; k < grid.highByteCount; ++k) {
            const UnitGrid::HighByte& one = grid.highBytes[k];
            const Vector rows =
                selectByTopBit(block, shuffle(loadRow(one.inUpperRows.data()), place),
                               shuffle(loadRow(one.inLowerRows.data()), place));
            high |= equalBytes(rows & row, row) & loadRow(one.value.data());
        }
        const Vector front = joinLow(low, high);
        const Vector behind = joinHigh(low, high);
        if (!page.rows.isWhole) {
            const Vector faults = equalUnits(front, unmapped) | equalUnits(behind, unmapped);
            if (!hasNone(faults, faults))
                break;
        }
        store(front, out + i);
        store(behind, out + i + VectorUnits);
    }
    return i;
}

QX_INLINE_VECTOR size_t decodePage(const uint8_t* in, size_t size, char16_t* out,
                                   const PageDecoder& page) {
    if (page.isScattered) {
        const size_t done = decodeScattered(in, size, out, page);
        return done + WideKernels.decodeBytes(in + done, size - done, out + done, page);
    }
    const Vector top = repeated(0x8080);
    const Vector unmapped = repeated(ReplacementCharacter);
    const bool keepsAscii = page.rows.keepsAscii;
    const bool isWhole = page.rows.isWhole;
    size_t i = 0;
    const Vector zero = repeated(0);
    for (; size - i >= 2 * VectorBytes; i += 2 * VectorBytes) {
        const Vector blocks[] = {loadToWiden(in + i), loadToWiden(in + i + VectorBytes)};
        if (keepsAscii && hasNone(blocks[0] | blocks[1], top)) {
            for (size_t k = 0; k < 2; ++k) {
                store(joinLow(blocks[k], zero), out + i + k * VectorBytes);
                store(joinHigh(blocks[k], zero), out + i + k * VectorBytes + VectorUnits);
            }
            continue;
        }
        const Differences differences = lookUp<true>(page.rows, blocks);
        Vector units[4];
        for (size_t k = 0; k < 2; ++k) {
            const Vector low = differences.low[k];
            const Vector high = differences.high[k];
            units[2 * k] = addUnits(joinLow(low, high), joinLow(blocks[k], zero));
            units[2 * k + 1] = addUnits(joinHigh(low, high), joinHigh(blocks[k], zero));
        }
        if (!isWhole) {
            Vector faults = missing(page.rows, blocks[0]) | missing(page.rows, blocks[1]);
            for (const Vector& some : units)
                faults |= equalUnits(some, unmapped);
            if (!hasNone(faults, faults))
                break;
        }
        for (size_t k = 0; k < 4; ++k)
            store(units[k], out + i + k * VectorUnits);
    }
    return i + WideKernels.decodeBytes(in + i, size - i, out + i, page);
}

constexpr size_t PageGroup = 64; ///< units that are encoded in one way
constexpr size_t PageGroupVectors = PageGroup / VectorUnits;

// The ways of encoding a group. Each writes all its bytes and returns whether they hold: one is 0
// where a unit has none, and also for U+0000.

/// Units below 0x100.
QX_INLINE_VECTOR bool encodeFirst(const PageEncoder& page, const Vector (&blocks)[PageGroupVectors],
                                  uint8_t* out) {
    const Vector zero = repeated(0);
    Vector faults = zero;
    for (size_t k = 0; k < PageGroupVectors; k += 4, out += 4 * VectorUnits) {
        const Vector bytes[] = {narrow(blocks[k], blocks[k + 1]),
                                narrow(blocks[k + 2], blocks[k + 3])};
        const Differences differences = lookUp<false>(page.first, bytes);
        for (size_t b = 0; b < 2; ++b) {
            const Vector mapped = addBytes(bytes[b], differences.low[b]);
            faults |= equalBytes(mapped, zero) | missing(page.first, bytes[b]);
            store(mapped, out + 2 * VectorUnits * b);
        }
    }
    return hasNone(faults, faults);
}

/// Units of two high bytes.
QX_INLINE_VECTOR bool encodeTwoRows(const PageEncoder& page,
                                    const Vector (&blocks)[PageGroupVectors], uint8_t* out) {
    const Vector zero = repeated(0);
    const Vector secondRow = repeated(static_cast<uint16_t>(page.secondRow * 0x0101));
    Vector faults = zero;
    for (size_t k = 0; k < PageGroupVectors; k += 4, out += 4 * VectorUnits) {
        Vector low[2];
        Vector high[2];
        for (size_t b = 0; b < 2; ++b) {
            const Vector front = blocks[k + 2 * b];
            const Vector behind = blocks[k + 2 * b + 1];
            low[b] = narrow(front & repeated(0x00FF), behind & repeated(0x00FF));
            high[b] = narrow(shiftRight<8>(front), shiftRight<8>(behind));
        }
        const Differences first = lookUp<false>(page.first, low);
        const Differences second = lookUp<false>(page.second, low);
        for (size_t b = 0; b < 2; ++b) {
            const Vector isFirst = equalBytes(high[b], zero);
            const Vector isSecond = equalBytes(high[b], secondRow);
            const Vector mapped = addBytes(low[b], select(isSecond, second.low[b], first.low[b]));
            const Vector isMissing =
                select(isSecond, missing(page.second, low[b]), missing(page.first, low[b]));
            faults |= equalBytes(mapped, zero) | isMissing | equalBytes(isFirst | isSecond, zero);
            store(mapped, out + 2 * VectorUnits * b);
        }
    }
    return hasNone(faults, faults);
}

/// Any units of a page that has places for them.
QX_INLINE_VECTOR bool encodeByPlace(const PageEncoder& page,
                                    const Vector (&blocks)[PageGroupVectors], uint8_t* out) {
    const uint8_t* const byPlace = page.byPlace;
    if (!byPlace)
        return false;
    alignas(Vector) uint16_t places[PageGroup];
    const Vector gapStart = repeated(page.gap.start);
    const Vector beforeEnd = repeated(static_cast<uint16_t>(page.gap.end - 1));
    const Vector pastAll = repeated(static_cast<uint16_t>(page.gap.above + 1));
    for (size_t k = 0; k < PageGroupVectors; ++k) {
        const Vector behind = subtractSaturated(blocks[k], beforeEnd);
        store(addUnits(leastOfUnits(blocks[k], gapStart), leastOfUnits(behind, pastAll)),
              places + k * VectorUnits);
    }
    const Sixteen zero{};
    Sixteen faults = zero;
    for (size_t i = 0; i < PageGroup; i += 16) {
        const Sixteen bytes = gather(byPlace, places + i);
        faults |= equalBytes(bytes, zero);
        store(bytes, out + i);
    }
    return hasNone(faults, faults);
}

QX_INLINE_VECTOR size_t encodePage(const char16_t* in, size_t size, uint8_t* out,
                                   const PageEncoder& page) {
    // Text with units of more than two rows has them in most groups.
    constexpr size_t GroupsByPlace = 8;
    size_t twoRowsFrom = 0;
    size_t i = 0;
    for (; size - i >= PageGroup; i += PageGroup) {
        Vector blocks[PageGroupVectors];
        Vector all = repeated(0);
        for (size_t k = 0; k < PageGroupVectors; ++k) {
            blocks[k] = load(in + i + k * VectorUnits);
            all |= blocks[k];
        }
        if (hasNone(all, repeated(0xFF80)) && page.first.keepsAscii) {
            for (size_t k = 0; k < PageGroupVectors; k += 2)
                store(narrow(blocks[k], blocks[k + 1]), out + i + k * VectorUnits);
            continue;
        }
        if (hasNone(all, repeated(0xFF00))) {
            if (encodeFirst(page, blocks, out + i))
                continue;
        } else if (i >= twoRowsFrom) {
            if (encodeTwoRows(page, blocks, out + i))
                continue;
            twoRowsFrom = i + GroupsByPlace * PageGroup;
        }
        if (!encodeByPlace(page, blocks, out + i)) {
            const size_t mapped = WideKernels.encodeUnits(in + i, PageGroup, out + i, page);
            if (mapped != PageGroup)
                return i + mapped;
        }
    }
    return i + WideKernels.encodeUnits(in + i, size - i, out + i, page);
}

} // namespace

} // namespace qx::text::charset::detail::QX_VECTOR_SPACE
