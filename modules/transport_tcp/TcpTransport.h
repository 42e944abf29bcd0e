#pragma once

#include <qx/net/pcom/AbstractAcceptor.h>
#include <qx/net/pcom/AbstractConnector.h>
#include <qx/net/pcom/AbstractTransport.h>

#include "modules/transport/Place.h"
#include "modules/transport/Sockets.h"

namespace qx::tcp {

/// The component "Orbelle.Transport.TCP". Place.h has the properties; failures of the network
/// have the codes of qx/net/socketerror.h.
class TcpTransport : public net::pcom::AbstractTransport {
public:
    static constexpr GUID Clsid{
        0x5A3C7E14, 0x2B90, 0x4D6F, {0x8E, 0x31, 0xC4, 0x57, 0x0A, 0x9D, 0x62, 0xB8}};
    static const char16_t* GetComProgID() { return u"Orbelle.Transport.TCP.1"; }
    static const char16_t* GetComVersionIndependentProgID() { return u"Orbelle.Transport.TCP"; }
    static const char16_t* GetComDescription() { return u"Connections over TCP"; }

    Reference<net::IConnector> createConnector(const util::PropertySet& properties) override;
    /// Listens at once, and stores the port as `boundPort`.
    Reference<net::IAcceptor> createAcceptor(const util::PropertySet& properties) override;
};

/// Connects to one server, again and again. May be used by several threads.
class TcpConnector : public net::pcom::AbstractConnector {
public:
    explicit TcpConnector(transport::Place place);

    /// Tries the addresses of the host in their order, without limit when none is set.
    /// @throws ResultException as transport::connectTo
    Reference<io::IChannel> connect() override;

private:
    const transport::Place m_place;
};

/// Listens on one address until it goes. May be used by several threads.
class TcpAcceptor : public net::pcom::AbstractAcceptor {
public:
    /// @throws ResultException with the code of the resolver, of binding or of listening
    explicit TcpAcceptor(const transport::Place& place);

    uint16_t getPort() const noexcept { return m_listener.port(); }

    /// Waits without limit.
    /// @throws ResultException with the code of the failure; the acceptor goes on listening
    Reference<io::IChannel> accept() override;

private:
    const transport::Place m_place;
    const transport::Listener m_listener;
};

} // namespace qx::tcp
