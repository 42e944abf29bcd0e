#include "qx/net/pcom/PcomTransport.h"

#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/net/detail/HandOut.h>
#include <qx/net/pcom/PcomAcceptor.h>
#include <qx/net/pcom/PcomConnector.h>
#include <qx/platform/module.h>
#include <qx/util/config/PropertySet.h>

namespace qx::net::pcom {

namespace {

Reference<IQXTransport> create(const String& name) {
    const String units(name, String::AM_COPY); // with a 0 unit behind them
    if (units.contains(u'\0'))
        throwResultOf(result::NotFound, name); // no identifier, and not another one cut off
    try {
        return detail::taken<IQXTransport>([&units](const GUID& iid, void** out) {
            return QXComCreateObjectByProgID(units.getData(), nullptr, &iid, out);
        });
    } catch (const ResultException& failure) {
        throw withDetail(
            ResultException(failure.getResult(),
                            u"cannot create transport " + (name.isEmpty() ? u"\"\""_qs : name)),
            failure.getDescription());
    }
}

} // namespace

PcomTransport::PcomTransport(const String& name) : m_transport(create(name)) {}

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
