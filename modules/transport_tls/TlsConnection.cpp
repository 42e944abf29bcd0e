#include "TlsConnection.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include <qx/core/Result.h>

namespace qx::tls {

using transport::Deadline;

TlsConnection::TlsConnection(std::unique_ptr<Session> session, const transport::Place& place)
    : m_session(std::move(session)), m_readTimeoutMs(place.readTimeoutMs),
      m_writeTimeoutMs(place.writeTimeoutMs) {}

int32_t TlsConnection::receive(signed char* to, int32_t length) {
    const Deadline deadline(m_readTimeoutMs);
    for (;;) {
        uint32_t wanted = QX_POLL_READ;
        {
            const std::lock_guard guard(m_lock);
            m_lock.requireWhole();
            if (const int32_t count = m_session->read(to, length))
                return count;
            // Reading may have made answers of the protocol's own.
            if (!m_session->flush())
                wanted |= QX_POLL_WRITE;
        }
        if (!transport::await(m_session->socket(), wanted, deadline))
            throwResult(QX_E_SOCKET_ETIMEDOUT);
    }
}

void TlsConnection::send(const signed char* from, int32_t length) {
    std::unique_lock guard(m_lock);
    m_lock.requireWhole();
    while (length > 0) {
        const int32_t count = std::min(length, Session::MostAtOnce);
        m_session->write(from, count);
        while (!m_session->flush()) {
            guard.unlock();
            const bool isReady =
                transport::await(m_session->socket(), QX_POLL_WRITE, Deadline(m_writeTimeoutMs));
            guard.lock();
            if (!isReady)
                throwResult(QX_E_SOCKET_ETIMEDOUT);
        }
        m_session->requireOutput();
        from += count;
        length -= count;
    }
}

String TlsConnection::inheritableName() const { throwResult(result::NotAvailable); }

} // namespace qx::tls
