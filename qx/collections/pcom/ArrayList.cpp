#include "qx/collections/pcom/ArrayList.h"

#include <utility>

#include <qx/collections/detail/ReleaseAll.h>
#include <qx/collections/pcom/detail/ListViews.h>
#include <qx/collections/pcom/detail/Sizes.h>

namespace qx::collections::pcom {

ArrayList::ArrayList(const IQXComparator* comparator) : AbstractList(comparator) {}

// Delegating, so that the destructor releases what was added when addAll fails.
ArrayList::ArrayList(const Collection& other) : ArrayList() { addCopies(other); }

ArrayList::ArrayList(const Collection& other, const IQXComparator* comparator)
    : ArrayList(comparator) {
    addCopies(other);
}

ArrayList::ArrayList(const ArrayList& other) : ArrayList(other, &other.comparator()) {}

ArrayList::~ArrayList() {
    collections::detail::releaseAll(*this, [this] {
        for (IQXUnknown* const element : std::exchange(m_elements, {}))
            Reference<IQXUnknown>::attach(element).reset();
    });
}

bool ArrayList::add(IQXUnknown* element) {
    Reference<IQXUnknown> owned(element);
    makeRoom();
    m_elements.push_back(owned.detach());
    return true;
}

bool ArrayList::add(int index, IQXUnknown* element) {
    Reference<IQXUnknown> owned(element);
    checkPosition(index, getSize());
    makeRoom();
    m_elements.insert(m_elements.begin() + index, owned.detach());
    countChange();
    return true;
}

void ArrayList::clear() {
    for (int index = getSize(); index-- > 0;) {
        if (index < getSize()) // unless an element that went away has removed others
            remove(index);
    }
    countChange();
}

Reference<IQXUnknown> ArrayList::remove(int index) {
    checkElementIndex(index, getSize());
    const auto place = m_elements.begin() + index;
    auto removed = Reference<IQXUnknown>::attach(*place);
    m_elements.erase(place);
    countChange();
    return removed;
}

Reference<IQXUnknown> ArrayList::set(int index, IQXUnknown* element) {
    Reference<IQXUnknown> owned(element);
    checkElementIndex(index, getSize());
    IQXUnknown*& place = m_elements[static_cast<std::size_t>(index)];
    countChange();
    return Reference<IQXUnknown>::attach(std::exchange(place, owned.detach()));
}

/// addAll for a new list.
void ArrayList::addCopies(const Collection& other) {
    const ArrayList* const list = exactArrayList(other);
    if (!list) {
        ArrayList::addAll(other);
        return;
    }
    // The capacity that they would reach one by one, which callers can ask for.
    int capacity = 0;
    while (capacity < list->getSize())
        capacity = detail::grownCapacity(capacity);
    m_elements.reserve(static_cast<std::size_t>(capacity));
    for (std::size_t index = 0; index < list->m_elements.size(); ++index)
        ArrayList::add(list->m_elements[index]);
}

void ArrayList::makeRoom() {
    if (m_elements.size() == m_elements.capacity())
        m_elements.reserve(static_cast<std::size_t>(detail::grownCapacity(getSize())));
}

} // namespace qx::collections::pcom
