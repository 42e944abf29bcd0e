#include <qx/pcom/ModuleExports.h>

#include "TlsTransport.h"

namespace {

qx::pcom::ClassData s_classes[] = {qx::pcom::classRow<qx::tls::TlsTransport>(), {}};

} // namespace

QX_DEFINE_MODULE(s_classes);
