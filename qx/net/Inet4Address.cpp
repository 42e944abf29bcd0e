#include "qx/net/Inet4Address.h"

#include <algorithm>
#include <iterator>

#include <qx/net/detail/AddressBytes.h>

namespace qx::net {

namespace {

int16_t isAddress(const uint8_t (&address)[4], const uint8_t (&expected)[4]) {
    return std::equal(std::begin(address), std::end(address), std::begin(expected)) ? 1 : 0;
}

} // namespace

Inet4Address::Inet4Address(const qx_sockaddr_union* address, ENUM_QX_E_SOCKET* error)
    : InetAddress(QX_AF_INET, address, error) {}

Inet4Address::Inet4Address(const qx_addrinfo* info, uint16_t portHostOrder, ENUM_QX_E_SOCKET* error)
    : InetAddress(QX_AF_INET, info, portHostOrder, error) {}

ENUM_QX_E_SOCKET Inet4Address::getAddressBinaryLength(size_t* length) const {
    return giveLength(sizeof m_address.ipv4.address, length);
}

ENUM_QX_E_SOCKET Inet4Address::getAddressBinary(signed char* buffer, size_t* length) const {
    return giveBytes(m_address.ipv4.address, sizeof m_address.ipv4.address, buffer, length);
}

ENUM_QX_E_SOCKET Inet4Address::getStorageBinaryLength(size_t* length) const {
    return giveLength(sizeof m_address.ipv4, length);
}

ENUM_QX_E_SOCKET Inet4Address::getStorageBinary(qx_sockaddr_union* buffer, size_t* length) const {
    return giveBytes(&m_address, sizeof m_address.ipv4, buffer, length);
}

int16_t Inet4Address::isAddressAny() const {
    return isAddress(m_address.ipv4.address, {0, 0, 0, 0});
}

int16_t Inet4Address::isAddressLoopback() const {
    return isAddress(m_address.ipv4.address, {127, 0, 0, 1});
}

int16_t Inet4Address::isAddressNone() const {
    return isAddress(m_address.ipv4.address, {255, 255, 255, 255});
}

ENUM_QX_E_SOCKET Inet4Address::setAddressAny() {
    std::fill(std::begin(m_address.ipv4.address), std::end(m_address.ipv4.address), uint8_t{0});
    return 0;
}

} // namespace qx::net
