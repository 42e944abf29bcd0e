#include "qx/collections/pcom/HashMap.h"

#include <utility>

#include <qx/collections/Comparing.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/collections/detail/Modulus.h>
#include <qx/collections/detail/NaturalOrder.h>
#include <qx/collections/detail/ReleaseAll.h>
#include <qx/collections/pcom/detail/Elements.h>
#include <qx/collections/pcom/detail/HashMapEntry.h>
#include <qx/collections/pcom/detail/HashMapIterator.h>
#include <qx/collections/pcom/detail/MapViews.h>
#include <qx/collections/pcom/detail/Sizes.h>
#include <qx/core/Exception.h>

namespace qx::collections::pcom {

HashMap::HashMap(int capacity, float loadFactor)
    : HashMap(GetDefaultComparator(), GetDefaultComparator(), capacity, loadFactor) {}

HashMap::HashMap(const IQXComparator* keys, const IQXComparator* values, int capacity,
                 float loadFactor)
    : AbstractMap(keys, values), m_loadFactor(loadFactor),
      m_stringTable(collections::detail::naturalStringTable(keyComparator())) {
    detail::checkTable(capacity, loadFactor);
    allocTable(capacity);
}

HashMap::HashMap(const Map& other, float loadFactor)
    : HashMap(other, GetDefaultComparator(), GetDefaultComparator(), loadFactor) {}

// Delegating, so that the destructor releases what was put when putAll fails.
HashMap::HashMap(const Map& other, const IQXComparator* keys, const IQXComparator* values,
                 float loadFactor)
    : HashMap(keys, values, detail::tableLengthFor(other.getSize()), loadFactor) {
    HashMap::putAll(other);
}

HashMap::HashMap(const HashMap& other)
    : HashMap(&other.keyComparator(), &other.valueComparator(), other.m_tableLength,
              other.m_loadFactor) {
    HashMap::putAll(other);
}

HashMap::~HashMap() {
    collections::detail::releaseAll(*this, [this] { releaseEntries(); });
}

void HashMap::clear() { releaseEntries(); }

bool HashMap::containsKey(const IQXUnknown* key) const {
    return findKey(key, getKeyHashCode(key)) != nullptr;
}

bool HashMap::containsValue(const IQXUnknown* value) const {
    const Link* const table = m_table.get();
    for (int bucket = table ? m_tableLength : 0; bucket-- > 0;) {
        HashMapEntry::prefetchElements(table, bucket);
        for (const HashMapEntry* entry = table[bucket]; entry; entry = entry->m_next) {
            if (valuesEqual(entry->m_value, value))
                return true;
        }
    }
    return false;
}

Reference<const Set> HashMap::createEntrySet() const {
    return new HashMapEntrySet(detail::held(this));
}

Reference<Set> HashMap::createEntrySet() { return new HashMapEntrySet(this); }

Reference<IQXUnknown> HashMap::get(const IQXUnknown* key) const { return peek(key); }

IQXUnknown* HashMap::peek(const IQXUnknown* key) const {
    const Link* const link = findKey(key, getKeyHashCode(key));
    return link ? (*link)->m_value.get() : nullptr;
}

Reference<IQXUnknown> HashMap::put(IQXUnknown* key, IQXUnknown* value) {
    Reference<IQXUnknown> ownedKey(key), ownedValue(value);
    const uint32_t hash = getKeyHashCode(key);
    if (const Link* const link = findKey(key, hash)) {
        (*link)->m_value.swap(ownedValue);
        return ownedValue;
    }
    addEntry(std::move(ownedKey), std::move(ownedValue), hash);
    return nullptr;
}

void HashMap::putNew(IQXUnknown* key, IQXUnknown* value) {
    const Reference<IQXUnknown> ownedKey(key), ownedValue(value);
    addEntry(ownedKey, ownedValue, getKeyHashCode(key));
}

void HashMap::addEntry(Reference<IQXUnknown> key, Reference<IQXUnknown> value, uint32_t hash) {
    detail::checkRoom(m_size, detail::TableTooLong);
    Link entry(new HashMapEntry(std::move(key), std::move(value), hash));
    if (m_size >= m_threshold)
        rehash();
    else if (!m_table)
        allocTable(m_tableLength);
    countChange();
    Link& head = m_table[bucketOf(hash)];
    entry->m_next = std::move(head);
    head = std::move(entry);
    ++m_size;
}

Reference<IQXUnknown> HashMap::remove(const IQXUnknown* key) {
    Link* const link = findKey(key, getKeyHashCode(key));
    if (!link)
        return nullptr;
    const Link removed = removeEntry(*link);
    return removed->m_value;
}

/// put of a null value, for a set; true for a new key.
bool HashMap::addKey(IQXUnknown* key) {
    Reference<IQXUnknown> owned(key);
    const uint32_t hash = getKeyHashCode(key);
    if (findKey(key, hash))
        return false;
    addEntry(std::move(owned), nullptr, hash);
    return true;
}

/// False for an absent key.
bool HashMap::removeKey(const IQXUnknown* key) {
    Link* const link = findKey(key, getKeyHashCode(key));
    return link && removeEntry(*link);
}

/// A place for a walk that is to be told of a clear; null when there is none left.
HashMap::KnownWalk* HashMap::enter(HashMapIterator& walk) noexcept {
    for (KnownWalk& place : m_walks) {
        HashMapIterator* none = nullptr;
        if (!place.load(std::memory_order_relaxed) &&
            place.compare_exchange_strong(none, &walk, std::memory_order_acq_rel))
            return &place;
    }
    return nullptr;
}

/// Puts an empty table into place and returns the one before.
HashMap::Table HashMap::allocTable(int length) {
    auto table = std::make_unique<Link[]>(static_cast<std::size_t>(length));
    m_table.swap(table);
    m_tableLength = length;
    m_threshold = detail::tableThreshold(length, m_loadFactor);
    m_inverseLength = collections::detail::inverseOf(static_cast<uint32_t>(length));
    return table;
}

void HashMap::rehash() {
    int bucket = m_tableLength;
    const Table old = allocTable(detail::grownTableLength(bucket));
    Link* const table = old.get();
    while (table && bucket-- > 0) {
        HashMapEntry::prefetchEntry(table, bucket);
        for (Link chain = std::move(table[bucket]); chain;) {
            Link entry = std::move(chain);
            chain = std::move(entry->m_next);
            Link& head = m_table[bucketOf(entry->m_hash)];
            entry->m_next = std::move(head);
            head = std::move(entry);
        }
    }
}

/// Takes out all entries, then releases them one by one: a chain may be longer than the stack.
void HashMap::releaseEntries() noexcept {
    for (const KnownWalk& place : m_walks) {
        if (HashMapIterator* const walk = place.load(std::memory_order_acquire))
            walk->adopt();
    }
    const Table old = std::move(m_table);
    m_size = 0;
    Link* const table = old.get();
    for (int bucket = table ? m_tableLength : 0; bucket-- > 0;) {
        HashMapEntry::prefetchElements(table, bucket);
        for (Link chain = std::move(table[bucket]); chain;)
            chain = std::move(chain->m_next);
    }
}

/// Takes the entry that @p link leads to out of its chain.
HashMap::Link HashMap::removeEntry(Link& link) noexcept {
    Link removed = std::move(link);
    link = std::move(removed->m_next);
    countChange();
    --m_size;
    return removed;
}

uint32_t HashMap::bucketOf(uint32_t hash) const noexcept {
    return collections::detail::remainder(hash, static_cast<uint32_t>(m_tableLength),
                                          m_inverseLength);
}

/// What leads to the first entry with this hash that passes @p test; null when none does.
template <class Test>
HashMap::Link* HashMap::findLink(uint32_t hash, Test&& test) const {
    if (m_size == 0)
        return nullptr;
    for (Link* link = &m_table[bucketOf(hash)]; *link; link = &(*link)->m_next) {
        if ((*link)->m_hash == hash && test(**link))
            return link;
    }
    return nullptr;
}

HashMap::Link* HashMap::findKey(const IQXUnknown* key, uint32_t hash) const {
    return findLink(hash, [&](const HashMapEntry& entry) { return keysEqual(entry.m_key, key); });
}

/// What leads to this very entry; null when it is not in the map.
HashMap::Link* HashMap::findEntry(const IQXUnknown* entry) const {
    const HashMapEntry* const sought = HashMapEntry::from(entry);
    return sought ? findLink(sought->m_hash,
                             [&](const HashMapEntry& found) { return &found == sought; })
                  : nullptr;
}

/// True when an entry has a key and a value that are equal to those of the entry @p element.
/// @throws CastFailedException when @p element is no entry
bool HashMap::containsEntry(const IQXUnknown* element) const {
    const MapEntry& sought = entryOf(element);
    const auto key = sought.getKey(), value = sought.getValue();
    return findLink(getKeyHashCode(key), [&](const HashMapEntry& entry) {
               return keysEqual(entry.m_key, key) && valuesEqual(entry.m_value, value);
           }) != nullptr;
}

uint32_t HashMap::getKeyHashCode(const IQXUnknown* key) const {
    if (m_stringTable) {
        if (const String* const text = collections::detail::exactString(key, m_stringTable))
            return text->String::hashCode();
    }
    return hashElement(keyComparator(), key);
}

bool HashMap::keysEqual(const IQXUnknown* stored, const IQXUnknown* key) const {
    if (m_stringTable) {
        const String* const text = collections::detail::exactString(key, m_stringTable);
        const String* const storedText =
            text ? collections::detail::exactString(stored, m_stringTable) : nullptr;
        if (storedText)
            return *storedText == *text;
    }
    return equalUnchanged(keyComparator(), stored, key);
}

bool HashMap::valuesEqual(const IQXUnknown* stored, const IQXUnknown* value) const {
    return equalUnchanged(valueComparator(), stored, value);
}

/// Asks the comparator with a hold on the stored object. Either may be anybody's code, the object
/// when it is released too.
/// @throws Exception when they have changed the map, and with it what the caller stands on
bool HashMap::equalUnchanged(IQXComparator& comparator, const IQXUnknown* stored,
                             const IQXUnknown* other) const {
    const uint32_t countBefore = modificationCount();
    const Link* const tableBefore = m_table.get();
    Reference<const IQXUnknown> hold(stored);
    const bool equal = equalElements(comparator, stored, other);
    hold.reset();
    if (modificationCount() != countBefore || m_table.get() != tableBefore)
        throw Exception(u"The comparator has changed the map"_qs);
    return equal;
}

} // namespace qx::collections::pcom
