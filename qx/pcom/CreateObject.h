#pragma once

#include <string_view>

#include <qx/core/AnyText.h>
#include <qx/core/GUID.h>
#include <qx/core/InterfaceId.h>
#include <qx/core/Reference.h>
#include <qx/core/TypeName.h>
#include <qx/platform/export.h>

namespace qx::pcom {

/// The bodies of createObject.
QX_API void createObjectOf(const AnyText& progId, const GUID& iid, std::string_view wanted,
                           void** out);
QX_API void createObjectOf(const GUID& classId, const GUID& iid, std::string_view wanted,
                           void** out);

/// Creates an object of a registered class, or of one that the program offers, by its programmatic
/// identifier, with or without a version:
///
///     auto transport = qx::pcom::createObject<IQXTransport>(u"Orbelle.Transport.TCP.1");
///
/// @throws ResultException that names the class, with the code of QXComCreateObjectByProgID
///     (qx/platform/module.h) and what is known beside it: the interface that the class does not
///     have, or why the loader refuses its module
template <class Interface>
[[nodiscard]] Reference<Interface> createObject(const AnyText& progId) {
    Reference<Interface> object;
    createObjectOf(progId, queriedIid<Interface>(), typeName<Interface>(), object.putVoid());
    return object;
}
/// The same by the identifier of the class.
template <class Interface>
[[nodiscard]] Reference<Interface> createObject(const GUID& classId) {
    Reference<Interface> object;
    createObjectOf(classId, queriedIid<Interface>(), typeName<Interface>(), object.putVoid());
    return object;
}

} // namespace qx::pcom
