#include "TcpTransport.h"

#include <utility>

#include <qx/core/Result.h>

#include "TcpConnection.h"
#include "modules/transport/Components.h"

namespace qx::tcp {

using transport::Place;

Reference<net::IConnector> TcpTransport::createConnector(const util::PropertySet& properties) {
    return pcom::countedNew(GetComModule(), new TcpConnector(Place::ofConnector(properties, 0)));
}

Reference<net::IAcceptor> TcpTransport::createAcceptor(const util::PropertySet& properties) {
    const Place place = Place::ofAcceptor(properties);
    return transport::listening(new TcpAcceptor(place), properties, place, GetComModule());
}

TcpConnector::TcpConnector(Place place) : m_place(std::move(place)) {}

Reference<io::IChannel> TcpConnector::connect() {
    const auto addresses = transport::lookUp(m_place);
    auto socket =
        transport::connectTo(addresses, m_place, transport::Deadline(m_place.connectTimeoutMs));
    return transport::channelOver(makeReference<TcpConnection>(std::move(socket), m_place),
                                  GetComModule());
}

TcpAcceptor::TcpAcceptor(const Place& place) : m_place(place), m_listener(place) {}

Reference<io::IChannel> TcpAcceptor::accept() {
    return transport::channelOver(makeReference<TcpConnection>(m_listener.accept(), m_place),
                                  GetComModule());
}

} // namespace qx::tcp
