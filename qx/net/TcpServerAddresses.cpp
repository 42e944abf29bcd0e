#include "qx/net/TcpServerSocket2.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <string_view>

#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Codes.h>
#include <qx/net/detail/TextOutput.h>

namespace qx::net {

namespace {

/// Makes an address from a source; null when it cannot be made, with the code in @p code.
template <class... Source>
std::unique_ptr<InetSocketAddress> makeAddress(ENUM_QX_E_SOCKET& code, Source... source) {
    std::unique_ptr<InetSocketAddress> made(new (std::nothrow) InetSocketAddress(source..., &code));
    if (made == nullptr)
        code = QX_E_SOCKET_EFAULT;
    else if (code != 0)
        made.reset();
    return made;
}

/// True for an address that a server can be told by, neither all of the machine nor none.
bool isProper(const InetSocketAddress& address) {
    return !address.getAddress()->isAddressAny() && !address.getAddress()->isAddressNone();
}

} // namespace

void TcpServerSocket2::AddressList::clear() {
    while (count > 0)
        entries[--count].reset();
}

void TcpServerSocket2::bindListClear() { m_bindList.clear(); }

void TcpServerSocket2::boundListClear() { m_boundList.clear(); }

ENUM_QX_E_SOCKET TcpServerSocket2::bindListAddAddrAny(uint16_t port) {
    const ENUM_QX_E_SOCKET six = addAny(QX_AF_INET6, port);
    const ENUM_QX_E_SOCKET four = addAny(QX_AF_INET, port);
    return six != 0 ? six : four;
}

ENUM_QX_E_SOCKET TcpServerSocket2::addAny(uint16_t family, uint16_t port) {
    qx_sockaddr_union place{};
    place.family = family;
    place.ipv4.port = swapPortOrder(port); // in the same place in ipv6
    ENUM_QX_E_SOCKET code = 0;
    auto address = makeAddress(code, static_cast<const qx_sockaddr_union*>(&place));
    if (!address || address->getAddress()->setAddressAny() != 0 || m_bindList.isFull())
        return QX_E_SOCKET_EFAULT;
    m_bindList.add(std::move(address));
    return 0;
}

ENUM_QX_E_SOCKET TcpServerSocket2::bindListAddAddrInfo(const char* hosts, const char* service,
                                                       uint16_t port) {
    if (hosts == nullptr || (port == 0 && (service == nullptr || service[0] == 0)))
        return QX_E_SOCKET_EINVAL;
    if (port == 0) {
        const ENUM_QX_E_SOCKET code =
            InetSocketAddress::getPortHostOrderFromTcpServiceName(service, &port);
        if (code != 0)
            return code;
    }
    return withoutThrowing([&] {
        ENUM_QX_E_SOCKET recorded = 0;
        std::string_view rest(hosts);
        for (;;) {
            const size_t comma = rest.find(',');
            recorded = addHost(std::string(rest.substr(0, comma)).c_str(), port);
            if (comma == std::string_view::npos)
                return recorded;
            rest.remove_prefix(comma + 1);
            rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
        }
    });
}

ENUM_QX_E_SOCKET TcpServerSocket2::bindListAddHost(const char* host, uint16_t port) {
    if (host == nullptr)
        return QX_E_SOCKET_EINVAL;
    return withoutThrowing([&] { return addHost(host, port); });
}

ENUM_QX_E_SOCKET TcpServerSocket2::addHost(const char* host, uint16_t port) {
    char service[6] = {};
    std::to_chars(service, std::end(service), port);
    const qx_addrinfo hints{QX_AI_PASSIVE | QX_AI_CANONNAME,
                            QX_AF_UNSPEC,
                            QX_SOCK_STREAM,
                            QX_IPPROTO_TCP,
                            0,
                            nullptr,
                            nullptr,
                            nullptr};
    qx_addrinfo* found = nullptr;
    ENUM_QX_E_SOCKET recorded =
        QX_E_SOCKETFromNativeEaiSocketError(QXgetaddrinfo(host, service, &hints, &found));
    const std::unique_ptr<qx_addrinfo, decltype(&QXfreeaddrinfo)> owner(found, &QXfreeaddrinfo);
    bool anyAdded = false;
    for (const qx_addrinfo* result = found; result != nullptr; result = result->ai_next) {
        auto address = makeAddress(recorded, result, port);
        if (!address)
            break;
        if (isProper(*address) && !m_bindList.isFull()) {
            m_bindList.add(std::move(address));
            anyAdded = true;
        }
    }
    return anyAdded ? recorded : QX_E_SOCKET_HOST_NOT_FOUND;
}

ENUM_QX_E_SOCKET TcpServerSocket2::bindListSaveOneForNamedPipeReply() {
    ENUM_QX_E_SOCKET code = 0;
    if (m_bindList.count == 1) {
        const InetAddress* address = m_bindList.entries[0]->getAddress();
        qx_sockaddr_union place{};
        size_t length = sizeof place;
        code = address != nullptr ? address->getStorageBinary(&place, &length) : QX_E_SOCKET_EFAULT;
        if (code == 0) {
            auto kept = makeAddress(code, static_cast<const qx_sockaddr_union*>(&place));
            if (kept)
                m_savedReply = std::move(kept);
        }
    }
    m_bindList.clear();
    return code;
}

ENUM_QX_E_SOCKET TcpServerSocket2::saveBoundAddresses() {
    if (m_savedReply) {
        m_boundList.clear();
        m_boundList.add(std::move(m_savedReply));
        return 0;
    }
    ENUM_QX_E_SOCKET recorded = 0;
    for (uint32_t i = 0; i < m_socketCount; ++i) {
        if (const ENUM_QX_E_SOCKET code = saveBound(m_sockets[i].get()))
            recorded = code;
    }
    return recorded;
}

ENUM_QX_E_SOCKET TcpServerSocket2::saveBound(uint64_t socket) {
    qx_sockaddr_union place{};
    int32_t length = sizeof place;
    if (QXSocketGetName(socket, &place, &length) != 0)
        return lastCode();
    ENUM_QX_E_SOCKET code = 0;
    auto address = makeAddress(code, static_cast<const qx_sockaddr_union*>(&place));
    if (!address)
        return code;
    if (m_boundList.isFull())
        return QX_E_SOCKET_EFAULT;
    m_boundList.add(std::move(address));
    return 0;
}

ENUM_QX_E_SOCKET TcpServerSocket2::getBoundAddress(uint32_t index, signed char* buffer,
                                                   size_t* length) const {
    if (buffer == nullptr || length == nullptr)
        return QX_E_SOCKET_EINVAL;
    const size_t capacity = std::exchange(*length, size_t{0});
    if (index >= m_boundList.count)
        return QX_E_SOCKET_EADDRNOTAVAIL;
    const InetAddress* address = m_boundList.entries[index]->getAddress();
    if (address == nullptr)
        return QX_E_SOCKET_EFAULT;
    // The caller's bytes need not be aligned as an address is.
    qx_sockaddr_union place{};
    size_t needed = sizeof place;
    if (const ENUM_QX_E_SOCKET code = address->getStorageBinary(&place, &needed))
        return code;
    if (needed > capacity)
        return QX_E_SOCKET_EMSGSIZE;
    std::memcpy(buffer, &place, needed);
    *length = needed;
    return 0;
}

ENUM_QX_E_SOCKET TcpServerSocket2::AddressList::diagnostics(char* buffer, uint32_t* length) const {
    return giveText(buffer, length, [&](String& text) {
        for (uint32_t i = 0; i < count; ++i) {
            if (i > 0)
                text.append(u"; ");
            if (entries[i])
                entries[i]->getDiagnosticStr(text);
            else
                text.append(u"[list(").append(i).append(u")==NULL]");
        }
        return 0;
    });
}

ENUM_QX_E_SOCKET TcpServerSocket2::bindListAddressesDiagnosticStrA(char* buffer,
                                                                   uint32_t* length) const {
    return m_bindList.diagnostics(buffer, length);
}

ENUM_QX_E_SOCKET TcpServerSocket2::boundListAddressesDiagnosticStrA(char* buffer,
                                                                    uint32_t* length) const {
    return m_boundList.diagnostics(buffer, length);
}

} // namespace qx::net
