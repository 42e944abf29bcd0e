#include "qx/net/TcpSocketInputStream.h"

#include <algorithm>
#include <utility>

#include <qx/io/IoException.h>
#include <qx/net/detail/Codes.h>
#include <qx/net/detail/Descriptions.h>
#include <qx/platform/net.h>

namespace qx::net {

TcpSocketInputStream::TcpSocketInputStream(Reference<TcpSocketHandle> handle)
    : m_handle(std::move(handle)), m_socket(m_handle->getSocket()) {}

void TcpSocketInputStream::setSoTimeout(int32_t milliseconds) { m_timeoutMs = milliseconds; }

int32_t TcpSocketInputStream::read(signed char* to, int32_t length) {
    if (length < 1)
        return 0;
    if (const int32_t timeout = m_timeoutMs; timeout > 0) {
        qx_socket_set readable{1, {m_socket}};
        const qx_timeval limit{timeout / 1000, timeout % 1000 * 1000};
        if (QXSocketSelect(&readable, nullptr, nullptr, &limit) == 0)
            throw io::TimeoutException(u"socket timeout"_qs);
        // Should waiting have failed, receiving says why.
    }
    const int32_t count = QXSocketReceive(m_socket, to, length, 0);
    if (count == QX_SOCKET_ERROR)
        throwIo(u"TcpSocketInputStream::read ", lastCode());
    return count == 0 ? -1 : count;
}

int32_t TcpSocketInputStream::available() {
    uint32_t count = 0;
    if (QXSocketGetAvailable(m_socket, &count) != 0)
        throwIo(u"TcpSocketInputStream::available ", lastCode());
    return static_cast<int32_t>(std::min<uint32_t>(count, INT32_MAX));
}

} // namespace qx::net
