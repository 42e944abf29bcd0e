#include "qx/collections/pcom/detail/AbstractListIterator.h"

#include <qx/core/Exception.h>

namespace qx::collections::pcom {

AbstractListIterator::AbstractListIterator(AbstractList* list, int cursor)
    : m_list(list), m_expectedCount(list->m_modificationCount), m_cursor(cursor) {}

bool AbstractListIterator::hasNext() const { return m_cursor < m_list->getSize(); }

Reference<IQXUnknown> AbstractListIterator::next() {
    checkUnchanged();
    auto element = m_list->get(m_cursor);
    m_lastReturned = m_cursor++;
    return element;
}

void AbstractListIterator::remove() {
    checkUnchanged();
    checkReturned();
    const auto removed = m_list->remove(m_lastReturned);
    if (m_cursor > m_lastReturned)
        --m_cursor;
    m_lastReturned = -1;
    ++m_expectedCount;
}

bool AbstractListIterator::hasPrevious() const { return m_cursor > 0; }

Reference<IQXUnknown> AbstractListIterator::previous() {
    checkUnchanged();
    auto element = m_list->get(m_cursor - 1);
    m_lastReturned = --m_cursor;
    return element;
}

int AbstractListIterator::nextIndex() const { return m_cursor; }

int AbstractListIterator::previousIndex() const { return m_cursor - 1; }

bool AbstractListIterator::add(IQXUnknown* element) {
    const Reference<IQXUnknown> owned(element);
    checkUnchanged();
    if (!m_list->add(m_cursor, element))
        return false;
    ++m_cursor;
    ++m_expectedCount;
    m_lastReturned = -1;
    return true;
}

void AbstractListIterator::set(IQXUnknown* element) {
    const Reference<IQXUnknown> owned(element);
    checkUnchanged();
    checkReturned();
    const auto replaced = m_list->set(m_lastReturned, element);
    ++m_expectedCount;
}

void AbstractListIterator::checkUnchanged() const {
    if (m_list->m_modificationCount != m_expectedCount)
        throw Exception();
}

void AbstractListIterator::checkReturned() const {
    if (m_lastReturned == -1)
        throw IllegalStateException();
}

} // namespace qx::collections::pcom
