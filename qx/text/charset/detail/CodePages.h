#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <qx/platform/export.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/PageTables.h>

/// The single-byte code pages. Their upper halves are generated from the published mappings, and
/// the compiler makes both tables of a page from that.
namespace qx::text::charset::detail {

/// One code page, both ways.
struct CodePage {
    const char16_t* name;
    PageDecoder decoder;
    PageEncoder encoder;
};

/// The units of the bytes from 0x80 on, U+FFFD for one that the page leaves undefined. The bytes
/// below are ASCII in every page.
using UpperHalf = std::array<char16_t, 128>;

/// The tables of a page, which lie in the program's constant data.
template <const UpperHalf& Upper>
struct CodePageTables {
    static constexpr auto Units = [] {
        std::array<char16_t, 256> units{};
        for (std::size_t byte = 0; byte < 256; ++byte)
            units[byte] = byte < 128 ? static_cast<char16_t>(byte) : Upper[byte - 128];
        return units;
    }();

    /// The many high bytes that a page never uses share the first 256 of Bytes, all 0, so that a
    /// page takes some 2 KiB in place of 64.
    static constexpr auto Offsets = [] {
        std::array<int32_t, 256> offsets{};
        int32_t last = 0;
        for (const char16_t unit : Units) {
            int32_t& offset = offsets[unit >> 8];
            if (unit != ReplacementCharacter && offset == 0)
                offset = last += 256;
        }
        return offsets;
    }();

    static constexpr auto Bytes = [] {
        std::array<signed char, std::ranges::max(Offsets) + 256> bytes{};
        for (int byte = 0; byte < 256; ++byte) {
            const char16_t unit = Units[static_cast<std::size_t>(byte)];
            if (unit != ReplacementCharacter)
                bytes[static_cast<std::size_t>(Offsets[unit >> 8] + (unit & 0xFF))] =
                    static_cast<signed char>(byte);
        }
        return bytes;
    }();

    /// All units of the page, ascending; 0 for bytes without one.
    static constexpr auto Sorted = [] {
        std::array<char16_t, 256> sorted = Units;
        std::ranges::replace(sorted, ReplacementCharacter, char16_t{0});
        std::ranges::sort(sorted);
        return sorted;
    }();

    static constexpr auto ByPlace = [] {
        constexpr Gap gap(Sorted);
        std::array<uint8_t, gap.placeCount()> bytes{};
        for (std::size_t byte = 0; byte < 256; ++byte) {
            if (Units[byte] != ReplacementCharacter)
                bytes[gap.place(Units[byte])] = static_cast<uint8_t>(byte);
        }
        return bytes;
    }();
};

template <const UpperHalf& Upper>
constexpr CodePage codePage(const char16_t* name) {
    using Tables = CodePageTables<Upper>;
    return {name, PageDecoder(Tables::Units.data()),
            PageEncoder(Tables::Offsets.data(), Tables::Bytes.data(), Tables::Sorted,
                        Tables::ByPlace.data())};
}

QX_API extern const CodePage CodePage437;
QX_API extern const CodePage CodePage1252;

} // namespace qx::text::charset::detail
