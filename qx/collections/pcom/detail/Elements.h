#pragma once

#include <cstddef>
#include <vector>

#include <qx/collections/detail/NaturalOrder.h>
#include <qx/collections/pcom/Collection.h>
#include <qx/collections/pcom/LendingWalk.h>

namespace qx::collections::pcom::detail {

/// A container as its iterators and views hold it: all alike, and those of a constant container go
/// out as constant ones.
template <class Container>
Container* held(const Container* container) {
    return const_cast<Container*>(container);
}

/// The elements of a collection at this moment, in its order.
inline std::vector<Reference<IQXUnknown>> elementsOf(const Collection& collection) {
    std::vector<Reference<IQXUnknown>> elements;
    elements.reserve(static_cast<std::size_t>(collection.getSize()));
    const auto iterator = collection.createConstIterator();
    while (iterator->hasNext())
        elements.push_back(iterator->next());
    return elements;
}

/// Calls @p visit with each element of @p collection. When the visits change the collection itself,
/// that is, @p changing is the same object, they see it as it was before.
template <class Visit>
void forEachElement(const Collection& collection, const Collection* changing, Visit&& visit) {
    if (&collection == changing) {
        for (const auto& element : elementsOf(collection))
            visit(element.get());
        return;
    }
    const auto iterator = collection.createConstIterator();
    while (iterator->hasNext())
        visit(iterator->next().get());
}

/// Lets @p iterator go on to the first element that is equal to @p sought by @p comparator; false
/// at the end, when there is none.
inline bool goToEqual(ConstIterator* iterator, IQXComparator& comparator,
                      const IQXUnknown* sought) {
    const collections::detail::ElementComparison comparison(comparator);
    LendingWalk* const walk = LendingWalk::of(iterator);
    if (!walk) {
        while (iterator->hasNext()) {
            if (comparison.areEqual(iterator->next(), sought))
                return true;
        }
        return false;
    }
    for (IQXUnknown* element = nullptr; walk->step(element);) {
        // These are compared without a call of anybody who might drop them.
        if (const auto strings = comparison.strings(element, sought)) {
            const bool areEqual = strings.areEqual();
            walk->drop();
            if (areEqual)
                return true;
            continue;
        }
        const Reference<IQXUnknown> held(element);
        walk->drop();
        if (equalElements(comparator, held, sought))
            return true;
    }
    return false;
}

} // namespace qx::collections::pcom::detail
