#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include <qx/collections/detail/KeyedStorage.h>
#include <qx/collections/pcom/detail/Sizes.h>
#include <qx/core/Reference.h>
#include <qx/core/detail/SampledHash.h>

namespace qx::collections::detail {

/// What is about the key of an entry and not about its place. An object is a key on its way into
/// the table.
template <class Entry>
class EntryKey;

template <>
class EntryKey<IntegerEntry> {
public:
    explicit EntryKey(int32_t) noexcept {}

    /// Writes an entry where none is.
    void enter(IntegerEntry& entry, int32_t, uint32_t hash, Object* value) noexcept {
        entry.value = value;
        entry.hash = hash;
    }

    static uint32_t hash(int32_t key) noexcept { return static_cast<uint32_t>(key); }
    static void free(const IntegerEntry&) noexcept {}
};

template <>
class EntryKey<TextEntry> {
public:
    /// Copies a text that does not fit in the entry.
    /// @throws std::bad_alloc
    explicit EntryKey(std::u16string_view key) {
        if (key.size() <= TextEntry::InlineUnits)
            return;
        m_text.reset(new char16_t[key.size()]);
        std::memcpy(m_text.get(), key.data(), key.size() * sizeof(char16_t));
    }

    void enter(TextEntry& entry, std::u16string_view key, uint32_t hash, Object* value) noexcept {
        entry.value = value;
        entry.hash = hash;
        entry.length = static_cast<uint32_t>(key.size());
        if (m_text)
            entry.text = m_text.release();
        else
            std::memcpy(entry.inlineText, key.data(), key.size() * sizeof(char16_t));
    }

    static uint32_t hash(std::u16string_view key) noexcept { return qx::detail::sampledHash(key); }
    static void free(const TextEntry& entry) noexcept {
        if (entry.length > TextEntry::InlineUnits)
            delete[] entry.text;
    }

private:
    std::unique_ptr<char16_t[]> m_text;
};

/// The engine of IntegerHashMap and StringHashMap: a hash table from keys to object references. A
/// bucket is a list at whose end new entries appear; the table grows to 2 n + 1 buckets.
template <class Entry>
class KeyedTable {
public:
    using Key = typename Entry::Key;

    /// @throws RangeErrorException for a capacity below 1 or a load factor that is not positive
    KeyedTable(int32_t capacity, float loadFactor)
        : m_loadFactor(checkedLoad(capacity, loadFactor)),
          m_threshold(pcom::detail::tableThreshold(capacity, loadFactor)),
          m_storage(capacity, loadFactor) {}
    KeyedTable(const KeyedTable&) = delete;
    KeyedTable& operator=(const KeyedTable&) = delete;
    /// The table must be empty.
    ~KeyedTable() = default;

    int32_t size() const noexcept { return m_size; }
    const uint32_t& changes() const noexcept { return m_changes; }
    const KeyedStorage<Entry>& storage() const noexcept { return m_storage; }

    Reference<Object> get(Key key) const { return peek(key); }
    /// The value, without a reference.
    Object* peek(Key key) const noexcept {
        const Entry* const entry = find(key);
        return entry ? entry->value : nullptr;
    }

    /// The old value of the key.
    /// @throws std::bad_alloc, or std::length_error when the table cannot grow; nothing has changed
    Reference<Object> put(Key key, Object* object) {
        const uint32_t hash = EntryKey<Entry>::hash(key);
        m_storage.fetchFor(hash);
        Reference<Object> value(object);
        if (Entry* const entry = find(key, hash))
            return Reference<Object>::attach(std::exchange(entry->value, value.detach()));
        EntryKey<Entry> entry(key);
        const auto place = makeRoom(hash);
        entry.enter(m_storage.append(place), key, hash, value.detach());
        ++m_size;
        ++m_changes;
        return {};
    }

    /// The value of the key that is removed.
    Reference<Object> remove(Key key) noexcept {
        Entry* const entry = find(key);
        if (!entry)
            return {};
        const Entry removed = m_storage.take(entry);
        --m_size;
        ++m_changes;
        EntryKey<Entry>::free(removed);
        return Reference<Object>::attach(removed.value);
    }

    /// Keeps the number of buckets.
    void clear() noexcept {
        KeyedStorage<Entry> cleared(m_storage.length(), m_loadFactor);
        m_storage.swap(cleared);
        m_size = 0;
        ++m_changes;
        // The map is empty before the first destructor of a value can look at it.
        for (uint32_t i = 0; i < cleared.groupCount(); ++i) {
            const auto& group = cleared.group(i);
            for (uint32_t k = 0; k < group.count(); ++k) {
                EntryKey<Entry>::free(group.entries()[k]);
                Reference<Object>::attach(group.entries()[k].value).reset();
            }
        }
    }

private:
    static float checkedLoad(int32_t capacity, float loadFactor) {
        pcom::detail::checkTable(capacity, loadFactor);
        return loadFactor;
    }

    Entry* find(Key key) const noexcept { return find(key, EntryKey<Entry>::hash(key)); }
    Entry* find(Key key, uint32_t hash) const noexcept {
        return m_storage.isAllocated() ? m_storage.find(m_storage.placeOf(hash), key, hash)
                                       : nullptr;
    }

    /// The place of a new entry, in a longer table when it is time to grow.
    /// @throws std::bad_alloc, std::length_error; the table is then as it was
    typename KeyedStorage<Entry>::Place makeRoom(uint32_t hash) {
        if (m_size < m_threshold) [[likely]] {
            m_storage.allocate();
            m_storage.makeRoom(m_storage.placeOf(hash));
        } else {
            KeyedStorage<Entry> grown(pcom::detail::grownTableLength(m_storage.length()),
                                      m_loadFactor);
            grown.fill(m_storage);
            grown.makeRoom(grown.placeOf(hash));
            m_storage.swap(grown);
            m_threshold = pcom::detail::tableThreshold(m_storage.length(), m_loadFactor);
        }
        return m_storage.placeOf(hash);
    }

    float m_loadFactor;
    int32_t m_size = 0;
    int32_t m_threshold;
    uint32_t m_changes = 0;
    KeyedStorage<Entry> m_storage;
};

} // namespace qx::collections::detail
