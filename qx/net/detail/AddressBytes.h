#pragma once

#include <cstddef>
#include <cstring>

#include <qx/net/socketerror.h>

namespace qx::net {

/// The getters of both address classes: a length, and bytes into a buffer whose capacity comes in.
inline ENUM_QX_E_SOCKET giveLength(size_t value, size_t* length) noexcept {
    if (length == nullptr)
        return QX_E_SOCKET_EINVAL;
    *length = value;
    return 0;
}

inline ENUM_QX_E_SOCKET giveBytes(const void* bytes, size_t count, void* buffer,
                                  size_t* length) noexcept {
    if (buffer == nullptr || length == nullptr)
        return QX_E_SOCKET_EINVAL;
    const bool fits = *length >= count;
    *length = count;
    if (!fits)
        return QX_E_SOCKET_EMSGSIZE;
    std::memcpy(buffer, bytes, count);
    return 0;
}

} // namespace qx::net
