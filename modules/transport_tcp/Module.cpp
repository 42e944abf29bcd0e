#include <qx/pcom/ModuleExports.h>

#include "TcpTransport.h"

namespace {

qx::pcom::ClassData s_classes[] = {qx::pcom::classRow<qx::tcp::TcpTransport>(), {}};

} // namespace

QX_DEFINE_MODULE(s_classes);
