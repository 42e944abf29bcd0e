#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Str1.h>

namespace qx {

/// Hash map from texts to values, with chains in a table that grows to 2 n + 1 buckets. For one
/// thread, or for any number that only read.
template <class Value>
class Str1HashMap {
    struct Entry;

public:
    static constexpr int32_t DEFAULT_CAPACITY = 101;
    static constexpr float DEFAULT_LOAD = 0.75f;

    /// Walks the entries of a map, bucket by bucket. A change of the map's keys ends the walk.
    class KeyValueIterator {
        friend class Str1HashMap;
        size_t m_bucket = 0;
        Entry* m_next = nullptr;
        uint32_t m_changes = 0;
    };

    /// @param capacity    buckets; below 1 counts as 1
    /// @param loadFactor  entries per bucket from which on the table grows, above 0
    /// @throws RangeErrorException for any other load factor
    explicit Str1HashMap(int32_t capacity = DEFAULT_CAPACITY, float loadFactor = DEFAULT_LOAD)
        : m_loadFactor(loadFactor), m_table(static_cast<size_t>(capacity > 1 ? capacity : 1)) {
        if (!(loadFactor > 0)) // nor not a number
            throw RangeErrorException(String(u"Load factor must be positive"));
        m_threshold = thresholdOf(m_table.size());
    }
    Str1HashMap(const Str1HashMap&) = delete;
    Str1HashMap& operator=(const Str1HashMap&) = delete;
    virtual ~Str1HashMap() { clear(); }

    /// Enters or replaces a value; true when there was one, which then goes to @p previous.
    bool put(TextView key, Value value, Value* previous = nullptr) {
        const Key normalized(*this, key);
        if (Entry* const entry = find(normalized)) {
            std::swap(entry->value, value);
            if (previous)
                *previous = std::move(value);
            return true;
        }
        if (m_size >= m_threshold)
            rehash();
        auto& head = m_table[normalized.hash % m_table.size()];
        auto entry = std::make_unique<Entry>(normalized.text, std::move(value), normalized.hash);
        entry->next = std::move(head);
        head = std::move(entry);
        ++m_size;
        ++m_changes;
        return false;
    }

    /// False when the key is not in the map; @p value is then unchanged.
    bool get(TextView key, Value* value) const {
        const Entry* const entry = find(Key(*this, key));
        if (entry && value)
            *value = entry->value;
        return entry != nullptr;
    }
    bool containsKey(TextView key) const { return get(key, nullptr); }

    /// False when the key is not in the map; else its value goes to @p previous.
    bool remove(TextView key, Value* previous = nullptr) {
        const Key normalized(*this, key);
        for (auto* link = &m_table[normalized.hash % m_table.size()]; *link;
             link = &(*link)->next) {
            if (!normalized.matches(**link))
                continue;
            const auto removed = std::move(*link);
            *link = std::move(removed->next);
            --m_size;
            ++m_changes;
            if (previous)
                *previous = std::move(removed->value);
            return true;
        }
        return false;
    }

    /// Keeps the buckets. Values may use the map, which is empty by then, while they are destroyed.
    void clear() noexcept {
        std::unique_ptr<Entry> dropped;
        auto* end = &dropped;
        for (auto& head : m_table) {
            *end = std::move(head);
            while (*end)
                end = &(*end)->next;
        }
        m_size = 0;
        ++m_changes;
        // One by one: a chain that destroyed itself would do so recursively.
        while (dropped)
            dropped = std::move(dropped->next);
    }

    int32_t getSize() const noexcept { return m_size; }
    bool isEmpty() const noexcept { return m_size == 0; }
    /// Buckets of the table.
    int32_t getTableSize() const noexcept { return static_cast<int32_t>(m_table.size()); }

    void iteratorInit(KeyValueIterator& iterator) const noexcept {
        iterator.m_bucket = 0;
        iterator.m_next = nullptr;
        iterator.m_changes = m_changes;
        findNext(iterator);
    }
    bool iteratorHasNext(const KeyValueIterator& iterator) const noexcept {
        return iterator.m_next != nullptr;
    }
    /// Pointers to the next key and value, which live as long as the entry.
    /// @throws IllegalStateException at the end, and when keys were put or removed meanwhile
    void iteratorNext(KeyValueIterator& iterator, const Str1** key, Value** value) const {
        if (iterator.m_changes != m_changes || !iterator.m_next)
            throw IllegalStateException(
                String(u"the map was changed by others, or has no more entries"));
        Entry* const entry = iterator.m_next;
        if (key)
            *key = &entry->key;
        if (value)
            *value = &entry->value;
        iterator.m_next = entry->next.get();
        findNext(iterator);
    }

protected:
    /// Makes the form of a key that is hashed and compared.
    virtual void normalizeKey(TextView key, Str1& normalized) const { normalized.copy(key); }

private:
    struct Entry {
        Entry(const Str1& text, Value&& content, uint32_t hashCode)
            : key(text), value(std::move(content)), hash(hashCode) {}

        Str1Copy key;
        Value value;
        uint32_t hash;
        std::unique_ptr<Entry> next;
    };

    /// A key in its normal form, on the stack unless it is long.
    struct Key {
        Key(const Str1HashMap& map, TextView key) {
            map.normalizeKey(key, text);
            hash = text.hashCode();
        }
        bool matches(const Entry& entry) const { return entry.hash == hash && entry.key == text; }

        Str1Fixed<> text;
        uint32_t hash;
    };

    Entry* find(const Key& key) const {
        Entry* entry = m_table[key.hash % m_table.size()].get();
        while (entry && !key.matches(*entry))
            entry = entry->next.get();
        return entry;
    }

    /// The head of the first chain from the iterator's bucket on, when it is at the end of one.
    void findNext(KeyValueIterator& iterator) const noexcept {
        while (!iterator.m_next && iterator.m_bucket < m_table.size())
            iterator.m_next = m_table[iterator.m_bucket++].get();
    }

    int32_t thresholdOf(size_t buckets) const {
        const float threshold = static_cast<float>(buckets) * m_loadFactor;
        return threshold < 0x1p31f ? static_cast<int32_t>(threshold) : INT32_MAX;
    }

    void rehash() {
        std::vector<std::unique_ptr<Entry>> table(2 * m_table.size() + 1);
        for (auto bucket = m_table.rbegin(); bucket != m_table.rend(); ++bucket) {
            for (std::unique_ptr<Entry> entry = std::move(*bucket); entry;) {
                std::unique_ptr<Entry> rest = std::move(entry->next);
                auto& head = table[entry->hash % table.size()];
                entry->next = std::move(head);
                head = std::move(entry);
                entry = std::move(rest);
            }
        }
        m_table.swap(table);
        m_threshold = thresholdOf(m_table.size());
    }

    int32_t m_size = 0;
    float m_loadFactor;
    int32_t m_threshold;
    std::vector<std::unique_ptr<Entry>> m_table;
    uint32_t m_changes = 0;
};

/// A Str1HashMap to which letter case of keys makes no difference.
template <class Value>
class Str1HashMapLC : public Str1HashMap<Value> {
public:
    using Str1HashMap<Value>::Str1HashMap;

protected:
    void normalizeKey(TextView key, Str1& normalized) const override {
        normalized.copy(key);
        normalized.toLower();
    }
};

} // namespace qx
