#pragma once

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/io/IoException.h>
#include <qx/net/socketerror.h>

namespace qx::net {

/// Throw "<text><description of the code>".
[[noreturn]] inline void throwDescribed(TextView text, ENUM_QX_E_SOCKET code) {
    throw Exception(String(text).append(QXGetDescriptionFromQX_E_SOCKET(code)));
}
[[noreturn]] inline void throwIo(TextView text, ENUM_QX_E_SOCKET code) {
    throw io::IoException(String(text).append(QXGetDescriptionFromQX_E_SOCKET(code)));
}

} // namespace qx::net
