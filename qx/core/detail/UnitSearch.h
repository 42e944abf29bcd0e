#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include <qx/core/detail/CheckedSize.h>

namespace qx::detail {

/// Length of a text as the signed 32 bits of the interface.
constexpr int32_t lengthOf(std::u16string_view text) {
    return checkedSize(static_cast<int64_t>(text.size()));
}

/// @p count, or @p end for -1 and for what lies beyond the end.
constexpr int32_t limited(int32_t count, int32_t end) {
    return count < 0 || count > end ? end : count;
}

/// Distance to the first difference of two runs of @p count units, or @p count. In steps of 16
/// units.
size_t mismatch(const char16_t* left, const char16_t* right, size_t count) noexcept;

/// First place of @p unit in @p text, or npos. In steps of 16 units.
size_t findUnit(std::u16string_view text, char16_t unit) noexcept;

/// First place of @p pattern, which is not empty, in @p text, or npos. Looks for its first and last
/// unit at once in steps of 16 units and compares the rest where both stand; at worst the product
/// of the lengths.
size_t findText(std::u16string_view text, std::u16string_view pattern) noexcept;

/// A set of units: ASCII by a bit map, the rest by search.
class UnitSet {
public:
    /// Refers to @p units.
    explicit UnitSet(std::u16string_view units) noexcept : m_units(units) {
        for (const char16_t unit : units) {
            if (unit < 128)
                m_ascii[unit / 64] |= uint64_t{1} << (unit % 64);
            else
                m_hasOthers = true;
        }
    }
    bool has(char16_t unit) const noexcept {
        if (unit < 128)
            return (m_ascii[unit / 64] >> (unit % 64) & 1) != 0;
        return m_hasOthers && findUnit(m_units, unit) != std::u16string_view::npos;
    }

private:
    std::u16string_view m_units;
    std::array<uint64_t, 2> m_ascii{};
    bool m_hasOthers = false;
};

} // namespace qx::detail
