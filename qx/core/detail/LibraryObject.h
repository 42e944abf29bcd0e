#pragma once

#include <qx/core/Comparable.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>

namespace qx::detail {

/// The object of the library behind an interface, or null. Asked through an interface that all of
/// them answer first: what comes from elsewhere need not know run-time types.
__attribute__((no_sanitize("vptr"))) inline Reference<Object> libraryObjectOf(IQXUnknown* value) {
    void* answer = nullptr;
    if (!value || value->QueryInterface(IQXComparable::Iid, &answer) < 0 || !answer)
        return nullptr;
    const auto comparable = Reference<IQXComparable>::attach(static_cast<IQXComparable*>(answer));
    return dynamic_cast<Object*>(value);
}

} // namespace qx::detail
