#pragma once

#include <qx/core/Reference.h>
#include <qx/net/ServerSide.h>
#include <qx/sync/Mutex.h>

#include "Settings.h"

namespace collector {

/// TLS for the connections, when the settings have a certificate; any thread may use it.
class Encryption {
public:
    /// @throws UsageFailure when the certificate, or what belongs to it, is no good
    explicit Encryption(const Settings& settings);

    bool isOn() const { return !m_settings.certificate.isEmpty(); }

    /// Reads the files anew: a certificate lives shorter than a service. Connections that there are
    /// keep the one that they have.
    /// @throws UsageFailure, and what was read before goes on to hold
    void renew();

    /// What connections from now on are served by; null when it is not on.
    qx::Reference<qx::net::ServerSide> side() const;

private:
    const Settings& m_settings;
    mutable qx::sync::Mutex m_lock;
    qx::Reference<qx::net::ServerSide> m_side;
};

} // namespace collector
