#include "qx/collections/pcom/HashSet.h"

#include <qx/collections/DefaultComparator.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/detail/HashMapIterator.h>
#include <qx/core/CastTo.h>
#include <qx/core/Required.h>

namespace qx::collections::pcom {

HashSet::HashSet() : m_map(new HashMap()) {}

HashSet::HashSet(const IQXComparator* comparator)
    : AbstractSet(comparator),
      m_map(new HashMap(comparator, GetDefaultComparator(), HashMap::DEFAULT_CAPACITY,
                        HashMap::DEFAULT_LOAD)) {}

HashSet::HashSet(const Collection& other) : HashSet() { HashSet::addAll(other); }

HashSet::HashSet(const Collection& other, const IQXComparator* comparator) : HashSet(comparator) {
    HashSet::addAll(other);
}

HashSet::HashSet(const HashSet& other) : AbstractSet(other), m_map(new HashMap(*other.m_map)) {}

HashSet::~HashSet() = default;

bool HashSet::add(IQXUnknown* element) { return m_map->addKey(element); }

void HashSet::clear() { m_map->clear(); }

int HashSet::compareTo(const Object& other) const {
    if (&other == static_cast<const Object*>(this))
        return 0;
    const HashMap& elements = *requireCast(castTo<const HashSet>(&other)).m_map;
    for (const auto& entry : *m_map) {
        if (!elements.containsKey(entry.first))
            return -1;
    }
    return m_map->getSize() - elements.getSize();
}

bool HashSet::contains(const IQXUnknown* element) const { return m_map->containsKey(element); }

Reference<ConstIterator> HashSet::createConstIterator() const {
    return new HashMapIterator(m_map, HashMapIterator::Kind::Keys);
}

Reference<Iterator> HashSet::createIterator() {
    return new HashMapIterator(m_map, HashMapIterator::Kind::Keys);
}

bool HashSet::equals(const Object& other) const { return compareTo(other) == 0; }

int HashSet::getSize() const { return m_map->getSize(); }

uint32_t HashSet::hashCode() const { return m_map->hashCode(); }

bool HashSet::remove(const IQXUnknown* element) { return m_map->removeKey(element); }

} // namespace qx::collections::pcom
