#pragma once

#include <cstdint>

#include <qx/collections/IComparator.h>
#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/Map.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// Skeleton of a map. A class over it provides the entry set; one that accepts additions overrides
/// put. The other operations go through the entry set and take linear time, so that a class that
/// finds its keys faster overrides them too. An entry set that holds something other than entries
/// makes them throw CastFailedException.
class QX_API AbstractMap : public Component<Object, Map> {
public:
    using Map::containsKey;
    using Map::containsValue;
    using Map::get;
    using Map::put;
    using Map::remove;

    /// Clears the entry set.
    void clear() override;
    /// Negative, 0 or positive: the order of the first value of this map, in its order, that is not
    /// equal to the other map's value of the key, by this map's comparator for values; else the
    /// difference of the sizes. A null value comes behind an absent key and before every other
    /// value. Two maps with different keys may each come before the other.
    /// @throws CastFailedException when @p other is not a Map
    int compareTo(const Object& other) const override;
    bool containsKey(const IQXUnknown* key) const override;
    bool containsValue(const IQXUnknown* value) const override;
    Reference<const Set> createEntrySet() const override = 0;
    Reference<Set> createEntrySet() override = 0;
    /// View of the keys, which are found and removed as the map does. It accepts no additions.
    Reference<const Set> createKeySet() const override;
    Reference<Set> createKeySet() override;
    /// View of the values in the order of the entries. It accepts no additions; removing a value
    /// removes the first entry that has it.
    Reference<const Collection> createValueCollection() const override;
    Reference<Collection> createValueCollection() override;
    /// True for a Map of the same size whose values are equal, key by key.
    bool equals(const Object& other) const override;
    Reference<IQXUnknown> get(const IQXUnknown* key) const override;
    int getSize() const override;
    /// Sum of the hash codes of the entries.
    uint32_t hashCode() const override;
    /// @throws UnsupportedOperationException always
    Reference<IQXUnknown> put(IQXUnknown* key, IQXUnknown* value) override;
    /// Calls put for each entry. Putting a map into itself leaves it as it is.
    void putAll(const Map& other) override;
    /// Removes every entry with an equal key and returns the value of the last of them.
    Reference<IQXUnknown> remove(const IQXUnknown* key) override;

protected:
    /// With the default comparator for keys and values.
    AbstractMap();
    /// @throws ResultException with result::NullPointer when either is null
    AbstractMap(const IQXComparator* keys, const IQXComparator* values);
    /// Shares the comparators and begins with no changes counted; entries are up to the derived
    /// class.
    AbstractMap(const AbstractMap& other);
    AbstractMap& operator=(const AbstractMap&) = delete;
    ~AbstractMap() override = default;

    /// compareTo for a map.
    int compareToMap(const Map& other) const;

    IQXComparator& keyComparator() const noexcept { return *m_keyComparator; }
    IQXComparator& valueComparator() const noexcept { return *m_valueComparator; }

    /// Changes that iterators have to notice: new keys and removed ones.
    uint32_t modificationCount() const noexcept { return m_modificationCount; }
    void countChange() noexcept { ++m_modificationCount; }

private:
    friend class AbstractMapKeySet;
    friend class AbstractMapValueCollection;

    const Reference<IQXComparator> m_keyComparator;
    const Reference<IQXComparator> m_valueComparator;
    uint32_t m_modificationCount = 0;
};

} // namespace qx::collections::pcom
