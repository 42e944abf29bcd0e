#pragma once

#include <utility>

#include <qx/collections/pcom/AbstractMap.h>
#include <qx/collections/pcom/AbstractSet.h>
#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/detail/HashMapIterator.h>

namespace qx::collections::pcom {

enum class EntryPart { Key, Value };

/// Walks over entries and shows one part of each; removes the entry.
template <EntryPart Part>
class EntryPartIterator final : public Component<ComObject, Iterator> {
public:
    /// @param entries  iterator of an entry set
    explicit EntryPartIterator(Reference<Iterator> entries)
        : m_entries(std::move(entries)), m_hashMapEntries(HashMapIterator::from(m_entries.get())) {}

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

/// The keys of a map.
class AbstractMapKeySet final : public AbstractSet {
public:
    explicit AbstractMapKeySet(AbstractMap* map) : AbstractSet(&map->keyComparator()), m_map(map) {}

    bool contains(const IQXUnknown* key) const override { return m_map->containsKey(key); }
    Reference<ConstIterator> createConstIterator() const override { return createKeyIterator(); }
    Reference<Iterator> createIterator() override { return createKeyIterator(); }
    int getSize() const override { return m_map->getSize(); }
    /// As the map finds the key, which may be faster than a walk.
    bool remove(const IQXUnknown* key) override {
        if (!m_map->containsKey(key))
            return false;
        m_map->remove(key);
        return true;
    }

private:
    Reference<KeySetIterator> createKeyIterator() const {
        return new KeySetIterator(m_map->createEntrySet()->createIterator());
    }

    const Reference<AbstractMap> m_map;
};

/// The values of a map, one for each key.
class AbstractMapValueCollection final : public AbstractCollection {
public:
    explicit AbstractMapValueCollection(AbstractMap* map)
        : AbstractCollection(&map->valueComparator()), m_map(map) {}

    bool contains(const IQXUnknown* value) const override { return m_map->containsValue(value); }
    Reference<ConstIterator> createConstIterator() const override { return createValueIterator(); }
    Reference<Iterator> createIterator() override { return createValueIterator(); }
    int getSize() const override { return m_map->getSize(); }

private:
    Reference<ValueCollectionIterator> createValueIterator() const {
        return new ValueCollectionIterator(m_map->createEntrySet()->createIterator());
    }

    const Reference<AbstractMap> m_map;
};

} // namespace qx::collections::pcom
