#include "qx/net/Inet6Address.h"

#include <algorithm>
#include <iterator>

#include <qx/net/detail/AddressBytes.h>

namespace qx::net {

namespace {

/// True for an address of 15 zero bytes and that last one.
int16_t isAddress(const uint8_t (&address)[16], uint8_t last) {
    const uint8_t* const end = std::end(address) - 1;
    const bool zero = std::all_of(std::begin(address), end, [](uint8_t byte) { return byte == 0; });
    return zero && *end == last ? 1 : 0;
}

} // namespace

Inet6Address::Inet6Address(const qx_sockaddr_union* address, ENUM_QX_E_SOCKET* error)
    : InetAddress(QX_AF_INET6, address, error) {}

Inet6Address::Inet6Address(const qx_addrinfo* info, uint16_t portHostOrder, ENUM_QX_E_SOCKET* error)
    : InetAddress(QX_AF_INET6, info, portHostOrder, error) {}

ENUM_QX_E_SOCKET Inet6Address::getAddressBinaryLength(size_t* length) const {
    return giveLength(sizeof m_address.ipv6.address, length);
}

ENUM_QX_E_SOCKET Inet6Address::getAddressBinary(signed char* buffer, size_t* length) const {
    return giveBytes(m_address.ipv6.address, sizeof m_address.ipv6.address, buffer, length);
}

ENUM_QX_E_SOCKET Inet6Address::getStorageBinaryLength(size_t* length) const {
    return giveLength(sizeof m_address.ipv6, length);
}

ENUM_QX_E_SOCKET Inet6Address::getStorageBinary(qx_sockaddr_union* buffer, size_t* length) const {
    return giveBytes(&m_address, sizeof m_address.ipv6, buffer, length);
}

int16_t Inet6Address::isAddressAny() const { return isAddress(m_address.ipv6.address, 0); }

int16_t Inet6Address::isAddressLoopback() const { return isAddress(m_address.ipv6.address, 1); }

int16_t Inet6Address::isAddressNone() const { return 0; }

ENUM_QX_E_SOCKET Inet6Address::setAddressAny() {
    std::fill(std::begin(m_address.ipv6.address), std::end(m_address.ipv6.address), uint8_t{0});
    return 0;
}

} // namespace qx::net
