#pragma once

#include <cstdint>
#include <iterator>
#include <string_view>

#include <qx/core/Result.h>
#include <qx/platform/shared.h>

namespace qx::sync::detail {

/// Passes the result of opening a lock or signal on, unless it is negative. Where the machine lacks
/// what objects between processes need, the exception says so.
inline void throwIfNotOpened(int32_t code) {
    if (code != result::NotAvailable) {
        throwIfFailed(code);
        return;
    }
    const char* const lack = QXSharedObjectsLack();
    char16_t text[200] = {};
    const std::string_view ascii = lack != nullptr ? lack : "";
    for (size_t i = 0; i < ascii.size() && i + 1 < std::size(text); ++i)
        text[i] = static_cast<unsigned char>(ascii[i]);
    throwResult(code, text);
}

} // namespace qx::sync::detail
