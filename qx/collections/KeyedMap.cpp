#include "qx/collections/KeyedMap.h"

#include <algorithm>

#include <qx/collections/detail/KeyedTable.h>
#include <qx/core/Exception.h>

namespace qx::collections {

template <class Entry>
KeyedWalk<Entry>::KeyedWalk(const detail::KeyedTable<Entry>& table) noexcept
    : m_table(&table), m_changes(&table.changes()), m_expectedChanges(*m_changes) {
    static_assert(Most == detail::SmallGroup);
}

template <class Entry>
bool KeyedWalk<Entry>::nextEntries() noexcept {
    const auto& storage = m_table->storage();
    const uint32_t groups = storage.groupCount();
    for (; m_group < groups; ++m_group, m_first = 0) {
        const auto& group = storage.group(m_group);
        const uint32_t left = group.count() - m_first;
        if (left == 0)
            continue;
        if (m_group + storage.Ahead < groups)
            storage.prefetch(storage.group(m_group + storage.Ahead));
        m_entries = group.entries() + m_first;
        m_count = std::min(left, Most);
        m_first += m_count;
        m_isInOrder = group.isInOrder();
        if (!m_isInOrder)
            m_order = group.inOrder(storage.marking());
        return true;
    }
    return false;
}

template <class Entry>
void KeyedWalk<Entry>::throwChanged() {
    throw Exception(u"the map was changed by others, or has no more elements"_qs);
}

template <class Entry>
KeyedMap<Entry>::KeyedMap(int capacity, float loadFactor)
    : m_table(std::make_unique<detail::KeyedTable<Entry>>(capacity, loadFactor)) {}

template <class Entry>
KeyedMap<Entry>::~KeyedMap() = default;

template <class Entry>
int KeyedMap<Entry>::getCapacity() const noexcept {
    return m_table->storage().length();
}

template class KeyedWalk<IntegerEntry>;
template class KeyedWalk<TextEntry>;
template class KeyedMap<IntegerEntry>;
template class KeyedMap<TextEntry>;

} // namespace qx::collections
