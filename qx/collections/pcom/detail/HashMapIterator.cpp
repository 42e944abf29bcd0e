#include "qx/collections/pcom/detail/HashMapIterator.h"

#include <utility>

#include <qx/core/Exception.h>

namespace qx::collections::pcom {

HashMapIterator::HashMapIterator(HashMap* map, Kind kind)
    : m_map(map), m_expectedCount(map->modificationCount()), m_kind(kind),
      m_bucket(map->m_tableLength) {}

bool HashMapIterator::hasNext() const {
    if (m_nextEntry)
        return true;
    const Reference<HashMapEntry>* const table = m_map->m_table.get();
    if (!table)
        m_bucket = 0;
    while (m_bucket > 0) {
        HashMapEntry::prefetchElements(table, --m_bucket);
        if (table[m_bucket]) {
            m_nextEntry = table[m_bucket];
            return true;
        }
    }
    return false;
}

Reference<IQXUnknown> HashMapIterator::next() {
    Reference<HashMapEntry> dropped;
    const HashMapEntry& entry = nextEntry(dropped);
    switch (m_kind) {
    case Kind::Keys:
        return entry.m_key;
    case Kind::Values:
        return entry.m_value;
    default:
        return m_lastReturned->GetUnknown();
    }
}

const HashMapEntry& HashMapIterator::nextEntry(Reference<HashMapEntry>& dropped) {
    checkUnchanged();
    if (!hasNext())
        throw Exception();
    dropped = std::exchange(m_lastReturned, std::move(m_nextEntry));
    m_nextEntry = m_lastReturned->m_next;
    return *m_lastReturned;
}

void HashMapIterator::remove() {
    checkUnchanged();
    if (!m_lastReturned)
        throw IllegalStateException();
    Reference<HashMapEntry>* const link = m_map->findEntry(m_lastReturned->GetUnknown());
    if (!link) // gone by clear, which is not counted
        throw Exception();
    const auto removed = m_map->removeEntry(*link);
    ++m_expectedCount;
    const auto dropped = std::move(m_lastReturned);
}

void HashMapIterator::checkUnchanged() const {
    if (m_map->modificationCount() != m_expectedCount)
        throw Exception();
}

} // namespace qx::collections::pcom
