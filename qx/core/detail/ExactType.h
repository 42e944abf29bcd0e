#pragma once

#include <typeinfo>

#include <qx/core/CastTo.h>

namespace qx::detail {

/// Whether an object is of the class @p T itself rather than of one derived from it. Unlike a
/// comparison of typeid, this is safe for a class that has no run-time type information.
template <class T>
bool isExactly(const T& object) noexcept {
    const std::type_info* const type = typeOf(&object);
    return type && *type == typeid(T);
}

} // namespace qx::detail
