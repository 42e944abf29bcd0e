#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include <qx/sync/ForkSafeMutex.h>

#include "Session.h"
#include "modules/transport/Connection.h"
#include "modules/transport/Place.h"

namespace qx::tls {

/// A session whose handshake is done.
class TlsConnection : public transport::Connection {
public:
    TlsConnection(std::unique_ptr<Session> session, const transport::Place& place);

    int32_t receive(signed char* to, int32_t length) override;
    void send(const signed char* from, int32_t length) override;
    /// @throws ResultException with result::NotAvailable: another process has not the keys
    String inheritableName() const override;

private:
    void awaitUnlocked(std::unique_lock<sync::ForkSafeMutex>& guard, uint32_t wanted,
                       const transport::Deadline& deadline);

    sync::ForkSafeMutex m_lock; ///< guards the session; nobody waits for the peer while holding it
    const std::unique_ptr<Session> m_session;
    const int32_t m_readTimeoutMs; ///< 0 for none
    const int32_t m_writeTimeoutMs;
};

} // namespace qx::tls
