#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include <qx/platform/net.h>

namespace qxtest {

constexpr uint16_t networkOrder(uint16_t port) {
    return static_cast<uint16_t>(port << 8 | port >> 8);
}

inline qx_sockaddr_union ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d, uint16_t port = 0) {
    qx_sockaddr_union address{};
    address.ipv4 = {QX_AF_INET, networkOrder(port), {a, b, c, d}, {}};
    return address;
}

inline qx_sockaddr_union ipv6(const std::array<uint8_t, 16>& bytes, uint16_t port = 0,
                              uint32_t scope = 0) {
    qx_sockaddr_union address{};
    address.family = QX_AF_INET6;
    address.ipv6.port = networkOrder(port);
    std::memcpy(address.ipv6.address, bytes.data(), bytes.size());
    address.ipv6.scopeId = scope;
    return address;
}

} // namespace qxtest
