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

/// Why a lock or signal between processes was not opened; null where the code alone says it.
inline const char* reasonOf(int32_t code) noexcept {
    if (code == result::InvalidHandle)
        return "the name of an object of another kind or version";
    return code == result::NotAvailable ? QXSharedObjectsLack() : nullptr;
}

/// Passes the result of opening a lock or signal on, unless it is negative.
/// @param name  null for none
inline void throwIfNotOpened(int32_t code, const char* name) {
    const char* const why = reasonOf(code);
    if (why != nullptr)
        throw withDetail(ResultException(code, String::fromUtf8(why)), shownName(name));
    throwIfFailedOf(code, [name] { return shownName(name); });
}

} // namespace qx::sync::detail
