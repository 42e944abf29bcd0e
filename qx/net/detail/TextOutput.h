#pragma once

#include <cstring>
#include <utility>

#include <qx/core/String.h>
#include <qx/net/detail/Codes.h>

namespace qx::net {

/// Empties a text output of the C interface, of which any part may be null: its capacity, which
/// @p length holds on entry.
inline uint32_t beginText(char* buffer, uint32_t* length) noexcept {
    const uint32_t capacity = length != nullptr ? std::exchange(*length, 0u) : 0;
    if (buffer != nullptr && capacity > 0)
        buffer[0] = 0;
    return capacity;
}

/// Stores a text and a terminating nul, which @p length counts; QX_E_SOCKET_EFAULT when they do not
/// fit.
inline ENUM_QX_E_SOCKET storeText(const String& text, char* buffer, uint32_t capacity,
                                  uint32_t* length) {
    const char* const bytes = text.getDataT<char>();
    const size_t size = std::strlen(bytes) + 1;
    if (size > capacity)
        return QX_E_SOCKET_EFAULT;
    std::memcpy(buffer, bytes, size);
    *length = static_cast<uint32_t>(size);
    return 0;
}

/// Stores the text that @p append adds to a string, which returns a code; QX_E_SOCKET_EINVAL for a
/// null pointer.
template <class Append>
ENUM_QX_E_SOCKET giveText(char* buffer, uint32_t* length, Append&& append) noexcept {
    const uint32_t capacity = beginText(buffer, length);
    if (buffer == nullptr || length == nullptr)
        return QX_E_SOCKET_EINVAL;
    return withoutThrowing([&]() -> ENUM_QX_E_SOCKET {
        String text;
        const ENUM_QX_E_SOCKET code = append(text);
        return code != 0 ? code : storeText(text, buffer, capacity, length);
    });
}

} // namespace qx::net
