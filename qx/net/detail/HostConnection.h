#pragma once

#include <cstdint>
#include <memory>

#include <qx/core/PlatformHandle.h>
#include <qx/net/socketerror.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>

namespace qx::net {

/// The addresses that a host resolves to.
using HostAddresses = std::unique_ptr<qx_addrinfo, decltype(&QXfreeaddrinfo)>;

/// Looks a host up for TCP, in any family. Null with the number of the failure in @p number.
QX_API HostAddresses resolveHost(const char* host, int32_t& number) noexcept;

/// A time limit that stands for none.
inline constexpr uint64_t NoLimit = UINT64_MAX;

/// A connection to one of the addresses of a host.
struct HostConnection {
    PlatformHandle<&QXSocketClose> socket;
    qx_sockaddr_union peer{};

    /// Tries the addresses in turn with the port until one takes the connection, all of them in
    /// @p milliseconds together. An address that does not answer may use as much of the time that
    /// is left as each one after it, so that the last one is tried too.
    /// @return QX_E_SOCKET_ETIMEDOUT when an address has run out of time, else the failure of the
    ///         first address
    QX_API ENUM_QX_E_SOCKET open(const qx_addrinfo& addresses, uint16_t port,
                                 uint64_t milliseconds) noexcept;

private:
    ENUM_QX_E_SOCKET openOne(const qx_addrinfo& address, uint16_t port,
                             uint32_t milliseconds) noexcept;
};

} // namespace qx::net
