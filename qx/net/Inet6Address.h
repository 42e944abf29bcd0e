#pragma once

#include <qx/net/InetAddress.h>

namespace qx::net {

/// An IPv6 address.
class QX_API Inet6Address : public InetAddress {
public:
    /// From the socket address of that family. Null leaves the address zero and is a success;
    /// another family leaves it zero and stores QX_E_SOCKET_EINVAL in @p error, which may be null.
    Inet6Address(const qx_sockaddr_union* address, ENUM_QX_E_SOCKET* error);
    /// The same from a result of the resolver, with a port.
    Inet6Address(const qx_addrinfo* info, uint16_t portHostOrder, ENUM_QX_E_SOCKET* error);

    ENUM_QX_E_SOCKET getAddressBinaryLength(size_t* length) const override;
    ENUM_QX_E_SOCKET getAddressBinary(signed char* buffer, size_t* length) const override;
    ENUM_QX_E_SOCKET getStorageBinaryLength(size_t* length) const override;
    ENUM_QX_E_SOCKET getStorageBinary(qx_sockaddr_union* buffer, size_t* length) const override;
    int16_t isAddressAny() const override;
    int16_t isAddressLoopback() const override;
    int16_t isAddressNone() const override;
    ENUM_QX_E_SOCKET setAddressAny() override;
};

} // namespace qx::net
