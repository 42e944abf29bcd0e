#include "qx/collections/pcom/HashMap.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <qx/collections/Comparing.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/collections/detail/KeyedStorage.h>
#include <qx/collections/detail/Modulus.h>
#include <qx/collections/detail/NaturalOrder.h>
#include <qx/collections/detail/ReleaseAll.h>
#include <qx/collections/pcom/detail/Elements.h>
#include <qx/collections/pcom/detail/HashMapIterator.h>
#include <qx/collections/pcom/detail/HashMapSlot.h>
#include <qx/collections/pcom/detail/MapViews.h>
#include <qx/collections/pcom/detail/Sizes.h>
#include <qx/core/Exception.h>

namespace qx::collections::pcom {

namespace {

/// How many slots there are when these no longer suffice.
uint32_t grownSlotCapacity(uint32_t capacity) noexcept { return std::max(8u, 2 * capacity); }

} // namespace

struct HashMap::Sought {
    const IQXUnknown* key;
    /// The key, when it is exactly a string that may be compared without the comparator.
    const String* text;
    uint32_t hash;
};

void HashMap::FreeSlots::operator()(HashMapSlot* slots) const noexcept {
    collections::detail::releaseLines(slots);
}

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
    return findKey(soughtKey(key)) != nullptr;
}

bool HashMap::containsValue(const IQXUnknown* value) const {
    const Link* const table = m_table.get();
    for (int bucket = table ? m_tableLength : 0; bucket-- > 0;) {
        prefetchElements(table, m_slots.get(), bucket);
        for (const HashMapSlot* slot = slotAt(table[bucket]); slot; slot = slotAt(slot->next)) {
            if (valuesEqual(slot->value(), value))
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
    const Link* const link = findKey(soughtKey(key));
    return link ? slotAt(*link)->value() : nullptr;
}

Reference<IQXUnknown> HashMap::put(IQXUnknown* key, IQXUnknown* value) {
    Reference<IQXUnknown> ownedKey(key), ownedValue(value);
    const Sought sought = soughtKey(key);
    if (const Link* const link = findKey(sought))
        return slotAt(*link)->setValue(std::move(ownedValue));
    addEntry(std::move(ownedKey), std::move(ownedValue), sought.hash);
    return nullptr;
}

void HashMap::putNew(IQXUnknown* key, IQXUnknown* value) {
    Reference<IQXUnknown> ownedKey(key), ownedValue(value);
    const uint32_t hash = soughtKey(key).hash;
    addEntry(std::move(ownedKey), std::move(ownedValue), hash);
}

Reference<IQXUnknown> HashMap::remove(const IQXUnknown* key) {
    Link* const link = findKey(soughtKey(key));
    if (!link)
        return nullptr;
    HashMapContent removed = removeSlot(*link);
    return removed.slot().value();
}

/// put of a null value, for a set; true for a new key.
bool HashMap::addKey(IQXUnknown* key) {
    Reference<IQXUnknown> owned(key);
    const Sought sought = soughtKey(key);
    if (findKey(sought))
        return false;
    addEntry(std::move(owned), nullptr, sought.hash);
    return true;
}

/// False for an absent key.
bool HashMap::removeKey(const IQXUnknown* key) {
    Link* const link = findKey(soughtKey(key));
    if (!link)
        return false;
    removeSlot(*link);
    return true;
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

/// Memory for more slots than there are.
HashMap::Slots HashMap::allocMoreSlots() const {
    return Slots(
        collections::detail::allocateLines<HashMapSlot>(grownSlotCapacity(m_slotCapacity)));
}

/// Null for a link to none.
HashMapSlot* HashMap::slotAt(Link link) const noexcept {
    return link != 0 ? m_slots.get() + link - 1 : nullptr;
}

void HashMap::addEntry(Reference<IQXUnknown> key, Reference<IQXUnknown> value, uint32_t hash) {
    detail::checkRoom(m_size, detail::TableTooLong);
    Slots moreSlots;
    if (m_freeSlot == 0 && m_slotsUsed == m_slotCapacity) [[unlikely]]
        moreSlots = allocMoreSlots();
    if (m_size >= m_threshold)
        rehash();
    else if (!m_table)
        allocTable(m_tableLength);
    countChange();
    if (moreSlots) [[unlikely]] {
        // Walks see by the count that their slots are no longer there.
        if (m_slots)
            std::memcpy(moreSlots.get(), m_slots.get(), m_slotsUsed * sizeof(HashMapSlot));
        m_slots = std::move(moreSlots);
        m_slotCapacity = grownSlotCapacity(m_slotCapacity);
    }
    const Link added = m_freeSlot != 0 ? m_freeSlot : ++m_slotsUsed;
    HashMapSlot& slot = *slotAt(added);
    if (m_freeSlot != 0)
        m_freeSlot = slot.next;
    slot = {key.detach(), value.detach(), nullptr, hash,
            std::exchange(m_table[bucketOf(hash)], added)};
    ++m_size;
}

void HashMap::rehash() {
    int bucket = m_tableLength;
    const Table old = allocTable(detail::grownTableLength(bucket));
    const Link* const table = old.get();
    while (table && bucket-- > 0) {
        prefetchSlot(table, m_slots.get(), bucket);
        for (Link moved = table[bucket]; moved != 0;) {
            HashMapSlot& slot = *slotAt(moved);
            const Link head = std::exchange(m_table[bucketOf(slot.hash)], moved);
            moved = std::exchange(slot.next, head);
        }
    }
}

/// Takes out all entries, then releases them one by one.
void HashMap::releaseEntries() noexcept {
    for (const KnownWalk& place : m_walks) {
        if (HashMapIterator* const walk = place.load(std::memory_order_acquire))
            walk->adopt();
    }
    const Table old = std::move(m_table);
    const Slots oldSlots = std::move(m_slots);
    m_slotCapacity = m_slotsUsed = m_freeSlot = 0;
    const bool sparse = isSparse(m_size, m_tableLength);
    m_size = 0;
    const Link* const table = old.get();
    HashMapSlot* const slots = oldSlots.get();
    int bucket = table ? m_tableLength : 0;
    if (sparse)
        bucket = passEmptyBuckets(table, bucket);
    while (bucket-- > 0) {
        prefetchElements(table, slots, bucket);
        if (table[bucket] == 0)
            continue;
        for (Link link = table[bucket]; link != 0;) {
            HashMapSlot& slot = slots[link - 1];
            link = slot.next;
            slot.release();
        }
        if (sparse)
            bucket = passEmptyBuckets(table, bucket);
    }
}

/// Takes the slot that @p link leads to out of its chain.
HashMapContent HashMap::removeSlot(Link& link) noexcept {
    const Link removed = link;
    HashMapSlot& slot = *slotAt(removed);
    HashMapContent content(slot);
    link = std::exchange(slot.next, m_freeSlot);
    m_freeSlot = removed;
    countChange();
    --m_size;
    return content;
}

uint32_t HashMap::bucketOf(uint32_t hash) const noexcept {
    return collections::detail::remainder(hash, static_cast<uint32_t>(m_tableLength),
                                          m_inverseLength);
}

/// What leads to the first slot with this hash that passes @p test; null when none does.
template <class Test>
HashMap::Link* HashMap::findLink(uint32_t hash, Test&& test) const {
    if (m_size == 0)
        return nullptr;
    for (Link* link = &m_table[bucketOf(hash)]; *link != 0;) {
        HashMapSlot& slot = *slotAt(*link);
        if (slot.hash == hash && test(slot))
            return link;
        link = &slot.next;
    }
    return nullptr;
}

HashMap::Link* HashMap::findKey(const Sought& key) const {
    return findLink(key.hash, [&](const HashMapSlot& slot) { return keysEqual(slot.key, key); });
}

/// What leads to this slot of the map.
HashMap::Link& HashMap::linkTo(Link slot) const noexcept {
    Link* link = &m_table[bucketOf(slotAt(slot)->hash)];
    while (*link != slot)
        link = &slotAt(*link)->next;
    return *link;
}

/// What leads to the slot of this very entry; null when it is not in the map.
HashMap::Link* HashMap::findEntry(const IQXUnknown* entry) const {
    const HashMapEntry* const sought = HashMapEntry::from(entry);
    return sought ? findLink(sought->hashOfKey(),
                             [&](const HashMapSlot& slot) { return slot.entry == sought; })
                  : nullptr;
}

/// True when an entry has a key and a value that are equal to those of the entry @p element.
/// @throws CastFailedException when @p element is no entry
bool HashMap::containsEntry(const IQXUnknown* element) const {
    const MapEntry& entry = entryOf(element);
    const auto key = entry.getKey(), value = entry.getValue();
    const Sought sought = soughtKey(key);
    return findLink(sought.hash, [&](const HashMapSlot& slot) {
               return keysEqual(slot.key, sought) && valuesEqual(slot.value(), value);
           }) != nullptr;
}

HashMap::Sought HashMap::soughtKey(const IQXUnknown* key) const {
    if (m_stringTable) {
        if (const String* const text = collections::detail::exactString(key, m_stringTable))
            return {key, text, text->String::hashCode()};
    }
    return {key, nullptr, hashElement(keyComparator(), key)};
}

bool HashMap::keysEqual(const IQXUnknown* stored, const Sought& key) const {
    if (key.text) {
        if (const String* const text = collections::detail::exactString(stored, m_stringTable)) {
            const auto units = text->view(), sought = key.text->view();
            return units.size() == sought.size() &&
                   collections::detail::equalUnits(units.data(), sought.data(), units.size());
        }
    }
    return equalUnchanged(keyComparator(), stored, key.key);
}

bool HashMap::valuesEqual(const IQXUnknown* stored, const IQXUnknown* value) const {
    const collections::detail::ElementComparison comparison(valueComparator());
    if (const auto strings = comparison.strings(stored, value))
        return strings.areEqual();
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
