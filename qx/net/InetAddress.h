#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include <qx/net/socketerror.h>
#include <qx/platform/export.h>
#include <qx/platform/net.h>

namespace qx {
class String;
}

namespace qx::net {

/// Address of a host in one of the two families, inside a socket address.
///
/// Nothing here throws; what can fail returns a code, QX_E_SOCKET_EINVAL for a null argument. An
/// address is used by one thread at a time.
class QX_API InetAddress {
public:
    /// Makes the address of the family that the source names: an Inet4Address or an Inet6Address,
    /// which the caller owns; null after a failure.
    /// @return QX_E_SOCKET_EINVAL for null and for another family, QX_E_SOCKET_ENOBUFS without
    ///         memory, or the code with which the socket system did not start
    static ENUM_QX_E_SOCKET create(const qx_sockaddr_union* address, InetAddress** out);
    /// The same from a result of the resolver, with a port.
    static ENUM_QX_E_SOCKET create(const qx_addrinfo* info, uint16_t portHostOrder,
                                   InetAddress** out);

    virtual ~InetAddress() = default;
    InetAddress(const InetAddress&) = delete;
    InetAddress& operator=(const InetAddress&) = delete;

    /// Bytes of the host's address.
    virtual ENUM_QX_E_SOCKET getAddressBinaryLength(size_t* length) const = 0;
    /// The host's address in network order. @p length is the capacity, then the number of bytes;
    /// QX_E_SOCKET_EMSGSIZE when it is too small, with the number needed in @p length.
    virtual ENUM_QX_E_SOCKET getAddressBinary(signed char* buffer, size_t* length) const = 0;
    /// The same for the whole socket address.
    virtual ENUM_QX_E_SOCKET getStorageBinaryLength(size_t* length) const = 0;
    virtual ENUM_QX_E_SOCKET getStorageBinary(qx_sockaddr_union* buffer, size_t* length) const = 0;
    /// 1 for the address that stands for all of this machine, 0.0.0.0 or ::, else 0.
    virtual int16_t isAddressAny() const = 0;
    /// 1 for exactly 127.0.0.1 or ::1, else 0.
    virtual int16_t isAddressLoopback() const = 0;
    /// 1 for 255.255.255.255, else 0.
    virtual int16_t isAddressNone() const = 0;
    virtual ENUM_QX_E_SOCKET setAddressAny() = 0;

    /// Stores QX_AF_INET or QX_AF_INET6; 0 when the address was constructed from null.
    ENUM_QX_E_SOCKET getFamily(uint16_t* out) const;
    /// Appends the numeric text of the host, "%" and the scope id included. When the resolver
    /// fails, "native error " and its number is appended and the code returned.
    ENUM_QX_E_SOCKET getAddressStr(String& out) const;

    /// Orders by family, host and scope id, whatever the port.
    friend QX_API std::strong_ordering operator<=>(const InetAddress& left,
                                                   const InetAddress& right) noexcept;
    friend bool operator==(const InetAddress& left, const InetAddress& right) noexcept {
        return left <=> right == 0;
    }
    /// Writes what getAddressStr appends.
    friend QX_API std::ostream& operator<<(std::ostream& out, const InetAddress& address);

protected:
    /// Takes the socket address of a source of that family. A null source leaves the address zero
    /// and is a success; a source of another family leaves it zero and stores QX_E_SOCKET_EINVAL in
    /// @p error, which may be null.
    InetAddress(uint16_t family, const qx_sockaddr_union* source, ENUM_QX_E_SOCKET* error);
    InetAddress(uint16_t family, const qx_addrinfo* source, uint16_t portHostOrder,
                ENUM_QX_E_SOCKET* error);

    qx_sockaddr_union m_address{};

private:
    friend struct std::hash<InetAddress>;

    ENUM_QX_E_SOCKET take(uint16_t family, const qx_sockaddr_union* source, size_t length);
};

} // namespace qx::net

template <>
struct std::hash<qx::net::InetAddress> {
    QX_API std::size_t operator()(const qx::net::InetAddress& address) const noexcept;
};
