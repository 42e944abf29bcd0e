#include "qx/net/Transport.h"

#include <qx/net/pcom/PcomTransport.h>

namespace qx::net {

Reference<ITransport> Transport::get(const String& name) {
    return makeReference<pcom::PcomTransport>(name);
}

} // namespace qx::net
