#pragma once

#include <cstdint>

#include <qx/core/Result.h>

// Component methods that give something through a pointer of their caller.

namespace qx::detail {

/// Runs @p body, which stores something at @p out, as resultOf does. When it fails before that, the
/// caller finds T() there.
/// @return result::NullPointer without a call of @p body for a null @p out
template <class T, class Body>
int32_t resultOfFilling(T* out, Body&& body) noexcept {
    if (!out)
        return result::NullPointer;
    *out = T();
    return resultOf(body);
}

/// Stores what @p body returns at @p out; T() when it throws.
/// @return what resultOfFilling returns
template <class T, class Body>
int32_t resultOfStoring(T* out, Body&& body) noexcept {
    return resultOfFilling(out, [&] { *out = body(); });
}

} // namespace qx::detail
