#pragma once

#include <utility>

#include <qx/core/ModuleCount.h>
#include <qx/core/Reference.h>
#include <qx/io/IChannel.h>
#include <qx/net/IAcceptor.h>

#include "Channel.h"
#include "Place.h"

namespace qx::transport {

/// Lets @p module count @p object.
template <class T>
Reference<T> counted(T* object, pcom::ModuleCount* module) {
    object->SetComModule(module);
    return object;
}

inline Reference<io::IChannel> channelOver(Reference<Connection> connection,
                                           pcom::ModuleCount* module) {
    return counted(new Channel(std::move(connection)), module);
}

/// Hands out an acceptor that listens, after its port is stored.
template <class Acceptor>
Reference<net::IAcceptor> listening(Acceptor* made, const util::PropertySet& properties,
                                    const Place& place, pcom::ModuleCount* module) {
    const auto acceptor = counted(made, module);
    setBoundPort(properties, place, acceptor->getPort());
    return acceptor;
}

} // namespace qx::transport
