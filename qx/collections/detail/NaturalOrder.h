#pragma once

#include <typeinfo>

#include <qx/collections/Comparator.h>
#include <qx/collections/IComparator.h>
#include <qx/core/CastTo.h>
#include <qx/core/InterfaceMap.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/String.h>

// A short cut through the natural order for the commonest elements. What it finds is what the
// comparator would, without the query for an interface and the casts behind it.

namespace qx::collections::detail {

/// The table of what is exactly a String, for exactString, when @p comparator is exactly the one of
/// the natural order, whose answers for a String are known; else null.
inline const void* naturalStringTable(const IQXComparator& comparator) {
    const ComObject* const object = qx::pcom::comObjectOf(&comparator);
    const std::type_info* const type = object ? qx::detail::typeOf(object) : nullptr;
    return type && *type == typeid(util::Comparator)
               ? qx::detail::functionTableOf(String().GetUnknown())
               : nullptr;
}

/// The element as a String; null when it is anything else, a class derived from String included,
/// and when it comes by another interface than its first.
inline const String* exactString(const IQXUnknown* element, const void* stringTable) noexcept {
    return element && qx::detail::functionTableOf(element) == stringTable
               ? static_cast<const String*>(static_cast<const ComObject*>(element))
               : nullptr;
}

} // namespace qx::collections::detail
