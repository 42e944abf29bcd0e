#pragma once

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
/// @throws ResultException with the result of the call
template <class Call>
std::string textOf(Call&& call, TextView subject = {}) {
    // Beyond any text that a system hands out; a guard against growing for ever.
    constexpr std::size_t maxBytes = std::size_t{1} << 24;
    std::string buffer(261, '\0');
    for (;;) {
        const int32_t result = call(buffer.data(), static_cast<int32_t>(buffer.size()));
        if (result != result::BufferTooSmall || buffer.size() >= maxBytes) {
            throwIfFailedOf(result, subject);
            buffer.resize(std::strlen(buffer.c_str()));
            return buffer;
        }
        buffer.resize(2 * buffer.size());
    }
}

/// The text in the default encoding.
/// @throws ResultException when that has no form for it
inline std::string narrowed(const String& text) {
    return textOf([&text](char* buffer, int32_t capacity) {
        return QXUnicodeToAnsi(text.getData(), text.getLength(), buffer, capacity);
    });
}

} // namespace qx::util::detail
