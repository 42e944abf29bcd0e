#include "qx/net/TcpSocketOutputStream.h"

#include <utility>

#include <qx/net/detail/Codes.h>
#include <qx/net/detail/Descriptions.h>
#include <qx/platform/net.h>

namespace qx::net {

TcpSocketOutputStream::TcpSocketOutputStream(Reference<TcpSocketHandle> handle)
    : m_handle(std::move(handle)), m_socket(m_handle->getSocket()) {}

void TcpSocketOutputStream::write(const signed char* from, int32_t length) {
    const int32_t sent = QXSocketSend(m_socket, from, length, 0);
    // A connection that ends in the middle says so to the next send, which waits for no room when
    // there is nothing to send.
    if (sent == QX_SOCKET_ERROR ||
        (sent < length && QXSocketSend(m_socket, from, 0, 0) == QX_SOCKET_ERROR))
        throwIo(u"TcpSocketOutputStream::write ", lastCode());
}

} // namespace qx::net
