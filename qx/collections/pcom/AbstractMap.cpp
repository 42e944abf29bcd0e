#include "qx/collections/pcom/AbstractMap.h"

#include <utility>

#include <qx/collections/Comparing.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/collections/detail/NaturalOrder.h>
#include <qx/collections/pcom/detail/Elements.h>
#include <qx/collections/pcom/detail/HashMapEntry.h>
#include <qx/collections/pcom/detail/MapViews.h>
#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>

namespace qx::collections::pcom {

namespace {

/// The first entry, in the order of the map, that passes @p test; null when none does.
template <class Test>
Reference<IQXUnknown> firstEntry(const Map& map, Test&& test) {
    const auto iterator = map.createEntrySet()->createConstIterator();
    while (iterator->hasNext()) {
        auto element = iterator->next();
        if (test(entryOf(element)))
            return element;
    }
    return nullptr;
}

/// The first entry with the key; null without one.
Reference<IQXUnknown> entryOfKey(const Map& map, IQXComparator& comparator, const IQXUnknown* key) {
    return firstEntry(
        map, [&](const MapEntry& entry) { return equalElements(comparator, entry.getKey(), key); });
}

} // namespace

AbstractMap::AbstractMap()
    : m_keyComparator(GetDefaultComparator()), m_valueComparator(m_keyComparator) {}

AbstractMap::AbstractMap(const IQXComparator* keys, const IQXComparator* values)
    : m_keyComparator(ownedComparator(keys)), m_valueComparator(ownedComparator(values)) {}

AbstractMap::AbstractMap(const AbstractMap& other)
    : Component(), m_keyComparator(other.m_keyComparator),
      m_valueComparator(other.m_valueComparator) {}

void AbstractMap::clear() { createEntrySet()->clear(); }

int AbstractMap::compareTo(const Object& other) const {
    if (&other == static_cast<const Object*>(this))
        return 0;
    return compareToMap(requireCast(castTo<const Map>(&other)));
}

bool AbstractMap::containsKey(const IQXUnknown* key) const {
    return entryOfKey(*this, keyComparator(), key) != nullptr;
}

bool AbstractMap::containsValue(const IQXUnknown* value) const {
    return firstEntry(*this, [&](const MapEntry& entry) {
               return equalElements(valueComparator(), entry.getValue(), value);
           }) != nullptr;
}

Reference<const Set> AbstractMap::createKeySet() const {
    return new AbstractMapKeySet(detail::held(this));
}

Reference<Set> AbstractMap::createKeySet() { return new AbstractMapKeySet(this); }

Reference<const Collection> AbstractMap::createValueCollection() const {
    return new AbstractMapValueCollection(detail::held(this));
}

Reference<Collection> AbstractMap::createValueCollection() {
    return new AbstractMapValueCollection(this);
}

bool AbstractMap::equals(const Object& other) const {
    if (&other == static_cast<const Object*>(this))
        return true;
    const auto* const map = castTo<const Map>(&other);
    return map && map->getSize() == getSize() && compareToMap(*map) == 0;
}

Reference<IQXUnknown> AbstractMap::get(const IQXUnknown* key) const {
    const auto element = entryOfKey(*this, keyComparator(), key);
    return element ? entryOf(element).getValue() : nullptr;
}

int AbstractMap::getSize() const { return createEntrySet()->getSize(); }

uint32_t AbstractMap::hashCode() const {
    uint32_t sum = 0;
    const auto iterator = createEntrySet()->createConstIterator();
    while (iterator->hasNext())
        sum += entryOf(iterator->next()).hashCode();
    return sum;
}

Reference<IQXUnknown> AbstractMap::put(IQXUnknown* key, IQXUnknown* value) {
    const Reference<IQXUnknown> untakenKey(key), untakenValue(value);
    throw UnsupportedOperationException(u"the map takes no entries"_qs);
}

void AbstractMap::putAll(const Map& other) {
    for (const auto& [key, value] : other)
        put(key, value);
}

Reference<IQXUnknown> AbstractMap::remove(const IQXUnknown* key) {
    Reference<IQXUnknown> removed;
    const auto iterator = createEntrySet()->createIterator();
    while (iterator->hasNext()) {
        const auto element = iterator->next();
        const MapEntry& entry = entryOf(element);
        if (equalElements(keyComparator(), entry.getKey(), key)) {
            auto value = entry.getValue();
            iterator->remove();
            removed = std::move(value);
        }
    }
    return removed;
}

int AbstractMap::compareToMap(const Map& other) const {
    const collections::detail::ElementComparison comparison(valueComparator());
    for (const auto& [key, value] : *this) {
        if (value) {
            const int order = comparison.compare(value, other.get(key));
            if (order != 0)
                return order;
        } else if (!other.containsKey(key)) {
            return 1;
        } else if (other.get(key)) {
            return -1;
        }
    }
    return getSize() - other.getSize();
}

} // namespace qx::collections::pcom
