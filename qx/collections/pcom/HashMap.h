#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <memory>

#include <qx/collections/pcom/AbstractMap.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

class HashMapContent;
class HashMapIterator;
struct HashMapSlot;

/// A map in a hash table of chains: putting, finding and removing a key take constant time
/// in the mean, if the comparator for keys hashes well.
///
/// The hash of a key, modulo the number of buckets, is its bucket; the comparator compares keys
/// with equal hashes only. A walk goes through the buckets from the last one down, and in each from
/// the key put last; growing the table reverses the order of the keys that share a bucket.
///
/// A new key and a removed one count as changes: iterators then throw Exception, except the one
/// that removed the key. Replacing a value and clear do not count; after clear, an iterator may
/// still return the entries that it had reached, but cannot remove any. A call releases what it
/// drops at its end, when the map is whole again, so that this may use the map. When a comparator
/// changes the map that has called it, the operation throws Exception.
///
/// The object of an entry is made when a walk over entries comes to it. A step that gets no memory
/// for it throws std::bad_alloc and is not taken; so does one of a fifth walk at the same time,
/// over whatever.
class QX_API HashMap : public AbstractMap {
public:
    using AbstractMap::containsKey;
    using AbstractMap::containsValue;
    using AbstractMap::get;
    using AbstractMap::put;
    using AbstractMap::remove;
    using InitialElement = AnyEntry;

    static constexpr int DEFAULT_CAPACITY = 101;
    static constexpr float DEFAULT_LOAD = 0.75F;

    /// Empty, with the default comparators.
    /// @param capacity    number of buckets, 1 or more
    /// @param loadFactor  greater than 0: number of keys for each bucket with which the table is
    ///     full; a new key then makes it twice as long, plus one
    /// @throws RangeErrorException when either is out of its range
    explicit HashMap(int capacity = DEFAULT_CAPACITY, float loadFactor = DEFAULT_LOAD);
    /// Holds @p entries, of those with equal keys the last, and the default comparators:
    /// HashMap{{u"one", first}, {u"two", second}}.
    HashMap(std::initializer_list<AnyEntry> entries) : HashMap() {
        for (const auto& [key, value] : entries)
            HashMap::put(key.get(), value.get());
    }
    /// @throws ResultException with result::NullPointer when a comparator is null
    HashMap(const IQXComparator* keys, const IQXComparator* values, int capacity, float loadFactor);
    /// Holds the entries of @p other in twice as many buckets, at least 11, and has the default
    /// comparators.
    /// @throws std::length_error when there cannot be as many buckets
    HashMap(const Map& other, float loadFactor);
    HashMap(const Map& other, const IQXComparator* keys, const IQXComparator* values,
            float loadFactor);
    /// Shares keys, values and comparators; as many buckets with the same load factor.
    HashMap(const HashMap& other);
    ~HashMap() override;

    /// Keeps the number of buckets.
    void clear() override;
    bool containsKey(const IQXUnknown* key) const override;
    bool containsValue(const IQXUnknown* value) const override;
    Reference<const Set> createEntrySet() const override;
    /// View of the entries. It contains an entry, whichever map that belongs to, when the map leads
    /// from an equal key to an equal value; it removes only the map's own entries. It accepts no
    /// additions. An entry takes memory when a walk first comes to it; a step that fails for want
    /// of that has not been taken.
    Reference<Set> createEntrySet() override;
    Reference<IQXUnknown> get(const IQXUnknown* key) const override;
    int getSize() const override { return m_size; }
    /// @throws std::length_error when the map has as many keys or buckets as a size can say
    Reference<IQXUnknown> put(IQXUnknown* key, IQXUnknown* value) override;
    /// put for a key that the caller knows to be absent. Nothing is compared, so keys that were
    /// chosen to share one hash cost no more than others.
    void putNew(IQXUnknown* key, IQXUnknown* value);
    template <class K, class V>
    requires(ElementOrUnknown<K>&& ElementOrUnknown<V> &&
             (SomeElement<K> || SomeElement<V>)) void putNew(const K& key, const V& value) {
        putNew(unknownFor(key), unknownFor(value));
    }
    Reference<IQXUnknown> remove(const IQXUnknown* key) override;
    /// What get returns, lent: good until the value is replaced or its key leaves the map.
    IQXUnknown* peek(const IQXUnknown* key) const;
    IQXUnknown* peek(const SoughtElement auto& key) const { return peek(SoughtUnknown(key)); }

    /// Number of buckets.
    int getCapacity() const noexcept { return m_tableLength; }

private:
    friend class HashMapEntrySet;
    friend class HashMapIterator;
    friend class HashSet;

    /// What leads to a slot, a bucket or the slot before it: the number of the slot, from 1 up, or
    /// 0 for none.
    using Link = uint32_t;
    using Table = std::unique_ptr<Link[]>;
    struct FreeSlots {
        void operator()(HashMapSlot* slots) const noexcept;
    };
    using Slots = std::unique_ptr<HashMapSlot[], FreeSlots>;
    /// A key that is looked for.
    struct Sought;
    /// A walk that is told of a clear.
    using KnownWalk = std::atomic<HashMapIterator*>;

    KnownWalk* enter(HashMapIterator& walk) noexcept;
    Table allocTable(int length);
    Slots allocMoreSlots() const;
    HashMapSlot* slotAt(Link link) const noexcept;
    void addEntry(Reference<IQXUnknown> key, Reference<IQXUnknown> value, uint32_t hash);
    void rehash();
    void releaseEntries() noexcept;
    HashMapContent removeSlot(Link& link) noexcept;
    bool addKey(IQXUnknown* key);
    bool removeKey(const IQXUnknown* key);

    uint32_t bucketOf(uint32_t hash) const noexcept;
    template <class Test>
    Link* findLink(uint32_t hash, Test&& test) const;
    Link* findKey(const Sought& key) const;
    Link& linkTo(Link slot) const noexcept;
    Link* findEntry(const IQXUnknown* entry) const;
    bool containsEntry(const IQXUnknown* element) const;

    Sought soughtKey(const IQXUnknown* key) const;
    bool keysEqual(const IQXUnknown* stored, const Sought& key) const;
    bool valuesEqual(const IQXUnknown* stored, const IQXUnknown* value) const;
    bool equalUnchanged(IQXComparator& comparator, const IQXUnknown* stored,
                        const IQXUnknown* other) const;

    float m_loadFactor;
    int m_size = 0;
    int m_tableLength = 0;
    int m_threshold = 0;
    /// Null from clear until the next new key.
    Table m_table;
    Slots m_slots;
    uint32_t m_slotCapacity = 0;
    /// Slots that were ever in use: those behind are untouched memory.
    uint32_t m_slotsUsed = 0;
    /// Of those, the first that is free again.
    Link m_freeSlot = 0;
    /// 2^64 / table length, rounded up.
    uint64_t m_inverseLength = 0;
    /// Recognises keys that are plain strings, when these can be hashed and compared without the
    /// comparator; else null.
    const void* const m_stringTable;
    /// Readers in several threads may walk at once, and there may be more walks than places.
    std::array<KnownWalk, 4> m_walks{};
};

} // namespace qx::collections::pcom

using CQXHashMap = qx::collections::pcom::HashMap;
