#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <qx/net/pcom/AbstractAcceptor.h>
#include <qx/net/pcom/AbstractConnector.h>
#include <qx/net/pcom/AbstractServerSide.h>
#include <qx/net/pcom/AbstractTransport.h>
#include <qx/sync/ForkSafeMutex.h>

#include "Context.h"
#include "Session.h"
#include "modules/transport/Place.h"
#include "modules/transport/Sockets.h"

namespace qx::tls {

/// The component "Orbelle.Transport.TLS". Place.h and Context.h have the properties; failures of
/// the network have the codes of qx/net/socketerror.h, others those of OpenSsl.h.
class TlsTransport : public net::pcom::AbstractServerTransport {
public:
    static constexpr GUID Clsid{
        0x9E1B47C2, 0x6D35, 0x4A08, {0xB7, 0x5E, 0x23, 0xF9, 0x81, 0x0C, 0xD4, 0x6A}};
    static const char16_t* GetComProgID() { return u"Orbelle.Transport.TLS.1"; }
    static const char16_t* GetComVersionIndependentProgID() { return u"Orbelle.Transport.TLS"; }
    static const char16_t* GetComDescription() { return u"Connections over TLS"; }

    Reference<net::IConnector> createConnector(const util::PropertySet& properties) override;
    /// Listens at once, and stores the port as `boundPort`.
    Reference<net::IAcceptor> createAcceptor(const util::PropertySet& properties) override;
    Reference<net::pcom::AbstractServerSide>
    createServerSide(const util::PropertySet& properties) override;
};

/// How long connecting and the handshake may take together when `connectTimeout` is not set.
inline constexpr int32_t HandshakeMs = 30'000;

/// Connects to one server, again and again. May be used by several threads.
class TlsConnector : public net::pcom::AbstractConnector {
public:
    explicit TlsConnector(const util::PropertySet& properties);

    /// Tries the addresses of the host in their order; the first that takes the connection has to
    /// finish the handshake, too. `connectTimeout` is the limit for all of it, once the
    /// host is looked up.
    /// @throws ResultException as transport::lookUp, transport::connectTo and Session::handshake
    Reference<io::IChannel> connect() override;

private:
    const transport::Place m_place;
    const Reference<Context> m_context;
    std::string m_serverName;
};

/// Does the server's part on connections that somebody else accepts. May be used by several
/// threads, which do not wait for one another.
class TlsServerSide : public net::pcom::AbstractServerSide {
public:
    /// @throws ResultException as Place::ofServerSide and Context::ofAcceptor
    explicit TlsServerSide(const util::PropertySet& properties);

    /// @throws ResultException with the peer in its description when the handshake fails or takes
    ///     longer than `connectTimeout`
    Reference<io::IChannel> serve(uint64_t socket) override;

private:
    const transport::Place m_place;
    const int32_t m_handshakeMs;
    const Reference<Context> m_context;
};

/// Listens on one address until it goes. May be used by several threads, which wait for one
/// another.
class TlsAcceptor : public net::pcom::AbstractAcceptor {
public:
    /// @throws ResultException as transport::Listener and Context::ofAcceptor
    TlsAcceptor(const transport::Place& place, const util::PropertySet& properties);

    uint16_t getPort() const noexcept { return m_listener.port(); }

    /// Waits without limit for a peer that has finished its handshake, and goes on with those of
    /// others meanwhile, as many as `backlog` says; beyond that the oldest gives way.
    /// @throws ResultException with the peer in its description when a handshake fails or takes
    ///     longer than `connectTimeout`; the others and the acceptor go on
    Reference<io::IChannel> accept() override;

private:
    struct Handshake {
        std::unique_ptr<Session> session;
        transport::Deadline deadline;
    };
    using Handshakes = std::list<Handshake>;

    std::vector<qx_socket_poll> awaitOne() const;
    std::unique_ptr<Session> goOn(const std::vector<qx_socket_poll>& sockets);
    void begin();

    const transport::Place m_place;
    const int32_t m_handshakeMs;
    const Reference<Context> m_context;
    const transport::Listener m_listener;
    sync::ForkSafeMutex m_turn; ///< whose it is goes on with all handshakes
    Handshakes m_handshakes;    ///< under way, the oldest first
};

} // namespace qx::tls
