#pragma once

#include <cstdint>
#include <utility>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/Iterator.h>
#include <qx/collections/pcom/detail/HashMapEntry.h>
#include <qx/core/Exception.h>
#include <qx/core/ObjectBehind.h>

namespace qx::collections::pcom {

/// A walk over the buckets of a HashMap, last one first.
class HashMapIterator final : public Component<ComObject, Iterator> {
public:
    /// What next returns of each entry.
    enum class Kind { Keys, Entries };

    explicit HashMapIterator(HashMap* map, Kind kind = Kind::Entries)
        : m_map(map), m_expectedCount(map->modificationCount()), m_kind(kind),
          m_bucket(map->m_tableLength) {}

    /// The iterator that @p iterator is, which may be anybody's; null when it is none.
    static HashMapIterator* from(Iterator* iterator) {
        auto* const found = qx::pcom::objectBehind<HashMapIterator>(iterator);
        return static_cast<Iterator*>(found) == iterator ? found : nullptr;
    }

    bool hasNext() const override {
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
    /// @throws Exception when others have changed the map, and at the end
    Reference<IQXUnknown> next() override {
        Reference<HashMapEntry> dropped;
        const HashMapEntry& entry = nextEntry(dropped);
        return m_kind == Kind::Keys ? entry.m_key.get() : m_lastReturned->GetUnknown();
    }
    void remove() override {
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

    /// Goes on as next does, for callers that look at the entry at once: it is held by the iterator
    /// alone. The last reference to the one before, whose key may look at the iterator when it
    /// goes, is left in @p dropped.
    const HashMapEntry& nextEntry(Reference<HashMapEntry>& dropped) {
        checkUnchanged();
        if (!hasNext())
            throw Exception();
        dropped = std::exchange(m_lastReturned, std::move(m_nextEntry));
        m_nextEntry = m_lastReturned->m_next;
        return *m_lastReturned;
    }

private:
    /// @throws Exception when others have changed the map
    void checkUnchanged() const {
        if (m_map->modificationCount() != m_expectedCount)
            throw Exception();
    }

    const Reference<HashMap> m_map;
    uint32_t m_expectedCount;
    const Kind m_kind;
    /// The bucket that the walk has come to; the table length before it begins.
    mutable int m_bucket;
    mutable Reference<HashMapEntry> m_nextEntry;
    Reference<HashMapEntry> m_lastReturned;
};

} // namespace qx::collections::pcom
