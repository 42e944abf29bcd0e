#include "qx/collections/pcom/detail/AbstractListSubList.h"

#include <utility>

#include <qx/collections/pcom/Component.h>
#include <qx/core/Exception.h>

namespace qx::collections::pcom {

/// Enters a change of the parent into the view, and takes it back unless it is kept. Made before
/// the parent changes, because an element that goes away may look at the view.
class AbstractListSubList::Change {
public:
    Change(AbstractListSubList& view, int growth) noexcept : m_view(view), m_growth(growth) {
        m_view.m_size += m_growth;
        ++m_view.m_snapshot;
        ++m_view.m_modificationCount;
    }
    ~Change() {
        if (m_kept)
            return;
        m_view.m_size -= m_growth;
        --m_view.m_snapshot;
        --m_view.m_modificationCount;
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    void keep() noexcept { m_kept = true; }

private:
    AbstractListSubList& m_view;
    const int m_growth;
    bool m_kept = false;
};

/// A list iterator of the parent that stays inside the view.
class AbstractListSubList::SubListIterator final : public Component<ComObject, ListIterator> {
public:
    SubListIterator(AbstractListSubList* view, Reference<ListIterator> inner)
        : m_view(view), m_inner(std::move(inner)) {}

    bool hasNext() const override { return nextIndex() < m_view->m_size; }

    Reference<IQXUnknown> next() override {
        if (!hasNext())
            throw Exception();
        return m_inner->next();
    }

    void remove() override {
        Change change(*m_view, -1);
        m_inner->remove();
        change.keep();
    }

    bool hasPrevious() const override { return previousIndex() >= 0; }

    Reference<IQXUnknown> previous() override {
        if (!hasPrevious())
            throw Exception();
        return m_inner->previous();
    }

    int nextIndex() const override { return m_inner->nextIndex() - m_view->m_offset; }

    int previousIndex() const override { return m_inner->previousIndex() - m_view->m_offset; }

    bool add(IQXUnknown* element) override {
        Change change(*m_view, 1);
        if (!m_inner->add(element))
            return false;
        change.keep();
        return true;
    }

    void set(IQXUnknown* element) override {
        Change change(*m_view, 0);
        m_inner->set(element);
        change.keep();
    }

private:
    const Reference<AbstractListSubList> m_view;
    const Reference<ListIterator> m_inner;
};

AbstractListSubList::AbstractListSubList(AbstractList* parent, int from, int to)
    : AbstractList(*parent), m_parent(parent), m_snapshot(parent->m_modificationCount),
      m_offset(from), m_size(to - from) {}

Reference<AbstractListSubList> AbstractListSubList::create(AbstractList* parent, int from, int to) {
    checkPosition(to, parent->getSize());
    checkPosition(from, to);
    return new AbstractListSubList(parent, from, to);
}

bool AbstractListSubList::add(int index, IQXUnknown* element) {
    const Reference<IQXUnknown> owned(element);
    checkPosition(index, m_size);
    checkUnchanged();
    Change change(*this, 1);
    if (!m_parent->add(m_offset + index, element))
        return false;
    change.keep();
    return true;
}

Reference<ConstListIterator> AbstractListSubList::createConstListIterator(int index) const {
    return createIteratorAt(index);
}

Reference<ListIterator> AbstractListSubList::createListIterator(int index) {
    return createIteratorAt(index);
}

Reference<IQXUnknown> AbstractListSubList::get(int index) const {
    checkElementIndex(index, m_size);
    checkUnchanged();
    return m_parent->get(m_offset + index);
}

int AbstractListSubList::getSize() const { return m_size; }

Reference<IQXUnknown> AbstractListSubList::remove(int index) {
    checkElementIndex(index, m_size);
    checkUnchanged();
    Change change(*this, -1);
    auto removed = m_parent->remove(m_offset + index);
    change.keep();
    return removed;
}

Reference<IQXUnknown> AbstractListSubList::set(int index, IQXUnknown* element) {
    const Reference<IQXUnknown> owned(element);
    checkElementIndex(index, m_size);
    checkUnchanged();
    Change change(*this, 0);
    auto replaced = m_parent->set(m_offset + index, element);
    change.keep();
    return replaced;
}

Reference<AbstractListSubList::SubListIterator>
AbstractListSubList::createIteratorAt(int index) const {
    checkPosition(index, m_size);
    auto inner = m_parent->createListIterator(m_offset + index);
    return new SubListIterator(const_cast<AbstractListSubList*>(this), std::move(inner));
}

void AbstractListSubList::checkUnchanged() const {
    if (m_parent->m_modificationCount != m_snapshot)
        throw Exception();
}

} // namespace qx::collections::pcom
