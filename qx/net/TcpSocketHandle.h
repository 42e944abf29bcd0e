#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>

namespace qx::net {

/// Owner of a connected socket, which is closed when the last reference goes. A socket object and
/// its streams hold one together.
class QX_API TcpSocketHandle : public Object {
public:
    /// Takes over @p socket, a native socket number.
    explicit TcpSocketHandle(uint64_t socket) noexcept : m_socket(socket) {}

    uint64_t getSocket() const noexcept { return m_socket.get(); }

private:
    const PlatformHandle<&QXSocketClose> m_socket;
};

} // namespace qx::net
