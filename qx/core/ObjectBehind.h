#pragma once

#include <type_traits>

#include <qx/core/CastTo.h>
#include <qx/core/ComObject.h>
#include <qx/core/InterfaceMap.h>
#include <qx/platform/export.h>

namespace qx {

namespace detail {

/// The Object that @p unknown points to, when it says that it is one; null for any other and for
/// one that is called by an interface of its own.
QX_API Object* objectAt(const IQXUnknown* unknown);

} // namespace detail

namespace pcom {

/// The object behind @p unknown as a @p T, which is a class over ComObject or one of its bases;
/// null for null, for another class and for what comObjectOf does not know. This is how an
/// interface that may be anybody's is told from one of the library: objects written in C have no
/// run-time type information, and a dynamic_cast of their interface reads outside their table.
/// Takes no reference.
///
/// An object that passes its queries on to an object of the library is taken for that object. A
/// reference to the former is then none to the latter.
template <class T>
T* objectBehind(const IQXUnknown* unknown) {
    if constexpr (std::is_same_v<std::remove_cv_t<T>, Object>) {
        // One query, and no search through the bases of the class.
        if (Object* const object = qx::detail::objectAt(unknown))
            return object;
    }
    return castTo<T>(comObjectOf(unknown));
}

} // namespace pcom

} // namespace qx
