#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <qx/net/TcpServerSocket2.h>
#include <qx/net/TcpWorkerSocket2.h>

#include "Manager.h"

namespace collector {

/// Takes connections on several addresses.
class Listener {
public:
    /// On sockets that listen already.
    /// @throws UsageFailure when one of them is no listening TCP socket
    explicit Listener(const std::vector<Manager::Handed>& sockets);
    /// An address that comes twice counts once. Of a name with several addresses, those of a family
    /// that the machine lacks are complained of and left out.
    /// @param addresses  names or numeric addresses, 0.0.0.0 and :: for all of the family
    /// @param port       on all addresses; 0: a free one for each
    /// @throws UsageFailure when an address is none, or there are too many; std::runtime_error when
    ///     one cannot be had: to serve the others would look like all is well
    Listener(const std::vector<std::string>& addresses, uint16_t port);

    /// The addresses with their ports.
    std::string addresses() const;

    /// Waits for a connection; null when none has come in that time.
    std::unique_ptr<qx::net::TcpWorkerSocket2> accept(std::chrono::milliseconds longest);

private:
    Listener();

    std::unique_ptr<qx::net::TcpServerSocket2> m_server;
    ENUM_QX_E_SOCKET m_failure = 0; ///< of the last attempt to accept
};

} // namespace collector
