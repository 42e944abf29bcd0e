#include "qx/collections/pcom/AbstractCollection.h"

#include <qx/collections/Comparing.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/collections/pcom/detail/Elements.h>
#include <qx/core/Exception.h>

namespace qx::collections::pcom {

AbstractCollection::AbstractCollection() : m_comparator(GetDefaultComparator()) {}

AbstractCollection::AbstractCollection(const IQXComparator* comparator)
    : m_comparator(ownedComparator(comparator)) {}

AbstractCollection::AbstractCollection(const AbstractCollection& other)
    : Component(other), m_comparator(other.m_comparator) {}

bool AbstractCollection::add(IQXUnknown* element) {
    const Reference<IQXUnknown> untaken(element);
    throw UnsupportedOperationException(u"the collection takes no additions"_qs);
}

bool AbstractCollection::addAll(const Collection& other) {
    bool changed = false;
    detail::forEachElement(other, this,
                           [&](IQXUnknown* element) { changed = add(element) || changed; });
    return changed;
}

void AbstractCollection::clear() {
    const auto iterator = createIterator();
    while (iterator->hasNext()) {
        iterator->next();
        iterator->remove();
    }
}

int AbstractCollection::compareTo(const Object& other) const { return Object::compareTo(other); }

bool AbstractCollection::contains(const IQXUnknown* element) const {
    return detail::goToEqual(createConstIterator(), comparator(), element);
}

bool AbstractCollection::containsAll(const Collection& other) const {
    const auto iterator = other.createConstIterator();
    while (iterator->hasNext()) {
        if (!contains(iterator->next()))
            return false;
    }
    return true;
}

bool AbstractCollection::equals(const Object& other) const { return Object::equals(other); }

uint32_t AbstractCollection::hashCode() const { return Object::hashCode(); }

bool AbstractCollection::remove(const IQXUnknown* element) {
    const auto iterator = createIterator();
    if (!detail::goToEqual(iterator, comparator(), element))
        return false;
    iterator->remove();
    return true;
}

bool AbstractCollection::removeAll(const Collection& other) {
    bool changed = false;
    detail::forEachElement(other, this,
                           [&](IQXUnknown* element) { changed = remove(element) || changed; });
    return changed;
}

bool AbstractCollection::retainAll(const Collection& other) {
    // An iterator of this collection would not survive the first removal.
    bool changed = false;
    for (const auto& element : detail::elementsOf(*this)) {
        if (!other.contains(element)) {
            remove(element);
            changed = true;
        }
    }
    return changed;
}

} // namespace qx::collections::pcom
