#include "qx/net/pcom/PcomConnector.h"

#include <qx/core/Required.h>
#include <qx/io/Channels.h>
#include <qx/net/detail/HandOut.h>

namespace qx::net::pcom {

PcomConnector::PcomConnector(IQXConnector2* connector) : m_connector(required(connector)) {}

Reference<io::IChannel> PcomConnector::connect() {
    const auto channel = detail::taken<io::pcom::IQXChannel>(
        [this](const GUID& iid, void** out) { return m_connector->Connect(iid, out); });
    return io::Channels::adaptPcomChannel(channel);
}

} // namespace qx::net::pcom
