#pragma once

#include <cstdint>
#include <utility>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/MapEntry.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Reference.h>
#include <qx/core/Required.h>

namespace qx::collections::pcom {

/// An entry of a HashMap and node of a chain of its table. It stays valid when it has left the map,
/// and is then linked to no other entry.
///
/// compareTo, equals and hashCode do not look at what is in it: all entries are alike.
class HashMapEntry final : public Component<ComObject, MapEntry> {
public:
    HashMapEntry(Reference<IQXUnknown> key, Reference<IQXUnknown> value, uint32_t hash) noexcept
        : m_key(std::move(key)), m_value(std::move(value)), m_hash(hash) {}

    /// The entry that @p element is, which may be anything and null; null when it is none. Entries
    /// as iterators hand them out are known by their table.
    static const HashMapEntry* from(const IQXUnknown* element) {
        static const void* const table =
            qx::detail::functionTableOf(HashMapEntry(nullptr, nullptr, 0).GetUnknown());
        if (element && qx::detail::functionTableOf(element) == table) [[likely]]
            return static_cast<const HashMapEntry*>(static_cast<const ComObject*>(element));
        return qx::pcom::objectBehind<const HashMapEntry>(element);
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

    // A walk down the buckets of a table comes to entries that lie anywhere in memory, as do their
    // keys and values, and waits for each of them unless they are fetched into the cache ahead.
    // Ahead is as many buckets as pass in the time of a fetch.

    /// Fetches an entry that comes after those in @p bucket.
    static void prefetchEntry(const Reference<HashMapEntry>* table, int bucket) noexcept {
        if (bucket < 2 * BucketsAhead)
            return;
        // An entry is as long as a cache line and rarely begins with one.
        if (const HashMapEntry* const entry = table[bucket - 2 * BucketsAhead].get()) {
            __builtin_prefetch(entry);
            __builtin_prefetch(reinterpret_cast<const char*>(entry) + sizeof(HashMapEntry) - 1);
        }
    }
    /// Fetches an entry, and key and value of one that is nearer and should have arrived.
    static void prefetchElements(const Reference<HashMapEntry>* table, int bucket) noexcept {
        prefetchEntry(table, bucket);
        if (bucket < BucketsAhead)
            return;
        if (const HashMapEntry* const entry = table[bucket - BucketsAhead].get()) {
            __builtin_prefetch(entry->m_key.get());
            __builtin_prefetch(entry->m_value.get());
        }
    }

    static constexpr int BucketsAhead = 8;

    const Reference<IQXUnknown> m_key;
    Reference<IQXUnknown> m_value;
    /// The comparator's hash of the key, so that it is asked only once.
    const uint32_t m_hash;
    Reference<HashMapEntry> m_next;
};

} // namespace qx::collections::pcom
