#include "qx/net/pcom/AbstractAcceptor.h"

#include <qx/net/detail/HandOut.h>

namespace qx::net::pcom {

int32_t AbstractAcceptor::Accept(const GUID& iid, void** out) {
    return detail::handOut(iid, out, [this] { return accept(); });
}

} // namespace qx::net::pcom
