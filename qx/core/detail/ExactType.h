#pragma once

#include <typeinfo>

#include <qx/core/CastTo.h>

namespace qx::detail {

/// Whether an object is of the class @p T itself rather than of one derived from it. Unlike a
/// comparison of typeid, this is safe for a class that has no run-time type information; it is
/// false for one, and always in a program that is compiled without.
template <class T>
bool isExactly([[maybe_unused]] const T& object) noexcept {
#ifdef __GXX_RTTI
    const std::type_info* const type = typeOf(&object);
    return type && *type == typeid(T);
#else
    return false;
#endif
}

} // namespace qx::detail
