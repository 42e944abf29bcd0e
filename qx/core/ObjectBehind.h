#pragma once

#include <qx/core/CastTo.h>
#include <qx/core/ComObject.h>
#include <qx/core/InterfaceMap.h>

namespace qx::pcom {

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
    return castTo<T>(comObjectOf(unknown));
}

} // namespace qx::pcom
