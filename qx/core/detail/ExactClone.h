#pragma once

#include <qx/core/CastTo.h>
#include <qx/core/Required.h>

namespace qx::detail {

/// A new copy of an object of the class @p T itself.
/// @throws CloneNotSupportedException for an object of a derived class, of which only the part that
///     is a @p T would be copied
template <class T>
T* exactClone(const T& object) {
    if (!isExactly(object))
        throwNotCloneable(object);
    return new T(object);
}

} // namespace qx::detail
