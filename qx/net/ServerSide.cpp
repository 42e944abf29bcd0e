#include "qx/net/ServerSide.h"

#include <qx/io/Channels.h>
#include <qx/net/detail/CreateTransport.h>
#include <qx/net/detail/HandOut.h>
#include <qx/util/config/PropertySet.h>

namespace qx::net {

ServerSide::ServerSide(const String& transport, const util::PropertySet& properties) {
    const auto component = detail::createTransport<pcom::IQXServerTransport>(transport);
    const auto shared = util::PropertySet::getPcom(&properties);
    m_side = detail::taken<pcom::IQXServerSide>(
        [&](const GUID& iid, void** out) { return component->CreateServerSide(shared, iid, out); });
}

Reference<io::IChannel> ServerSide::serve(uint64_t socket) const {
    const auto channel = detail::taken<io::pcom::IQXChannel>(
        [&](const GUID& iid, void** out) { return m_side->Serve(socket, iid, out); });
    return io::Channels::adaptPcomChannel(channel);
}

} // namespace qx::net
