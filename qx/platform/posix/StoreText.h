#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

#include <qx/platform/result.h>

namespace qx::platform {

/// Copies a text and a 0 behind it to a caller's buffer of @p capacity bytes, or of that many
/// UTF-16 units when the text is ASCII. One that does not fit leaves an empty text there.
/// @return result::BufferTooSmall for such a text, result::NullPointer without a buffer
template <class Unit>
int32_t storeText(std::string_view text, Unit* buffer, int32_t capacity) noexcept {
    if (buffer == nullptr)
        return result::NullPointer;
    if (capacity < 1)
        return result::BufferTooSmall;
    buffer[0] = 0;
    if (text.size() >= static_cast<size_t>(capacity))
        return result::BufferTooSmall;
    *std::transform(text.begin(), text.end(), buffer, [](char byte) {
        return static_cast<Unit>(static_cast<unsigned char>(byte));
    }) = 0;
    return result::Ok;
}

} // namespace qx::platform
