#include "qx/net/pcom/AbstractServerSide.h"

#include <qx/net/detail/HandOut.h>
#include <qx/util/config/pcom/PcomPropertySet.h>

namespace qx::net::pcom {

int32_t AbstractServerSide::Serve(uint64_t socket, const GUID& iid, void** out) {
    return detail::handOut(iid, out, [&] { return serve(socket); });
}

int32_t AbstractServerTransport::CreateServerSide(const util::pcom::IPropertySet* properties,
                                                  const GUID& iid, void** out) {
    return detail::handOut(iid, out, [&] {
        return createServerSide(*makeReference<util::pcom::PcomPropertySet>(properties));
    });
}

} // namespace qx::net::pcom
