#include "qx/net/pcom/AbstractTransport.h"

#include <qx/net/detail/HandOut.h>
#include <qx/util/config/pcom/PcomPropertySet.h>

namespace qx::net::pcom {

using util::pcom::PcomPropertySet;

int32_t AbstractTransport::CreateAcceptor(const util::pcom::IPropertySet* properties,
                                          const GUID& iid, void** out) {
    return detail::handOut(
        iid, out, [&] { return createAcceptor(*makeReference<PcomPropertySet>(properties)); });
}

int32_t AbstractTransport::CreateConnector(const util::pcom::IPropertySet* properties,
                                           const GUID& iid, void** out) {
    return detail::handOut(
        iid, out, [&] { return createConnector(*makeReference<PcomPropertySet>(properties)); });
}

} // namespace qx::net::pcom
