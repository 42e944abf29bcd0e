#pragma once

#include <cstdint>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/platform/shared.h>

namespace qx::sync::detail {

/// The name of a lock, a signal or shared memory, as far as it can be shown; empty for null.
inline String shownName(const char* name) {
    String text;
    if (name != nullptr && resultOf([&] { text = String(name); }) < 0)
        text = String::fromUtf8(name);
    return text;
}

/// Passes the result of opening a lock or signal on, unless it is negative. Where the machine lacks
/// what objects between processes need, the exception says so.
/// @param name  null for none
inline void throwIfNotOpened(int32_t code, const char* name) {
    const char* const lack = code == result::NotAvailable ? QXSharedObjectsLack() : nullptr;
    if (lack != nullptr)
        throw withDetail(ResultException(code, String::fromUtf8(lack)), shownName(name));
    throwIfFailedOf(code, [name] { return shownName(name); });
}

} // namespace qx::sync::detail
