#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/IChannel.h>
#include <qx/net/pcom/IQXServerSide.h>
#include <qx/platform/export.h>

namespace qx {

namespace util {
class PropertySet;
}

namespace net {

/// Serves connections by a transport that has not accepted them: the program listens itself, on
/// several addresses, with limits, or on sockets that a service manager has handed to it, and knows
/// its peers.
///
///     const auto tls = makeReference<ServerSide>(u"Orbelle.Transport.TLS", properties);
///     TcpWorkerSocket2* accepted = nullptr;
///     if (server->accept(&accepted, 100ms) == 0) { // and then in a thread of its own
///         const std::unique_ptr<TcpWorkerSocket2> socket(accepted);
///         const auto channel = tls->serve(socket->getId());
///
/// Any thread may call serve.
class QX_API ServerSide : public Object {
public:
    /// @param transport  programmatic identifier of a component that offers this
    /// @param properties  those of an acceptor, without the place where that listens
    /// @throws ResultException with the result of the component; result::NoInterface when it does
    ///     not offer this
    ServerSide(const String& transport, const util::PropertySet& properties);

    /// A channel over a connection, when the peer has done what the transport wants of it.
    /// @param socket  a native socket. It stays the caller's, who lets the channel go before he
    ///     closes it, and may shut it down at any time to end what the channel waits for.
    /// @throws ResultException with the result of the component
    Reference<io::IChannel> serve(uint64_t socket) const;

private:
    Reference<pcom::IQXServerSide> m_side;
};

} // namespace net
} // namespace qx
