#pragma once

#include <cstdint>
#include <typeinfo>
#include <utility>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/MapEntry.h>
#include <qx/core/Exception.h>
#include <qx/core/Reference.h>

namespace qx::collections::pcom {

/// An entry of a HashMap and node of a chain of its table. It stays valid when it has left the map,
/// and is then linked to no other entry.
///
/// compareTo, equals and hashCode do not look at what is in it: all entries are alike.
class HashMapEntry final : public Component<ComObject, MapEntry> {
public:
    HashMapEntry(Reference<IQXUnknown> key, Reference<IQXUnknown> value, uint32_t hash) noexcept
        : m_key(std::move(key)), m_value(std::move(value)), m_hash(hash) {}

    /// The entry that @p element is, without a search through its bases; null when it is none.
    static const HashMapEntry* from(const IQXUnknown* element) {
        return element && typeid(*element) == typeid(HashMapEntry)
                   ? static_cast<const HashMapEntry*>(dynamic_cast<const void*>(element))
                   : nullptr;
    }

    int compareTo(const Object&) const override { return 0; }
    bool equals(const Object&) const override { return true; }
    Reference<IQXUnknown> getKey() const override { return m_key; }
    Reference<IQXUnknown> getValue() const override { return m_value; }
    uint32_t hashCode() const override { return 0; }
    Reference<IQXUnknown> setValue(IQXUnknown* value) override {
        Reference<IQXUnknown> other(value);
        m_value.swap(other);
        return other;
    }

private:
    friend class HashMap;
    friend class HashMapIterator;

    /// Fetches ahead into the cache what a walk down the buckets of @p table comes to soon after
    /// @p bucket: entries first, then keys and values. They lie anywhere in memory, and a walk that
    /// waits for each of them takes several times as long.
    static void prefetchBelow(const Reference<HashMapEntry>* table, int bucket) noexcept {
        constexpr int Distance = 8;
        if (bucket < 2 * Distance)
            return;
        __builtin_prefetch(table[bucket - 2 * Distance].get());
        if (const HashMapEntry* const entry = table[bucket - Distance].get()) {
            __builtin_prefetch(entry->m_key.get());
            __builtin_prefetch(entry->m_value.get());
        }
    }

    const Reference<IQXUnknown> m_key;
    Reference<IQXUnknown> m_value;
    /// The comparator's hash of the key, so that it is asked only once.
    const uint32_t m_hash;
    Reference<HashMapEntry> m_next;
};

/// The entry that an element of an entry set is, whichever map it comes from.
/// @throws CastFailedException when it is none
inline const MapEntry& entryOf(const IQXUnknown* element) {
    if (const HashMapEntry* const entry = HashMapEntry::from(element))
        return *entry;
    const auto* const entry = dynamic_cast<const MapEntry*>(element);
    if (!entry)
        throw CastFailedException();
    return *entry;
}

} // namespace qx::collections::pcom
