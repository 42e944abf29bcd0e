#pragma once

#include <cstdint>

#include <qx/collections/IComparator.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>

// How lists, maps and sets ask a comparator. Its failures come out as ResultException with its
// code; what the comparator itself throws passes through.

namespace qx::collections {

/// Negative, 0 or positive: @p element before, equal to or behind @p other.
/// @throws ResultException when the comparator fails
inline int compareElements(IQXComparator& comparator, const IQXUnknown* element,
                           const IQXUnknown* other) {
    int order = 0;
    throwIfFailed(comparator.Compare(element, other, &order));
    return order;
}

/// @throws ResultException when the comparator fails
inline bool equalElements(IQXComparator& comparator, const IQXUnknown* element,
                          const IQXUnknown* other) {
    return compareElements(comparator, element, other) == 0;
}

/// @throws ResultException when the comparator fails
inline uint32_t hashElement(IQXComparator& comparator, const IQXUnknown* element) {
    uint32_t hash = 0;
    throwIfFailed(comparator.Hash(element, &hash));
    return hash;
}

/// The comparator that a caller hands to a collection, owned.
/// @throws ResultException with result::NullPointer when there is none
inline Reference<IQXComparator> ownedComparator(const IQXComparator* comparator) {
    if (!comparator)
        throwResult(result::NullPointer, u"comparator");
    // Counting and asking are not const at the component boundary; the comparator's order is.
    return const_cast<IQXComparator*>(comparator);
}

} // namespace qx::collections
