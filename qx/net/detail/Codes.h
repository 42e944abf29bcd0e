#pragma once

#include <qx/core/Result.h>
#include <qx/net/socketerror.h>
#include <qx/platform/net.h>

namespace qx::net {

/// Code of the calling thread's last socket error.
inline ENUM_QX_E_SOCKET lastCode() noexcept {
    return QX_E_SOCKETFromNativeSocketError(QXLastNativeSocketError());
}

/// Code of a platform call that returns 0 or QX_SOCKET_ERROR.
inline ENUM_QX_E_SOCKET codeOfCall(int32_t result) noexcept {
    return result == QX_SOCKET_ERROR ? lastCode() : 0;
}

/// Runs @p body, which returns a code, where nothing may be thrown.
template <class Body>
ENUM_QX_E_SOCKET withoutThrowing(Body&& body) noexcept {
    const int32_t code = resultOf(body);
    return code == result::OutOfMemory ? QX_E_SOCKET_ENOBUFS : code;
}

} // namespace qx::net
