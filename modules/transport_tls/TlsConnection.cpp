#include "TlsConnection.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include <qx/core/Result.h>

namespace qx::tls {

using transport::Deadline;

namespace {

constexpr int32_t MomentMs = 50;

} // namespace

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
        const Deadline deadline(m_writeTimeoutMs);
        const int32_t count = std::min(length, Session::MostAtOnce);
        while (const uint32_t wanted = m_session->write(from, count))
            awaitUnlocked(guard, wanted, deadline);
        while (!m_session->flush())
            awaitUnlocked(guard, QX_POLL_WRITE, deadline);
        m_session->requireOutput();
        from += count;
        length -= count;
    }
}

/// Waits without the lock. What is awaited may be taken by the thread that receives, so that this
/// one looks again after a moment.
void TlsConnection::awaitUnlocked(std::unique_lock<sync::ForkSafeMutex>& guard, uint32_t wanted,
                                  const Deadline& deadline) {
    if (deadline.hasPassed())
        throwResult(QX_E_SOCKET_ETIMEDOUT);
    guard.unlock();
    const Deadline moment(MomentMs);
    transport::await(m_session->socket(), wanted, moment.isBefore(deadline) ? moment : deadline);
    guard.lock();
}

String TlsConnection::inheritableName() const { throwResult(result::NotAvailable); }

} // namespace qx::tls
