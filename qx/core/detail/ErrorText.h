#pragma once

#include <qx/core/ErrorCode.h>
#include <qx/core/String.h>

namespace qx::detail {

/// What a result code means. The system's own texts are in the default encoding.
inline String errorText(int32_t code) { return String(makeErrorCode(code).message().c_str()); }

} // namespace qx::detail
