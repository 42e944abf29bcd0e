#pragma once

#include <utility>

#include <qx/collections/pcom/AbstractMap.h>
#include <qx/collections/pcom/AbstractSet.h>
#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/detail/HashMapIterator.h>

namespace qx::collections::pcom {

/// Walks over the entries of any map and shows one part of each; removes the entry.
/// @tparam Part  member that returns the part
template <auto Part>
class EntryPartIterator final : public Component<ComObject, Iterator> {
public:
    explicit EntryPartIterator(Reference<Iterator> entries) : m_entries(std::move(entries)) {}

    bool hasNext() const override { return m_entries->hasNext(); }
    Reference<IQXUnknown> next() override {
        const auto element = m_entries->next();
        return (entryOf(element).*Part)();
    }
    void remove() override { m_entries->remove(); }

private:
    const Reference<Iterator> m_entries;
};

/// An iterator over one part of the entries that the entry set of @p map walks over.
template <auto Part, HashMapIterator::Kind OfHashMaps>
Reference<Iterator> createPartIterator(AbstractMap* map) {
    auto entries = map->createEntrySet()->createIterator();
    HashMapIterator* const own = HashMapIterator::from(entries);
    if (!own || own->GetRefCount() != 1)
        return new EntryPartIterator<Part>(std::move(entries));
    own->show(OfHashMaps); // nobody else has it
    return entries;
}

/// A view of a map through iterators that @p CreateIterator makes of the map.
template <class Base, class Map, auto CreateIterator>
class MapView : public Base {
public:
    template <class... Comparator>
    explicit MapView(Map* map, Comparator... comparator) : Base(comparator...), m_map(map) {}

    Reference<ConstIterator> createConstIterator() const override { return CreateIterator(m_map); }
    Reference<Iterator> createIterator() override { return CreateIterator(m_map); }
    int getSize() const override { return m_map->getSize(); }

protected:
    const Reference<Map> m_map;
};

/// The keys of a map.
class AbstractMapKeySet final
    : public MapView<AbstractSet, AbstractMap,
                     createPartIterator<&MapEntry::getKey, HashMapIterator::Kind::Keys>> {
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
    : public MapView<AbstractCollection, AbstractMap,
                     createPartIterator<&MapEntry::getValue, HashMapIterator::Kind::Values>> {
public:
    explicit AbstractMapValueCollection(AbstractMap* map) : MapView(map, &map->valueComparator()) {}

    bool contains(const IQXUnknown* value) const override { return m_map->containsValue(value); }
};

inline Reference<Iterator> createEntryIterator(HashMap* map) { return new HashMapIterator(map); }

/// The entries of a HashMap.
class HashMapEntrySet final : public MapView<AbstractSet, HashMap, createEntryIterator> {
public:
    using MapView::MapView;

    bool contains(const IQXUnknown* entry) const override { return m_map->containsEntry(entry); }
    /// Finds the entry by its key's hash instead of a walk. Entries have no order of their own, so
    /// only the very same one is equal.
    bool remove(const IQXUnknown* entry) override {
        auto* const link = m_map->findEntry(entry);
        if (!link)
            return false;
        m_map->removeSlot(*link);
        return true;
    }
};

} // namespace qx::collections::pcom
