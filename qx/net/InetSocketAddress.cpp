#include "qx/net/InetSocketAddress.h"

#include <ostream>

#include <qx/net/TcpSocket2.h>
#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Codes.h>

namespace qx::net {

InetSocketAddress::InetSocketAddress(const qx_sockaddr_union* address, ENUM_QX_E_SOCKET* error) {
    if (error == nullptr)
        return;
    if (address == nullptr) {
        *error = QX_E_SOCKET_EINVAL;
        return;
    }
    InetAddress* made = nullptr;
    *error = InetAddress::create(address, &made);
    m_address.reset(made);
    if (*error == 0)
        m_portHostOrder = swapPortOrder(address->ipv4.port); // in the same place in ipv6
}

InetSocketAddress::InetSocketAddress(const qx_addrinfo* info, uint16_t portHostOrder,
                                     ENUM_QX_E_SOCKET* error) {
    if (error == nullptr)
        return;
    if (info == nullptr) {
        *error = QX_E_SOCKET_EINVAL;
        return;
    }
    InetAddress* made = nullptr;
    *error = InetAddress::create(info, portHostOrder, &made);
    m_address.reset(made);
    if (*error != 0)
        return;
    m_portHostOrder = portHostOrder;
    if (info->ai_canonname != nullptr && info->ai_canonname[0] != 0) {
        *error = withoutThrowing([&] {
            m_canonicalName = String(info->ai_canonname);
            return 0;
        });
    }
}

ENUM_QX_E_SOCKET InetSocketAddress::getAddressStr(String& out) const {
    return m_address ? m_address->getAddressStr(out) : QX_E_SOCKET_EFAULT;
}

ENUM_QX_E_SOCKET InetSocketAddress::getFamily(uint16_t* out) const {
    return m_address ? m_address->getFamily(out) : QX_E_SOCKET_EFAULT;
}

ENUM_QX_E_SOCKET InetSocketAddress::getPortHostOrder(uint16_t* out) const {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = m_portHostOrder;
    return 0;
}

ENUM_QX_E_SOCKET InetSocketAddress::setPortHostOrder(uint16_t port) {
    m_portHostOrder = port;
    return 0;
}

ENUM_QX_E_SOCKET InetSocketAddress::getDiagnosticStr(String& out) const {
    return withoutThrowing([&] {
        uint16_t family = 0;
        getFamily(&family); // stays 0 without an address
        if (family == QX_AF_INET6)
            out.append(u'[');
        else if (family != QX_AF_INET)
            out.append(static_cast<int>(family));
        ENUM_QX_E_SOCKET code = 0;
        if (m_address)
            code = m_address->getAddressStr(out);
        else
            out.append(u"address missing");
        if (family == QX_AF_INET6)
            out.append(u']');
        out.append(u':').append(static_cast<int>(m_portHostOrder));
        return code;
    });
}

ENUM_QX_E_SOCKET InetSocketAddress::getPortHostOrderFromTcpServiceName(const char* serviceName,
                                                                       uint16_t* out) {
    uint16_t port = 0;
    ENUM_QX_E_SOCKET code =
        serviceName == nullptr || out == nullptr ? QX_E_SOCKET_EINVAL : TcpSocket2::init();
    if (code == 0 && serviceName[0] != 0)
        code = codeOfCall(QXSocketServicePort(serviceName, "tcp", &port));
    if (out != nullptr)
        *out = port;
    return code;
}

std::strong_ordering operator<=>(const InetSocketAddress& left,
                                 const InetSocketAddress& right) noexcept {
    const InetAddress* const a = left.m_address.get();
    const InetAddress* const b = right.m_address.get();
    if (a && b && *a != *b)
        return *a <=> *b;
    if (!a != !b)
        return a ? std::strong_ordering::greater : std::strong_ordering::less;
    return left.m_portHostOrder <=> right.m_portHostOrder;
}

std::ostream& operator<<(std::ostream& out, const InetSocketAddress& address) {
    String text;
    address.getDiagnosticStr(text);
    return out << text;
}

} // namespace qx::net

size_t std::hash<qx::net::InetSocketAddress>::operator()(
    const qx::net::InetSocketAddress& address) const noexcept {
    const qx::net::InetAddress* const host = address.m_address.get();
    return (host ? std::hash<qx::net::InetAddress>()(*host) : 0) * 31 + address.m_portHostOrder;
}
