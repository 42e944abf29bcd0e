#include "qx/net/pcom/AbstractConnector.h"

#include <qx/net/detail/HandOut.h>

namespace qx::net::pcom {

int32_t AbstractConnector::Connect(const GUID& iid, void** out) {
    return detail::handOut(iid, out, [this] { return connect(); });
}

} // namespace qx::net::pcom
