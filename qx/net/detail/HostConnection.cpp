#include "qx/net/detail/HostConnection.h"

#include <algorithm>

#include <qx/net/detail/ByteOrder.h>
#include <qx/net/detail/Codes.h>
#include <qx/sync/Duration.h>

namespace qx::net {

HostAddresses resolveHost(const char* host, int32_t& number) noexcept {
    qx_addrinfo hints{};
    hints.ai_socktype = QX_SOCK_STREAM;
    hints.ai_protocol = QX_IPPROTO_TCP;
    qx_addrinfo* result = nullptr;
    number = QXgetaddrinfo(host, nullptr, &hints, &result);
    return HostAddresses(result, &QXfreeaddrinfo);
}

ENUM_QX_E_SOCKET HostConnection::open(const qx_addrinfo& addresses, uint16_t port,
                                      uint64_t milliseconds) noexcept {
    uint64_t untried = 0;
    for (const qx_addrinfo* each = &addresses; each != nullptr; each = each->ai_next)
        ++untried;
    const sync::TimeBudget budget(milliseconds);
    ENUM_QX_E_SOCKET failure = 0;
    for (const qx_addrinfo* each = &addresses; each != nullptr; each = each->ai_next) {
        uint32_t share = QX_SOCKET_NO_LIMIT;
        if (milliseconds != NoLimit) // rounded up: less than a millisecond would be no time at all
            share = static_cast<uint32_t>(std::min<uint64_t>(
                (budget.milliseconds() + untried - 1) / untried, QX_SOCKET_NO_LIMIT - 1));
        --untried;
        const ENUM_QX_E_SOCKET code = openOne(*each, port, share);
        if (code == 0)
            return 0;
        if (failure == 0 || code == QX_E_SOCKET_ETIMEDOUT)
            failure = code;
    }
    return failure;
}

ENUM_QX_E_SOCKET HostConnection::openOne(const qx_addrinfo& address, uint16_t port,
                                         uint32_t milliseconds) noexcept {
    peer = *address.ai_addr;
    peer.ipv4.port = swapPortOrder(port); // where that of IPv6 is too
    if (QXSocketCreate(peer.family, QX_SOCK_STREAM, 0, socket.put()) != 0)
        return lastCode();
    return codeOfCall(QXSocketTimedConnect(socket.get(), &peer,
                                           static_cast<int32_t>(address.ai_addrlen), milliseconds));
}

} // namespace qx::net
