#pragma once

#include <cstdint>
#include <string_view>

namespace qx::detail {

/// Hash of a text by units at equal distances: all of them up to 63, every second up to 95, and so
/// on. @p fold (unit) maps each unit first.
template <class Fold>
uint32_t sampledHash(std::u16string_view text, Fold&& fold) {
    const auto length = static_cast<int32_t>(text.size());
    const auto step = static_cast<size_t>((length - 32) / 32 + 1);
    uint32_t hash = 0;
    for (size_t i = 0; i < text.size(); i += step)
        hash = hash * 37 + fold(text[i]);
    return hash;
}

inline uint32_t sampledHash(std::u16string_view text) {
    return sampledHash(text, [](char16_t unit) { return unit; });
}

} // namespace qx::detail
