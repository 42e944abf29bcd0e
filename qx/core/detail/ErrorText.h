#pragma once

#include <cstdint>

#include <qx/core/ErrorCode.h>
#include <qx/core/String.h>

namespace qx::detail {

/// What a result code means, in ASCII; null for one that only the system has a text for.
const char* ownErrorText(int32_t code) noexcept;

/// What a result code means. The system's own texts are in the default encoding.
inline String errorText(int32_t code) {
    const char* const own = ownErrorText(code);
    return own ? String::fromUtf8(own) : String(makeErrorCode(code).message().c_str());
}

} // namespace qx::detail
