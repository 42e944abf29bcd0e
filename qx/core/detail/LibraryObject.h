#pragma once

#include <qx/core/InterfaceMap.h>
#include <qx/core/Object.h>
#include <qx/core/Unknown.h>

namespace qx::detail {

/// The object of the library behind an interface, or null.
inline Object* libraryObjectOf(const IQXUnknown* value) {
    return dynamic_cast<Object*>(pcom::comObjectOf(value));
}

} // namespace qx::detail
