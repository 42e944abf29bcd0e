#pragma once

#include <qx/collections/pcom/AbstractSet.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/detail/HashMapIterator.h>

namespace qx::collections::pcom {

/// The entries of a HashMap.
class HashMapEntrySet final : public AbstractSet {
public:
    explicit HashMapEntrySet(HashMap* map) : m_map(map) {}

    bool contains(const IQXUnknown* entry) const override { return m_map->containsEntry(entry); }
    Reference<ConstIterator> createConstIterator() const override { return createEntryIterator(); }
    Reference<Iterator> createIterator() override { return createEntryIterator(); }
    int getSize() const override { return m_map->getSize(); }
    /// Finds the entry by its key's hash instead of a walk. Entries have no order of their own, so
    /// only the very same one is equal.
    bool remove(const IQXUnknown* entry) override {
        auto* const link = m_map->findEntry(entry);
        return link && m_map->removeEntry(*link);
    }

private:
    Reference<HashMapIterator> createEntryIterator() const {
        return new HashMapIterator(m_map, HashMapIterator::Kind::Entries);
    }

    const Reference<HashMap> m_map;
};

} // namespace qx::collections::pcom
