#include "qx/collections/pcom/AbstractList.h"

#include <typeinfo>

#include <qx/collections/Comparing.h>
#include <qx/collections/detail/NaturalOrder.h>
#include <qx/collections/pcom/detail/Elements.h>
#include <qx/collections/pcom/detail/ListViews.h>
#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>

namespace qx::collections::pcom {

namespace {

/// The iterator for what @p list is exactly: of a derived class every operation is called.
Reference<ListIterator> iteratorAt(AbstractList* list, int cursor) {
    const std::type_info* const type = qx::detail::typeOf(list);
    if (type && *type == typeid(ArrayList))
        return new OwnListIterator<ArrayList>(static_cast<ArrayList*>(list), cursor);
    if (type && *type == typeid(LinkedList))
        return new OwnListIterator<LinkedList>(static_cast<LinkedList*>(list), cursor);
    return new ListIteratorOf<AbstractList>(list, cursor);
}

} // namespace

AbstractList::AbstractList(const IQXComparator* comparator) : AbstractCollection(comparator) {}

AbstractList::AbstractList(const AbstractList& other) : AbstractCollection(other) {}

bool AbstractList::add(IQXUnknown* element) {
    const Reference<IQXUnknown> owned(element);
    createListIterator(getSize())->add(element);
    return true;
}

bool AbstractList::addAll(int index, const Collection& other) {
    checkPosition(index, getSize());
    const auto iterator = createListIterator(index);
    bool any = false;
    detail::forEachElement(other, this, [&](IQXUnknown* element) {
        iterator->add(element);
        any = true;
    });
    return any;
}

int AbstractList::compareTo(const Object& other) const {
    if (&other == static_cast<const Object*>(this))
        return 0;
    return compareToList(requireCast(castTo<const List>(&other)));
}

Reference<ConstIterator> AbstractList::createConstIterator() const {
    return iteratorAt(detail::held(this), 0);
}

Reference<ConstListIterator> AbstractList::createConstListIterator(int index) const {
    checkPosition(index, getSize());
    return iteratorAt(detail::held(this), index);
}

Reference<Iterator> AbstractList::createIterator() { return iteratorAt(this, 0); }

Reference<ListIterator> AbstractList::createListIterator(int index) {
    checkPosition(index, getSize());
    return iteratorAt(this, index);
}

Reference<const List> AbstractList::createSubList(int from, int to) const {
    return AbstractListSubList::create(detail::held(this), from, to);
}

Reference<List> AbstractList::createSubList(int from, int to) {
    return AbstractListSubList::create(this, from, to);
}

bool AbstractList::equals(const Object& other) const {
    if (&other == static_cast<const Object*>(this))
        return true;
    const auto* const list = castTo<const List>(&other);
    return list && list->getSize() == getSize() && compareToList(*list) == 0;
}

uint32_t AbstractList::hashCode() const {
    uint32_t hash = 1;
    const auto iterator = createConstIterator();
    while (iterator->hasNext())
        hash = hash * 38 + hashElement(comparator(), iterator->next());
    return hash;
}

int AbstractList::indexOf(const IQXUnknown* element) const {
    const auto iterator = createConstListIterator(0);
    return detail::goToEqual(iterator, comparator(), element) ? iterator->previousIndex() : -1;
}

int AbstractList::lastIndexOf(const IQXUnknown* element) const {
    const auto iterator = createConstListIterator(getSize());
    const collections::detail::ElementComparison comparison(comparator());
    while (iterator->hasPrevious()) {
        if (comparison.areEqual(iterator->previous(), element))
            return iterator->nextIndex();
    }
    return -1;
}

int AbstractList::compareToList(const List& other) const {
    const auto ours = createConstIterator();
    const auto theirs = other.createConstIterator();
    const collections::detail::ElementComparison comparison(comparator());
    while (ours->hasNext() && theirs->hasNext()) {
        const auto element = ours->next();
        const int order = comparison.compare(element, theirs->next());
        if (order != 0)
            return order;
    }
    return int{ours->hasNext()} - int{theirs->hasNext()};
}

} // namespace qx::collections::pcom
