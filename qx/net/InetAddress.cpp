#include "qx/net/InetAddress.h"

#include <cstring>
#include <new>
#include <ostream>
#include <string_view>

#include <qx/core/String.h>
#include <qx/net/Inet4Address.h>
#include <qx/net/Inet6Address.h>
#include <qx/net/TcpSocket2.h>
#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Codes.h>

namespace qx::net {

namespace {

/// Bytes of the socket address of a family.
size_t storageLength(uint16_t family) {
    return family == QX_AF_INET ? sizeof(qx_sockaddr_in) : sizeof(qx_sockaddr_in6);
}

/// Makes the class of a family with the arguments that both have; what the constructor reports.
template <class... Source>
ENUM_QX_E_SOCKET createAs(uint16_t family, InetAddress** out, Source... source) {
    ENUM_QX_E_SOCKET error = 0;
    InetAddress* made = nullptr;
    if (family == QX_AF_INET)
        made = new (std::nothrow) Inet4Address(source..., &error);
    else if (family == QX_AF_INET6)
        made = new (std::nothrow) Inet6Address(source..., &error);
    else
        return QX_E_SOCKET_EINVAL;
    if (made == nullptr)
        return QX_E_SOCKET_ENOBUFS;
    if (error != 0)
        delete made;
    else
        *out = made;
    return error;
}

} // namespace

ENUM_QX_E_SOCKET InetAddress::create(const qx_sockaddr_union* address, InetAddress** out) {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = nullptr;
    if (address == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (const ENUM_QX_E_SOCKET code = TcpSocket2::init())
        return code;
    return createAs(QXSocketFamily(address->family), out, address);
}

ENUM_QX_E_SOCKET InetAddress::create(const qx_addrinfo* info, uint16_t portHostOrder,
                                     InetAddress** out) {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = nullptr;
    if (info == nullptr)
        return QX_E_SOCKET_EINVAL;
    if (const ENUM_QX_E_SOCKET code = TcpSocket2::init())
        return code;
    return createAs(QXSocketFamily(info->ai_family), out, info, portHostOrder);
}

InetAddress::InetAddress(uint16_t family, const qx_sockaddr_union* source,
                         ENUM_QX_E_SOCKET* error) {
    ENUM_QX_E_SOCKET code = TcpSocket2::init();
    if (code == 0 && source != nullptr)
        code = take(family, source, sizeof *source);
    if (error != nullptr)
        *error = code;
}

InetAddress::InetAddress(uint16_t family, const qx_addrinfo* source, uint16_t portHostOrder,
                         ENUM_QX_E_SOCKET* error) {
    ENUM_QX_E_SOCKET code = TcpSocket2::init();
    if (code == 0 && source != nullptr) {
        code = QXSocketFamily(source->ai_family) == family
                   ? take(family, source->ai_addr, source->ai_addrlen)
                   : QX_E_SOCKET_EINVAL;
        if (code == 0)
            m_address.ipv4.port = swapPortOrder(portHostOrder); // in the same place in ipv6
    }
    if (error != nullptr)
        *error = code;
}

ENUM_QX_E_SOCKET InetAddress::take(uint16_t family, const qx_sockaddr_union* source,
                                   size_t length) {
    if (source == nullptr || length < storageLength(family) ||
        QXSocketFamily(source->family) != family)
        return QX_E_SOCKET_EINVAL;
    std::memcpy(&m_address, source, storageLength(family));
    m_address.family = family;
    return 0;
}

ENUM_QX_E_SOCKET InetAddress::getFamily(uint16_t* out) const {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = m_address.family;
    return 0;
}

ENUM_QX_E_SOCKET InetAddress::getAddressStr(String& out) const {
    return withoutThrowing([&] {
        size_t length = 0;
        const ENUM_QX_E_SOCKET code = getStorageBinaryLength(&length);
        if (code != 0) {
            out.append(u"native error ").append(code);
            return code;
        }
        char host[1025];
        char service[32];
        const int32_t number =
            QXSocketGetNameInfo(&m_address, static_cast<int32_t>(length), host, sizeof host,
                                service, sizeof service, QX_NI_NUMERICHOST | QX_NI_NUMERICSERV);
        if (number != 0) {
            out.append(u"native error ").append(number);
            return QX_E_SOCKETFromNativeEaiSocketError(number);
        }
        out.append(String(host));
        return 0;
    });
}

std::strong_ordering operator<=>(const InetAddress& left, const InetAddress& right) noexcept {
    const qx_sockaddr_union& a = left.m_address;
    const qx_sockaddr_union& b = right.m_address;
    if (a.family != b.family)
        return a.family <=> b.family;
    if (a.family != QX_AF_INET6)
        return std::memcmp(&a.ipv4.address, &b.ipv4.address, sizeof a.ipv4.address) <=> 0;
    const int hosts = std::memcmp(a.ipv6.address, b.ipv6.address, sizeof a.ipv6.address);
    return hosts != 0 ? hosts <=> 0 : a.ipv6.scopeId <=> b.ipv6.scopeId;
}

std::ostream& operator<<(std::ostream& out, const InetAddress& address) {
    String text;
    address.getAddressStr(text);
    return out << text;
}

} // namespace qx::net

size_t
std::hash<qx::net::InetAddress>::operator()(const qx::net::InetAddress& address) const noexcept {
    const qx_sockaddr_union& of = address.m_address;
    const bool isLong = of.family == QX_AF_INET6;
    const auto* const bytes = isLong ? reinterpret_cast<const char*>(of.ipv6.address)
                                     : reinterpret_cast<const char*>(&of.ipv4.address);
    const std::string_view host(bytes, isLong ? sizeof of.ipv6.address : sizeof of.ipv4.address);
    return std::hash<std::string_view>()(host) + (isLong ? of.ipv6.scopeId : 0);
}
