#pragma once

#include <qx/collections/pcom/AbstractMap.h>
#include <qx/collections/pcom/AbstractSet.h>
#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/detail/HashMapIterator.h>

namespace qx::collections::pcom {

enum class EntryPart { Key, Value };

/// Walks over entries and shows one part of each; removes the entry.
template <EntryPart Part>
class EntryPartIterator final : public Component<ComObject, Iterator> {
public:
    explicit EntryPartIterator(AbstractMap* map)
        : m_entries(map->createEntrySet()->createIterator()),
          m_hashMapEntries(HashMapIterator::from(m_entries.get())) {}

    bool hasNext() const override { return m_entries->hasNext(); }
    Reference<IQXUnknown> next() override {
        if (m_hashMapEntries) {
            Reference<HashMapEntry> dropped;
            return partOf(m_hashMapEntries->nextEntry(dropped));
        }
        return partOf(entryOf(m_entries->next()));
    }
    void remove() override { m_entries->remove(); }

private:
    template <class Entry>
    static Reference<IQXUnknown> partOf(const Entry& entry) {
        if constexpr (Part == EntryPart::Key)
            return entry.getKey();
        else
            return entry.getValue();
    }

    const Reference<Iterator> m_entries;
    /// The same iterator when it is that of a HashMap, which goes on without handing out entries.
    HashMapIterator* const m_hashMapEntries;
};

using KeySetIterator = EntryPartIterator<EntryPart::Key>;
using ValueCollectionIterator = EntryPartIterator<EntryPart::Value>;

/// A view of a map through iterators of class @p Walk.
template <class Base, class Map, class Walk>
class MapView : public Base {
public:
    template <class... Comparator>
    explicit MapView(Map* map, Comparator... comparator) : Base(comparator...), m_map(map) {}

    Reference<ConstIterator> createConstIterator() const override { return new Walk(m_map); }
    Reference<Iterator> createIterator() override { return new Walk(m_map); }
    int getSize() const override { return m_map->getSize(); }

protected:
    const Reference<Map> m_map;
};

/// The keys of a map.
class AbstractMapKeySet final : public MapView<AbstractSet, AbstractMap, KeySetIterator> {
public:
    explicit AbstractMapKeySet(AbstractMap* map) : MapView(map, &map->keyComparator()) {}

    bool contains(const IQXUnknown* key) const override { return m_map->containsKey(key); }
    /// As the map finds the key, which may be faster than a walk.
    bool remove(const IQXUnknown* key) override {
        if (!m_map->containsKey(key))
            return false;
        m_map->remove(key);
        return true;
    }
};

/// The values of a map, one for each key.
class AbstractMapValueCollection final
    : public MapView<AbstractCollection, AbstractMap, ValueCollectionIterator> {
public:
    explicit AbstractMapValueCollection(AbstractMap* map) : MapView(map, &map->valueComparator()) {}

    bool contains(const IQXUnknown* value) const override { return m_map->containsValue(value); }
};

/// The entries of a HashMap.
class HashMapEntrySet final : public MapView<AbstractSet, HashMap, HashMapIterator> {
public:
    using MapView::MapView;

    bool contains(const IQXUnknown* entry) const override { return m_map->containsEntry(entry); }
    /// Finds the entry by its key's hash instead of a walk. Entries have no order of their own, so
    /// only the very same one is equal.
    bool remove(const IQXUnknown* entry) override {
        auto* const link = m_map->findEntry(entry);
        return link && m_map->removeEntry(*link);
    }
};

} // namespace qx::collections::pcom
