#pragma once

#include <utility>

#include <qx/collections/Element.h>
#include <qx/collections/pcom/ConstIterator.h>
#include <qx/collections/pcom/MapEntry.h>

namespace qx::collections {

/// A walk over the entries of a map as pairs of key and value. It holds the map; what is done to
/// the map meanwhile is noticed as by the map's own iterators.
template <class K, class V>
class EntryIterator : public Object {
public:
    /// @param entries  over elements that are MapEntry
    explicit EntryIterator(Reference<pcom::ConstIterator> entries)
        : m_entries(std::move(entries)) {}

    bool hasNext() const { return m_entries->hasNext(); }
    std::pair<Reference<K>, Reference<V>> next() {
        const Reference<IQXUnknown> element = m_entries->next();
        const pcom::MapEntry& entry = pcom::entryOf(element);
        return {elementAs<K>(entry.getKey()), elementAs<V>(entry.getValue())};
    }

    pcom::ConstIterator* getEntries() const noexcept { return m_entries; }

private:
    const Reference<pcom::ConstIterator> m_entries;
};

/// A step over entries: keys and values of the classes of those before need no cast.
template <class K, class V>
class WalkStep<EntryIterator<K, V>> : LentStep {
public:
    WalkStep() = default;
    explicit WalkStep(EntryIterator<K, V>& source) : LentStep(source.getEntries()) {
        if (m_walk && !m_walk->isOfEntries())
            m_walk = nullptr;
    }

    bool operator()(EntryIterator<K, V>& source, std::pair<Reference<K>, Reference<V>>& entry) {
        if (!m_walk)
            return goOn(source, entry);
        IQXUnknown *key, *value;
        if (!m_walk->stepEntry(key, value))
            return false;
        if (m_keys.includes(key, entry.first) && m_values.includes(value, entry.second)) {
            Reference<K> nextKey = m_keys.cast(key);
            Reference<V> nextValue = m_values.cast(value);
            m_walk->drop();
            entry.first = std::move(nextKey);
            entry.second = std::move(nextValue);
            return true;
        }
        meet(entry, key, value);
        return true;
    }

private:
    void meet(std::pair<Reference<K>, Reference<V>>& entry, Reference<IQXUnknown> key,
              Reference<IQXUnknown> value) {
        m_walk->drop();
        MetClass<K> keys;
        MetClass<V> values;
        entry = {keys.meet(key), values.meet(value)};
        m_keys = keys;
        m_values = values;
    }

    MetClass<K> m_keys;
    MetClass<V> m_values;
};

} // namespace qx::collections
