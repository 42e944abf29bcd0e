#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/platform/text.h>

namespace qx::util::detail {

/// The text that a platform call, @p call (buffer, capacity), writes into a buffer, which grows
/// until it fits.
/// @param subject  what it is asked about, for the exception
/// @param room     bytes to begin with
/// @throws ResultException with the result of the call
template <class Call>
std::string textOf(Call&& call, TextView subject = {}, std::size_t room = 261) {
    // Beyond any text that a system hands out, and what one of that room becomes in any encoding; a
    // guard against growing for ever.
    const std::size_t maxBytes =
        std::min(std::max(std::size_t{1} << 24, 8 * room), std::size_t{INT32_MAX});
    std::string buffer(room, '\0');
    for (;;) {
        const int32_t result = call(buffer.data(), static_cast<int32_t>(buffer.size()));
        if (result != result::BufferTooSmall || buffer.size() >= maxBytes) {
            throwIfFailedOf(result, subject);
            buffer.resize(std::strlen(buffer.c_str()));
            return buffer;
        }
        buffer.resize(std::min(2 * buffer.size(), maxBytes));
    }
}

/// The text in the default encoding.
/// @throws ResultException when that has no form for it
inline std::string narrowed(const String& text) {
    const auto room = std::max(size_t{261}, static_cast<size_t>(text.getLength()) + 1);
    return textOf(
        [&text](char* buffer, int32_t capacity) {
            return QXUnicodeToAnsi(text.getData(), text.getLength(), buffer, capacity);
        },
        {}, room);
}

} // namespace qx::util::detail
