#include "qx/net/netaddress.h"

#include <memory>

#include <qx/net/InetSocketAddress.h>
#include <qx/net/detail/TextOutput.h>

namespace qx::net {

namespace {

/// Asks the address for a truth value.
ENUM_QX_E_SOCKET askAddress(const qx_sockaddr_union* source, int16_t* out,
                            int16_t (InetAddress::*question)() const) {
    if (out == nullptr)
        return QX_E_SOCKET_EINVAL;
    *out = 0;
    InetAddress* made = nullptr;
    const ENUM_QX_E_SOCKET code = InetAddress::create(source, &made);
    const std::unique_ptr<InetAddress> address(made);
    if (code == 0)
        *out = (address.get()->*question)();
    return code;
}

} // namespace

} // namespace qx::net

using namespace qx::net;

ENUM_QX_E_SOCKET QxNetInetAddressGetAddressStr(const qx_sockaddr_union* address, char* buffer,
                                               uint32_t* length) {
    return giveText(buffer, length, [&](qx::String& text) {
        InetAddress* made = nullptr;
        const ENUM_QX_E_SOCKET code = InetAddress::create(address, &made);
        const std::unique_ptr<InetAddress> owner(made);
        return code != 0 ? code : made->getAddressStr(text);
    });
}

ENUM_QX_E_SOCKET QxNetInetAddressIsAddressAny(const qx_sockaddr_union* address, int16_t* out) {
    return askAddress(address, out, &InetAddress::isAddressAny);
}

ENUM_QX_E_SOCKET QxNetInetAddressIsAddressLoopback(const qx_sockaddr_union* address, int16_t* out) {
    return askAddress(address, out, &InetAddress::isAddressLoopback);
}

ENUM_QX_E_SOCKET QxNetInetAddressIsAddressNone(const qx_sockaddr_union* address, int16_t* out) {
    return askAddress(address, out, &InetAddress::isAddressNone);
}

ENUM_QX_E_SOCKET QxNetInetSocketAddressGetDiagnosticStr(const qx_sockaddr_union* address,
                                                        char* buffer, uint32_t* length) {
    return giveText(buffer, length, [&](qx::String& text) {
        ENUM_QX_E_SOCKET code = 0;
        const InetSocketAddress whole(address, &code);
        return code != 0 ? code : whole.getDiagnosticStr(text);
    });
}

ENUM_QX_E_SOCKET
QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName(const char* service,
                                                               uint16_t* port) {
    return InetSocketAddress::getPortHostOrderFromTcpServiceName(service, port);
}
