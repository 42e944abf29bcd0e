#include "qx/core/detail/Subsystem.h"

#include <qx/core/Exception.h>
#include <qx/net/TcpServerSocket.h>
#include <qx/net/TcpSocket.h>
#include <qx/net/TcpSocket2.h>

namespace qx::net {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<TcpServerSocket>(u"qx::net::TcpServerSocket"),
    known<TcpSocket>(u"qx::net::TcpSocket"),
};
// clang-format on

void stop() {
    if (const int32_t code = TcpSocket2::uninit())
        throw Exception(String(u"QXCLLibUninit ") + QXGetDescriptionFromQX_E_SOCKET(code));
}

} // namespace

constinit const Subsystem subsystem{.classes = Classes, .stop = &stop};

} // namespace qx::net
