#include "qx/net/pcom/PcomTransport.h"

#include <qx/core/Required.h>
#include <qx/net/detail/CreateTransport.h>
#include <qx/net/detail/HandOut.h>
#include <qx/net/pcom/PcomAcceptor.h>
#include <qx/net/pcom/PcomConnector.h>
#include <qx/util/config/PropertySet.h>

namespace qx::net::pcom {

PcomTransport::PcomTransport(const String& name)
    : m_transport(detail::createTransport<IQXTransport>(name)) {}

PcomTransport::PcomTransport(IQXTransport* transport) : m_transport(required(transport)) {}

Reference<IConnector> PcomTransport::createConnector(const util::PropertySet& properties) {
    const auto shared = util::PropertySet::getPcom(&properties);
    const auto connector = detail::taken<IQXConnector2>([&](const GUID& iid, void** out) {
        return m_transport->CreateConnector(shared, iid, out);
    });
    return makeReference<PcomConnector>(connector.get());
}

Reference<IAcceptor> PcomTransport::createAcceptor(const util::PropertySet& properties) {
    const auto shared = util::PropertySet::getPcom(&properties);
    const auto acceptor = detail::taken<IQXAcceptor>(
        [&](const GUID& iid, void** out) { return m_transport->CreateAcceptor(shared, iid, out); });
    return makeReference<PcomAcceptor>(acceptor.get());
}

} // namespace qx::net::pcom
