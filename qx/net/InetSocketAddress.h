#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>

#include <qx/core/String.h>
#include <qx/net/InetAddress.h>
#include <qx/net/socketerror.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>

namespace qx::net {

/// Address of a host with a port.
///
/// Nothing here throws; what can fail returns a code, QX_E_SOCKET_EINVAL for a null argument. An
/// object whose constructor failed has no address. Used by one thread at a time.
class QX_API InetSocketAddress {
public:
    /// @p error receives QX_E_SOCKET_EINVAL for a null argument, else the code of
    /// InetAddress::create.
    InetSocketAddress(const qx_sockaddr_union* address, ENUM_QX_E_SOCKET* error);
    /// The same from a result of the resolver, whose canonical name is kept, with a port.
    InetSocketAddress(const qx_addrinfo* info, uint16_t portHostOrder, ENUM_QX_E_SOCKET* error);
    virtual ~InetSocketAddress() = default;
    InetSocketAddress(const InetSocketAddress&) = delete;
    InetSocketAddress& operator=(const InetSocketAddress&) = delete;

    /// The address, owned by this object; null when there is none.
    InetAddress* getAddress() const { return m_address.get(); }
    /// Empty unless the resolver gave one.
    const String& getCanonicalName() const { return m_canonicalName; }

    /// As the members of InetAddress; QX_E_SOCKET_EFAULT without an address.
    ENUM_QX_E_SOCKET getAddressStr(String& out) const;
    ENUM_QX_E_SOCKET getFamily(uint16_t* out) const;

    ENUM_QX_E_SOCKET getPortHostOrder(uint16_t* out) const;
    /// The port inside the socket address of getAddress stays as it is.
    ENUM_QX_E_SOCKET setPortHostOrder(uint16_t port);

    /// Appends "127.0.0.1:8080" or "[::1]:8080"; without an address "0address missing:8080".
    /// @return the code of getAddressStr, 0 without an address
    ENUM_QX_E_SOCKET getDiagnosticStr(String& out) const;

    /// The port of a TCP service by its name; 0 with an empty name and after a failure.
    /// @return QX_E_SOCKET_NO_DATA for an unknown name
    static ENUM_QX_E_SOCKET getPortHostOrderFromTcpServiceName(const char* serviceName,
                                                               uint16_t* out);

    /// Orders by address, then by port; the canonical name does not count. An object without an
    /// address comes first.
    friend QX_API std::strong_ordering operator<=>(const InetSocketAddress& left,
                                                   const InetSocketAddress& right) noexcept;
    friend bool operator==(const InetSocketAddress& left, const InetSocketAddress& right) noexcept {
        return left <=> right == 0;
    }
    /// Writes what getDiagnosticStr appends.
    friend QX_API std::ostream& operator<<(std::ostream& out, const InetSocketAddress& address);

private:
    friend struct std::hash<InetSocketAddress>;

    std::unique_ptr<InetAddress> m_address;
    uint16_t m_portHostOrder = 0;
    String m_canonicalName;
};

} // namespace qx::net

template <>
struct std::hash<qx::net::InetSocketAddress> {
    QX_API std::size_t operator()(const qx::net::InetSocketAddress& address) const noexcept;
};
