#pragma once

#include <cstdint>

#include <qx/core/PlatformHandle.h>
#include <qx/net/detail/HostConnection.h>
#include <qx/net/socketerror.h>
#include <qx/platform/net.h>
#include <qx/platform/process.h>

#include "Deadline.h"
#include "Place.h"

namespace qx::transport {

using Socket = PlatformHandle<&QXSocketClose>;

/// Code of a platform call that gives QX_SOCKET_ERROR when it fails.
inline ENUM_QX_E_SOCKET codeOf(int32_t call) {
    return call == QX_SOCKET_ERROR ? QX_E_SOCKETFromNativeSocketError(QXLastNativeSocketError())
                                   : 0;
}

/// Bytes of an address, as the calls of the platform take them.
inline int32_t lengthOf(const qx_sockaddr_union& address) {
    return address.family == QX_AF_INET6 ? sizeof address.ipv6 : sizeof address.ipv4;
}

/// Waits until a socket is ready for something of @p wanted, QX_POLL_... bits.
/// @return false when the time has run out, also of a socket that is ready: a peer that goes on
///     sending keeps nobody from seeing that
/// @throws ResultException with the code of the failure
bool await(const Socket& socket, uint32_t wanted, const Deadline& deadline);

/// The addresses of a place, at least one.
/// @throws ResultException with the code of the resolver
net::HostAddresses lookUp(const Place& place);

/// A new connection to one of the addresses with the port of a place, as HostConnection makes it.
/// @throws ResultException with its code
Socket connectTo(const net::HostAddresses& addresses, const Place& place, const Deadline& deadline);

/// Listens on the first address of a place.
class Listener {
public:
    /// @throws ResultException with the code of the resolver, of binding or of listening
    explicit Listener(const Place& place);
    ~Listener() { QXSocketEndListening(m_socket.get(), m_forkEpoch); }

    const Socket& socket() const noexcept { return m_socket; }
    uint16_t port() const noexcept { return m_port; }

    /// The next connection; none when there is none and the socket does not wait.
    /// @param peer  receives its address, unless null
    /// @throws ResultException with the code of the failure; the listener goes on
    Socket accept(qx_sockaddr_union* peer = nullptr) const;

private:
    const uint32_t m_forkEpoch = QXProcessGetForkEpoch();
    Socket m_socket;
    uint16_t m_port = 0;
};

} // namespace qx::transport
