#pragma once

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/io/IoException.h>
#include <qx/net/socketerror.h>

namespace qx::net {

/// What a host name leaves open.
inline String portText(unsigned short port) { return u"port " + String::valueOf(int{port}); }

/// Make and throw "<text><description of the code>".
inline Exception described(TextView text, ENUM_QX_E_SOCKET code) {
    return Exception(String(text).append(QXGetDescriptionFromQX_E_SOCKET(code)));
}
[[noreturn]] inline void throwDescribed(TextView text, ENUM_QX_E_SOCKET code) {
    throw described(text, code);
}
[[noreturn]] inline void throwIo(TextView text, ENUM_QX_E_SOCKET code) {
    throw io::IoException(String(text).append(QXGetDescriptionFromQX_E_SOCKET(code)));
}

} // namespace qx::net
