#pragma once

#include <utility>

#include <qx/collections/Element.h>
#include <qx/collections/pcom/ConstIterator.h>
#include <qx/collections/pcom/MapEntry.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Required.h>

namespace qx::collections {

/// A walk over the entries of a map as pairs of key and value. It holds the map; what is done to
/// the map meanwhile is noticed as by the map's own iterators.
template <class K, class V>
class EntryIterator : public Object {
public:
    /// @param entries  over elements that are MapEntry
    explicit EntryIterator(Reference<pcom::ConstIterator> entries)
        : m_entries(std::move(entries)) {}

    bool hasNext() const { return m_entries->hasNext(); }
    std::pair<Reference<K>, Reference<V>> next() {
        const Reference<IQXUnknown> element = m_entries->next();
        const auto& entry =
            requireCast(qx::pcom::objectBehind<const pcom::MapEntry>(element.get()));
        return {elementAs<K>(entry.getKey()), elementAs<V>(entry.getValue())};
    }

private:
    const Reference<pcom::ConstIterator> m_entries;
};

} // namespace qx::collections
