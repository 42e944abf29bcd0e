#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <qx/core/detail/UnitSearch.h>
#include <qx/platform/text.h>

namespace qx::util::detail {

/// Whether @p left comes first in the order by unit.
inline bool precedes(std::u16string_view left, std::u16string_view right) noexcept {
    const size_t common = std::min(left.size(), right.size());
    const size_t at = qx::detail::mismatch(left.data(), right.data(), common);
    return at < common ? left[at] < right[at] : left.size() < right.size();
}

inline bool hasSameUnits(std::u16string_view left, std::u16string_view right) noexcept {
    return left.size() == right.size() &&
           (left.empty() ||
            std::memcmp(left.data(), right.data(), left.size() * sizeof(char16_t)) == 0);
}

/// A text in lower case, unit by unit, with a hash of its units that is another one in every
/// process: what names without regard to case go by.
class FoldedText {
public:
    FoldedText() noexcept = default;
    explicit FoldedText(std::u16string_view text) { assign(text); }
    FoldedText(const FoldedText&) = delete;
    FoldedText& operator=(const FoldedText&) = delete;

    void assign(std::u16string_view text) {
        char16_t* units = m_short;
        if (text.size() > std::size(m_short)) {
            m_long.resize(text.size());
            units = m_long.data();
        }
        m_text = {units, text.size()};
        if (foldAscii(text, units))
            return;
        text.copy(units, text.size());
        QXTextToLowerW(units, static_cast<int32_t>(text.size()));
        foldAscii<true>(m_text, units);
    }

    std::u16string_view text() const noexcept { return m_text; }
    uint32_t hash() const noexcept { return m_hash; }

private:
    static constexpr uint64_t EachUnit = 0x0001'0001'0001'0001;

    /// Four units in lower case, if they are ASCII.
    static uint64_t lowerAscii(uint64_t units) noexcept {
        const uint64_t fromA = units + EachUnit * (0x8000 - u'A');
        const uint64_t behindZ = units + EachUnit * (0x8000 - u'Z' - 1);
        return units | ((fromA & ~behindZ & (EachUnit * 0x8000)) >> 10);
    }

    static bool isAscii(uint64_t units) noexcept { return (units & (EachUnit * 0xFF80)) == 0; }

    static uint64_t mix(uint64_t hash, uint64_t units) noexcept {
        __extension__ using Product = unsigned __int128;
        // Odd bits without pattern: the fraction of the golden ratio.
        const Product product = static_cast<Product>(hash ^ units) * 0x9E3779B97F4A7C15;
        return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
    }

    /// Writes the units in lower case and hashes them, in one pass; false at the first that is not
    /// ASCII. With @p IsFolded any units are hashed as they are.
    template <bool IsFolded = false>
    bool foldAscii(std::u16string_view text, char16_t* out) noexcept {
        const char16_t* in = text.data();
        const char16_t* const end = in + text.size();
        uint64_t hash = seed() + text.size();
        for (; end - in >= 4; in += 4, out += 4) {
            uint64_t units;
            std::memcpy(&units, in, sizeof units);
            if constexpr (!IsFolded) {
                if (!isAscii(units))
                    return false;
                units = lowerAscii(units);
                std::memcpy(out, &units, sizeof units);
            }
            hash = mix(hash, units);
        }
        uint64_t units = 0;
        for (int shift = 0; in < end; ++in, ++out, shift += 16) {
            uint64_t unit = *in;
            if constexpr (!IsFolded) {
                if (!isAscii(unit))
                    return false;
                *out = static_cast<char16_t>(unit = lowerAscii(unit) & 0xFFFF);
            }
            units |= unit << shift;
        }
        hash = mix(hash, units);
        m_hash = static_cast<uint32_t>(hash ^ hash >> 32);
        return true;
    }

    static uint64_t seed() noexcept {
        static constinit char place = 0; // its address is as random as the system makes it
        return reinterpret_cast<uintptr_t>(&place);
    }

    char16_t m_short[64];
    std::u16string m_long;
    std::u16string_view m_text;
    uint32_t m_hash = 0;
};

} // namespace qx::util::detail
