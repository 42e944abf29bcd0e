#pragma once

#include <string_view>

namespace qx::platform {

/// @p text cut to at most @p length bytes, not inside a character of UTF-8.
inline std::string_view cutUtf8(std::string_view text, size_t length) noexcept {
    if (text.size() <= length)
        return text;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
        --length;
    return text.substr(0, length);
}

} // namespace qx::platform
