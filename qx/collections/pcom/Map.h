#pragma once

#include <cstdint>
#include <iterator>

#include <qx/collections/EntryIterator.h>
#include <qx/collections/InputIterator.h>
#include <qx/collections/pcom/AnyElement.h>
#include <qx/collections/pcom/Collection.h>
#include <qx/collections/pcom/Set.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

using EntryWalk = EntryIterator<IQXUnknown, IQXUnknown>;

/// Keys that lead to values, both component objects or null. A map holds one reference to each key
/// and each value. Keys are told apart by the map's comparator for keys, values by the one for
/// values; a failing comparator is thrown as ResultException with its code.
///
/// A map, its views and their iterators serve one thread at a time. A view keeps the map alive and
/// shows its present state.
///
/// Keys and values are handed in as the elements of a Collection are:
///
///     map->put(u"answer", qx::makeReference<qx::Integer32>(42));
///     map->get(u"answer");
///
/// A map is an input range of its entries, each a pair of Reference<IQXUnknown>:
///
///     for (const auto& [key, value] : map)
class QX_API Map : public IQXUnknown {
public:
    virtual void clear() = 0;
    /// @throws CastFailedException when @p other is not a map
    virtual int compareTo(const Object& other) const = 0;
    virtual bool containsKey(const IQXUnknown* key) const = 0;
    virtual bool containsValue(const IQXUnknown* value) const = 0;
    /// View of the entries, each a MapEntry.
    virtual Reference<const Set> createEntrySet() const = 0;
    virtual Reference<Set> createEntrySet() = 0;
    virtual Reference<const Set> createKeySet() const = 0;
    virtual Reference<Set> createKeySet() = 0;
    virtual Reference<const Collection> createValueCollection() const = 0;
    virtual Reference<Collection> createValueCollection() = 0;
    virtual bool equals(const Object& other) const = 0;
    /// The value of @p key; null for an absent key and for a key with a null value.
    virtual Reference<IQXUnknown> get(const IQXUnknown* key) const = 0;
    /// Number of entries.
    virtual int getSize() const = 0;
    virtual uint32_t hashCode() const = 0;
    /// Lets @p key lead to @p value and returns the previous value, null for a new key.
    /// @throws UnsupportedOperationException when the map does not accept additions
    virtual Reference<IQXUnknown> put(IQXUnknown* key, IQXUnknown* value) = 0;
    /// Puts every entry of @p other, in its order.
    virtual void putAll(const Map& other) = 0;
    /// Removes @p key and returns its value; null for an absent key.
    virtual Reference<IQXUnknown> remove(const IQXUnknown* key) = 0;

    bool isEmpty() const { return getSize() == 0; }

    bool containsKey(const SoughtElement auto& key) const {
        return containsKey(SoughtUnknown(key));
    }
    bool containsValue(const SoughtElement auto& value) const {
        return containsValue(SoughtUnknown(value));
    }
    Reference<IQXUnknown> get(const SoughtElement auto& key) const {
        return get(SoughtUnknown(key));
    }
    template <class K, class V>
    requires(ElementOrUnknown<K>&& ElementOrUnknown<V> &&
             (SomeElement<K> || SomeElement<V>)) Reference<IQXUnknown> put(const K& key,
                                                                           const V& value) {
        return put(unknownFor(key), unknownFor(value));
    }
    Reference<IQXUnknown> remove(const SoughtElement auto& key) {
        return remove(SoughtUnknown(key));
    }

    InputIterator<EntryWalk> begin() const {
        return InputIterator<EntryWalk>(
            makeReference<EntryWalk>(createEntrySet()->createConstIterator()));
    }
    std::default_sentinel_t end() const noexcept { return {}; }

protected:
    ~Map() = default;
};

} // namespace qx::collections::pcom

using CQXMap = qx::collections::pcom::Map;
