#include "qx/text/charset/detail/PageTables.h"

namespace qx::text::charset::detail {

namespace {

/// More places than these would crowd out of the cache what they are to speed up. Pages with the
/// ligatures at U+FB01 or Arabic forms beside letters have fewer.
constexpr std::size_t MostPlaces = 18 << 10;

/// The units with a byte, ascending, and those at both ends, so that there are two at least.
std::vector<char16_t> mappedUnits(const int32_t* offsets, const signed char* bytes) {
    std::vector<char16_t> units = {0};
    int32_t empty = -1; // the offset of a row without a byte; most rows share one
    for (int row = 0; row < 256; ++row) {
        if (offsets[row] == empty)
            continue;
        const std::size_t before = units.size();
        for (int i = 0; i < 256; ++i) {
            if (bytes[offsets[row] + i] != 0)
                units.push_back(static_cast<char16_t>(row << 8 | i));
        }
        if (units.size() == before)
            empty = offsets[row];
    }
    if (units.back() == 0)
        units.push_back(1);
    return units;
}

/// The bytes by place, none when the places are too many.
std::vector<uint8_t> bytesByPlace(const std::vector<char16_t>& units, const int32_t* offsets,
                                  const signed char* bytes) {
    const Gap gap(units);
    std::vector<uint8_t> byPlace(gap.placeCount() <= MostPlaces ? gap.placeCount() : 0);
    if (byPlace.empty())
        return byPlace;
    for (const char16_t unit : units)
        byPlace[gap.place(unit)] = byteFor(unit, offsets, bytes);
    return byPlace;
}

} // namespace

MadePageEncoder::MadePageEncoder(const int32_t* offsets, const signed char* bytes)
    : MadePageEncoder(offsets, bytes, mappedUnits(offsets, bytes)) {}

MadePageEncoder::MadePageEncoder(const int32_t* offsets, const signed char* bytes,
                                 const std::vector<char16_t>& units)
    : m_byPlace(bytesByPlace(units, offsets, bytes)),
      m_page(offsets, bytes, units, m_byPlace.empty() ? nullptr : m_byPlace.data()) {}

} // namespace qx::text::charset::detail
