#pragma once

#include <algorithm>
#include <iterator>

#include <qx/net/detail/Codes.h>

namespace qx::net {

inline bool isInSet(const qx_socket_set& set, uint64_t socket) noexcept {
    const uint64_t* const end = set.sockets + set.count;
    return std::find(std::begin(set.sockets), end, socket) != end;
}

/// Puts a socket into a set that has room, once.
inline void addToSet(qx_socket_set& set, uint64_t socket) noexcept {
    if (!isInSet(set, socket))
        set.sockets[set.count++] = socket;
}

/// Takes the pending error of a socket: its code, that of the failure when it cannot be read.
inline ENUM_QX_E_SOCKET takePendingError(uint64_t socket) noexcept {
    int32_t number = 0;
    int32_t length = sizeof number;
    if (QXSocketGetOption(socket, QX_SOL_SOCKET, QX_SO_ERROR, &number, &length) != 0)
        return lastCode();
    return QX_E_SOCKETFromNativeSocketError(number);
}

} // namespace qx::net
