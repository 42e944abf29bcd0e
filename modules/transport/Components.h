#pragma once

#include <utility>

#include <qx/core/ModuleCount.h>
#include <qx/core/Reference.h>
#include <qx/io/IChannel.h>
#include <qx/net/IAcceptor.h>
#include <qx/pcom/ClassFactory.h>

#include "Channel.h"
#include "Place.h"

namespace qx::transport {

inline Reference<io::IChannel> channelOver(Reference<Connection> connection,
                                           pcom::ModuleCount* module) {
    return pcom::countedNew(module, new Channel(std::move(connection)));
}

/// Hands out an acceptor that listens, after its port is stored.
template <class Acceptor>
Reference<net::IAcceptor> listening(Acceptor* made, const util::PropertySet& properties,
                                    const Place& place, pcom::ModuleCount* module) {
    const auto acceptor = pcom::countedNew(module, made);
    setBoundPort(properties, place, acceptor->getPort());
    return acceptor;
}

} // namespace qx::transport
