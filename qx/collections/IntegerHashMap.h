#pragma once

#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

#include <qx/collections/KeyedWalk.h>
#include <qx/collections/Set.h>
#include <qx/core/Integer.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// Hash map from 32-bit integers to objects, which it holds by references; null is a value.
///
/// The bucket of a key is the key, taken as unsigned, modulo the number of buckets; a new entry
/// goes to the end of its bucket. When as many entries as buckets times load factor are there, the
/// next new key makes the table grow to 2 n + 1 buckets; it never shrinks. Looking up, putting and
/// removing cost constant time on average. Memory for the buckets is taken with the first entry.
///
/// For one thread at a time. Values may use the map while they go.
class QX_API IntegerHashMap : public Object {
public:
    static constexpr int DEFAULT_CAPACITY = 101;
    static constexpr float DEFAULT_LOAD = 0.75f;

    /// @param capacity  buckets, at least 1
    /// @param loadFactor  entries per bucket from which on the table grows, above 0
    /// @throws RangeErrorException when either is out of range
    explicit IntegerHashMap(int capacity = DEFAULT_CAPACITY, float loadFactor = DEFAULT_LOAD);
    IntegerHashMap(const IntegerHashMap&) = delete;
    IntegerHashMap& operator=(const IntegerHashMap&) = delete;
    ~IntegerHashMap() override;

    /// Keeps the number of buckets.
    virtual void clear();
    /// The value of @p key; null for an absent key and for a key with a null value.
    virtual Reference<Object> get(int key) const;
    virtual int getSize() const;
    virtual bool isEmpty() const;
    /// Lets @p key lead to @p value and returns the previous value, null for a new key.
    /// @throws std::bad_alloc, or std::length_error when the table cannot have more buckets; the
    ///     map is then unchanged
    virtual Reference<Object> put(int key, Object* value);
    /// Removes @p key and returns its value; null for an absent key.
    virtual Reference<Object> remove(int key);
    /// A new set of the keys as they are now.
    virtual Reference<const Set<Integer32>> createKeySet() const;

    /// Number of buckets.
    int getCapacity() const noexcept;

    /// Calls @p visit (int key, Object* value) for every entry, bucket by bucket from 0 up and in
    /// each from the oldest entry to the newest. The map keeps the value.
    /// @throws Exception when the visit has put a new key, removed one or cleared the map
    template <class Visitor>
    void forEach(Visitor&& visit) const {
        KeyedWalk<IntegerEntry>(*m_table).run(std::forward<Visitor>(visit));
    }

    /// An input range of the entries in that order, each a pair of the key and a pointer
    /// to the value. Moving on throws what forEach throws.
    KeyedIterator<IntegerEntry> begin() const { return KeyedIterator<IntegerEntry>(*m_table); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    const std::unique_ptr<detail::KeyedTable<IntegerEntry>> m_table;
};

} // namespace qx::collections
