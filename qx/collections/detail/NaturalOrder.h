#pragma once

#include <typeinfo>

#include <qx/collections/IComparator.h>
#include <qx/core/String.h>
#include <qx/util/Comparator.h>

// A short cut through the natural order for the commonest elements. What it finds is what the
// comparator would, without the query for an interface and the casts behind it.

namespace qx::collections::detail {

/// True for a comparator that is exactly the one of the natural order, whose answers for a String
/// are known.
inline bool isNaturalOrder(const IQXComparator& comparator) {
    return typeid(comparator) == typeid(util::Comparator);
}

/// The element as a String; null when it is anything else, a class derived from String included.
inline const String* exactString(const IQXUnknown* element) {
    // By address: a type description that exists twice merely misses the short cut.
    if (!element || &typeid(*element) != &typeid(String))
        return nullptr;
    return static_cast<const String*>(dynamic_cast<const void*>(element));
}

} // namespace qx::collections::detail
