#pragma once

#include <cstdint>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/Iterator.h>
#include <qx/collections/pcom/detail/HashMapEntry.h>
#include <qx/core/ObjectBehind.h>

namespace qx::collections::pcom {

/// A walk over the buckets of a HashMap, last one first.
class HashMapIterator final : public Component<ComObject, Iterator> {
public:
    /// What next returns of each entry.
    enum class Kind : int32_t { Keys, Values, Entries };

    HashMapIterator(HashMap* map, Kind kind);

    /// The iterator that @p iterator is, which may be anybody's; null when it is none.
    static HashMapIterator* from(Iterator* iterator) {
        auto* const found = qx::pcom::objectBehind<HashMapIterator>(iterator);
        return static_cast<Iterator*>(found) == iterator ? found : nullptr;
    }

    bool hasNext() const override;
    /// @throws Exception when others have changed the map, and at the end
    Reference<IQXUnknown> next() override;
    void remove() override;

    /// Goes on as next does, for callers that look at the entry at once: it is held by the iterator
    /// alone. The last reference to the one before, whose key may look at the iterator when it
    /// goes, is left in @p dropped.
    const HashMapEntry& nextEntry(Reference<HashMapEntry>& dropped);

private:
    /// @throws Exception when others have changed the map
    void checkUnchanged() const;

    const Reference<HashMap> m_map;
    uint32_t m_expectedCount;
    const Kind m_kind;
    /// The bucket that the walk has come to; the table length before it begins.
    mutable int m_bucket;
    mutable Reference<HashMapEntry> m_nextEntry;
    Reference<HashMapEntry> m_lastReturned;
};

} // namespace qx::collections::pcom
