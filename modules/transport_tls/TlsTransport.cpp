#include "TlsTransport.h"

#include <mutex>
#include <utility>

#include <qx/core/Result.h>

#include "TlsConnection.h"
#include "modules/transport/Components.h"
#include "modules/transport/Properties.h"

namespace qx::tls {

using transport::Deadline;
using transport::Place;
using transport::Socket;

namespace {

int32_t handshakeMs(const util::PropertySet& properties) {
    return transport::number(properties, u"connectTimeout", 0, transport::NoLimit, HandshakeMs);
}

/// "127.0.0.1:80" or "[::1]:80".
String textOf(const qx_sockaddr_union& address) {
    char host[64] = "";
    char port[8] = "";
    QXSocketGetNameInfo(&address, transport::lengthOf(address), host, sizeof host, port,
                        sizeof port, QX_NI_NUMERICHOST | QX_NI_NUMERICSERV);
    const bool isIpv6 = address.family == QX_AF_INET6;
    const std::string text = isIpv6 ? "[" + std::string(host) + "]:" : std::string(host) + ":";
    return String::fromUtf8(text + port);
}

void finishHandshake(Session& session, const Deadline& deadline) {
    while (!session.handshake()) {
        if (!transport::await(session.socket(), session.wanted(), deadline))
            throw ResultException(QX_E_SOCKET_ETIMEDOUT,
                                  session.peer() + u": too slow in the handshake");
    }
}

} // namespace

Reference<net::IConnector> TlsTransport::createConnector(const util::PropertySet& properties) {
    return pcom::countedNew(GetComModule(), new TlsConnector(properties));
}

Reference<net::IAcceptor> TlsTransport::createAcceptor(const util::PropertySet& properties) {
    const Place place = Place::ofAcceptor(properties);
    return transport::listening(new TlsAcceptor(place, properties), properties, place,
                                GetComModule());
}

TlsConnector::TlsConnector(const util::PropertySet& properties)
    : m_place(Place::ofConnector(properties, HandshakeMs)),
      m_context(Context::ofConnector(properties)) {
    const auto name = transport::find(properties, u"serverName");
    m_serverName = name ? name->toUtf8() : m_place.host;
    // A point at its end makes a name whole for the resolver, and is no part of it in certificates.
    if (m_serverName.size() > 1 && m_serverName.back() == '.')
        m_serverName.pop_back();
    // With a point before it a name would stand for all that end with it.
    if (m_serverName.empty() || m_serverName.front() == '.' ||
        m_serverName.find('\0') != std::string::npos)
        transport::refuse(result::InvalidArgument, u"serverName",
                          u" is neither a name nor an address");
}

Reference<io::IChannel> TlsConnector::connect() {
    const auto addresses = transport::lookUp(m_place);
    const Deadline deadline(m_place.connectTimeoutMs);
    auto session = std::make_unique<Session>(
        m_context, transport::connectTo(addresses, m_place, deadline), m_serverName);
    finishHandshake(*session, deadline);
    return transport::channelOver(makeReference<TlsConnection>(std::move(session), m_place),
                                  GetComModule());
}

Reference<net::pcom::AbstractServerSide>
TlsTransport::createServerSide(const util::PropertySet& properties) {
    return pcom::countedNew(GetComModule(), new TlsServerSide(properties));
}

TlsServerSide::TlsServerSide(const util::PropertySet& properties)
    : m_place(Place::ofServerSide(properties)), m_handshakeMs(handshakeMs(properties)),
      m_context(Context::ofAcceptor(properties)) {}

Reference<io::IChannel> TlsServerSide::serve(uint64_t socket) {
    qx_sockaddr_union address{};
    int32_t length = sizeof address;
    throwIfFailed(transport::codeOf(QXSocketGetPeerName(socket, &address, &length)));
    auto session = std::make_unique<Session>(m_context, SessionSocket(socket), textOf(address));
    finishHandshake(*session, Deadline(m_handshakeMs));
    return transport::channelOver(makeReference<TlsConnection>(std::move(session), m_place),
                                  GetComModule());
}

TlsAcceptor::TlsAcceptor(const Place& place, const util::PropertySet& properties)
    : m_place(place), m_handshakeMs(handshakeMs(properties)),
      m_context(Context::ofAcceptor(properties)), m_listener(place) {
    throwIfFailed(transport::codeOf(QXSocketSetNonBlocking(m_listener.socket().get(), 1)));
}

Reference<io::IChannel> TlsAcceptor::accept() {
    const std::lock_guard turn(m_turn);
    m_turn.requireWhole();
    // A child made by fork leaves the handshakes of its parent to that.
    m_handshakes.remove_if([](const Handshake& one) { return one.session->isFromParent(); });
    for (;;) {
        const auto sockets = awaitOne();
        if (auto session = goOn(sockets))
            return transport::channelOver(makeReference<TlsConnection>(std::move(session), m_place),
                                          GetComModule());
        if (sockets.front().ready != 0)
            begin();
    }
}

/// Waits until something is to be done for one of the handshakes, or for the listener, which comes
/// first.
std::vector<qx_socket_poll> TlsAcceptor::awaitOne() const {
    std::vector<qx_socket_poll> sockets{{m_listener.socket().get(), QX_POLL_READ, 0}};
    Deadline first;
    for (const Handshake& handshake : m_handshakes) {
        sockets.push_back({handshake.session->socket().get(), handshake.session->wanted(), 0});
        if (handshake.deadline.isBefore(first))
            first = handshake.deadline;
    }
    qx_timeval limit{};
    throwIfFailed(transport::codeOf(
        QXSocketPoll(sockets.data(), static_cast<uint32_t>(sockets.size()), first.left(limit))));
    return sockets;
}

/// Goes on with the handshakes that can; the session of one that is done.
std::unique_ptr<Session> TlsAcceptor::goOn(const std::vector<qx_socket_poll>& sockets) {
    auto socket = sockets.begin();
    for (auto next = m_handshakes.begin(); next != m_handshakes.end();) {
        const auto handshake = next++;
        const bool isReady = (++socket)->ready != 0;
        const bool isLate = handshake->deadline.hasPassed();
        if (!isReady && !isLate)
            continue;
        Handshakes one; // one that fails ends itself and no other
        one.splice(one.end(), m_handshakes, handshake);
        Session& session = *handshake->session;
        if (isReady && session.handshake())
            return std::move(handshake->session);
        if (isLate)
            throw ResultException(QX_E_SOCKET_ETIMEDOUT,
                                  session.peer() + u": too slow in the handshake");
        m_handshakes.splice(next, one);
    }
    return nullptr;
}

/// Takes a connection whose handshake is to come.
void TlsAcceptor::begin() {
    qx_sockaddr_union address{};
    Socket socket = m_listener.accept(&address);
    if (!socket)
        return;
    if (m_handshakes.size() >= static_cast<size_t>(m_place.backlog))
        m_handshakes.pop_front();
    m_handshakes.push_back(
        {std::make_unique<Session>(m_context, std::move(socket), textOf(address)),
         Deadline(m_handshakeMs)});
}

} // namespace qx::tls
