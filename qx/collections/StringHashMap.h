#pragma once

#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

#include <qx/collections/KeyedWalk.h>
#include <qx/collections/Set.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// Hash map from texts to objects, which it holds by references; null is a value. Keys are equal
/// when they have the same units, with regard to case. The map keeps copies of them.
///
/// The bucket of a key is its String::hashCode modulo the number of buckets; a new entry goes to
/// the end of its bucket. When as many entries as buckets times load factor are there, the next new
/// key makes the table grow to 2 n + 1 buckets; it never shrinks. Looking up, putting and removing
/// cost constant time on average. Memory for the buckets is taken with the first entry.
///
/// Keys come as units with a length, where -1 means up to the first 0 unit and null is the empty
/// text, or as a String; one that cannot expose its units raises ResultException.
///
/// For one thread at a time. Values may use the map while they go.
class QX_API StringHashMap : public Object {
public:
    static constexpr int DEFAULT_CAPACITY = 101;
    static constexpr float DEFAULT_LOAD = 0.75f;

    /// @param capacity  buckets, at least 1
    /// @param loadFactor  entries per bucket from which on the table grows, above 0
    /// @throws RangeErrorException when either is out of range
    explicit StringHashMap(int capacity = DEFAULT_CAPACITY, float loadFactor = DEFAULT_LOAD);
    StringHashMap(const StringHashMap&) = delete;
    StringHashMap& operator=(const StringHashMap&) = delete;
    ~StringHashMap() override;

    /// Keeps the number of buckets.
    virtual void clear();
    /// The value of the key; null for an absent key and for a key with a null value.
    virtual Reference<Object> get(const char16_t* key, int length) const;
    virtual Reference<Object> get(const String& key) const;
    virtual int getSize() const;
    /// False for a key with a null value.
    virtual bool containsKey(const char16_t* key, int length) const;
    virtual bool containsKey(const String& key) const;
    virtual bool isEmpty() const;
    /// Lets @p key lead to @p value and returns the previous value, null for a new key.
    /// @throws std::bad_alloc, or std::length_error when the table cannot have more buckets; the
    ///     map is then unchanged
    virtual Reference<Object> put(const String& key, Object* value);
    /// Removes @p key and returns its value; null for an absent key.
    virtual Reference<Object> remove(const String& key);
    /// A new set of the keys as they are now.
    virtual Reference<const Set<String>> createKeySet() const;

    /// Number of buckets.
    int getCapacity() const noexcept;

    /// Calls @p visit (std::u16string_view key, Object* value) for every entry, bucket by bucket
    /// from 0 up and in each from the oldest entry to the newest. The map keeps key and value.
    /// @throws Exception when the visit has put a new key, removed one or cleared the map
    template <class Visitor>
    void forEach(Visitor&& visit) const {
        KeyedWalk<TextEntry>(*m_table).run(std::forward<Visitor>(visit));
    }

    /// An input range of the entries in that order, each a pair of the key as a std::u16string_view
    /// and a pointer to the value. Moving on throws what forEach throws.
    KeyedIterator<TextEntry> begin() const { return KeyedIterator<TextEntry>(*m_table); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    const std::unique_ptr<detail::KeyedTable<TextEntry>> m_table;
};

} // namespace qx::collections
