#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace qx::detail {

/// Hash of every unit at a multiple of @p step, a number or a constant. @p fold (unit) maps each
/// unit first.
template <class Step, class Fold>
constexpr uint32_t steppedHash(std::u16string_view text, Step step, Fold& fold) {
    const char16_t* const units = text.data();
    uint32_t hash = 0;
    size_t i = 0;
    // Horner's scheme four units at a time: the multiplications of one round do not wait for each
    // other.
    for (; i + 3 * step < text.size(); i += 4 * step) {
        hash = hash * (37 * 37 * 37 * 37) + fold(units[i]) * (37u * 37 * 37) +
               fold(units[i + step]) * (37u * 37) + fold(units[i + 2 * step]) * 37u +
               fold(units[i + 3 * step]);
    }
    for (; i < text.size(); i += step)
        hash = hash * 37 + fold(units[i]);
    return hash;
}

/// Hash of a text by units at equal distances: all of them up to 63, every second up to 95, and so
/// on. @p fold (unit) maps each unit first.
template <class Fold>
constexpr uint32_t sampledHash(std::u16string_view text, Fold&& fold) {
    if (text.size() < 64) [[likely]]
        return steppedHash(text, std::integral_constant<size_t, 1>(), fold);
    const auto length = static_cast<int32_t>(text.size());
    return steppedHash(text, static_cast<size_t>((length - 32) / 32 + 1), fold);
}

constexpr uint32_t sampledHash(std::u16string_view text) {
    return sampledHash(text, [](char16_t unit) { return unit; });
}

} // namespace qx::detail
