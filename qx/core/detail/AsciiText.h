#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace qx::detail {

/// The text as ASCII. Other units become 0, at which whoever reads a number or a word stops.
inline std::string asciiOf(std::u16string_view text) {
    std::string bytes(text.size(), '\0');
    std::transform(text.begin(), text.end(), bytes.begin(),
                   [](char16_t unit) { return unit < 0x80 ? static_cast<char>(unit) : '\0'; });
    return bytes;
}

} // namespace qx::detail
