#pragma once

#include <cstdint>
#include <memory>

#include <qx/sync/ForkSafeMutex.h>

#include "Session.h"
#include "modules/transport/Connection.h"

namespace qx::tls {

/// A session whose handshake is done.
class TlsConnection : public transport::Connection {
public:
    /// @param readTimeoutMs  0 for none
    TlsConnection(std::unique_ptr<Session> session, int32_t readTimeoutMs);

    int32_t receive(signed char* to, int32_t length) override;
    void send(const signed char* from, int32_t length) override;
    /// @throws ResultException with result::NotAvailable: another process has not the keys
    String inheritableName() const override;

private:
    sync::ForkSafeMutex m_lock; ///< guards the session; nobody waits for the peer while holding it
    const std::unique_ptr<Session> m_session;
    const int32_t m_readTimeoutMs;
};

} // namespace qx::tls
