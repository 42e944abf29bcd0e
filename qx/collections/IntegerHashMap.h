#pragma once

#include <initializer_list>
#include <utility>

#include <qx/collections/KeyedMap.h>
#include <qx/collections/Set.h>
#include <qx/core/Integer.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// Hash map from 32-bit integers to objects. The hash of a key is the key, taken as unsigned.
class QX_API IntegerHashMap : public KeyedMap<IntegerEntry> {
public:
    using InitialElement = std::pair<int, Reference<Object>>;

    /// @param capacity  buckets, at least 1
    /// @param loadFactor  entries per bucket from which on the table grows, above 0
    /// @throws RangeErrorException when either is out of range
    explicit IntegerHashMap(int capacity = DEFAULT_CAPACITY, float loadFactor = DEFAULT_LOAD);
    /// Holds @p entries, of those with equal keys the last: IntegerHashMap{{80, server}}.
    IntegerHashMap(std::initializer_list<InitialElement> entries) : IntegerHashMap() {
        for (const auto& [key, value] : entries)
            IntegerHashMap::put(key, value);
    }
    ~IntegerHashMap() override;

    /// Keeps the number of buckets.
    virtual void clear();
    /// The value of @p key; null for an absent key and for a key with a null value.
    virtual Reference<Object> get(int key) const;
    /// What get returns, lent: good until the value is replaced or its key leaves the map.
    Object* peek(int key) const noexcept;
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
};

} // namespace qx::collections
