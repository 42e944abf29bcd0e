#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/Iterator.h>
#include <qx/collections/pcom/LendingWalk.h>
#include <qx/collections/pcom/detail/HashMapEntry.h>
#include <qx/core/Exception.h>

namespace qx::collections::pcom {

/// A walk over the buckets of a HashMap, last one first.
///
/// It counts no references to the entries that it stands on: changes of the map are seen by their
/// count before an entry is looked at. Of clear, which is not counted, the map tells the walks that
/// it knows; these hold their entries from then on, as does one that has found no room among them.
class HashMapIterator final : public Component<ComObject, Iterator>, public LendingWalk {
public:
    /// What next returns of each entry.
    enum class Kind { Keys, Values, Entries };

    explicit HashMapIterator(HashMap* map, Kind kind = Kind::Entries)
        : m_map(map), m_expectedCount(map->modificationCount()), m_kind(kind),
          m_bucket(map->m_tableLength), m_known(map->enter(*this)) {}
    HashMapIterator(const HashMapIterator&) = delete;
    ~HashMapIterator() override {
        if (m_known) {
            m_known->store(nullptr, std::memory_order_release);
            return;
        }
        Reference<HashMapEntry>::attach(m_lastReturned).reset();
        Reference<HashMapEntry>::attach(m_nextEntry).reset();
    }

    /// The iterator over entries that @p iterator is, which may be anybody's; null when it is none.
    static HashMapIterator* from(Iterator* iterator) {
        LendingWalk* const walk = LendingWalk::of(iterator);
        return walk && walk->isOfEntries() ? static_cast<HashMapIterator*>(walk) : nullptr;
    }

    /// Lets next return something else from now on.
    void show(Kind kind) noexcept { m_kind = kind; }

    bool hasNext() const override { return m_nextEntry || findNext(); }
    /// @throws Exception when others have changed the map, and at the end
    Reference<IQXUnknown> next() override {
        checkUnchanged();
        IQXUnknown* element = nullptr;
        if (!step(element))
            throwChanged();
        Reference<IQXUnknown> next(element);
        drop();
        return next;
    }
    void remove() override {
        checkUnchanged();
        if (!m_lastReturned)
            throw IllegalStateException();
        Reference<HashMapEntry>* const link = m_map->findEntry(m_lastReturned->GetUnknown());
        if (!link) // gone by clear, which is not counted
            throwChanged();
        const auto removed = m_map->removeEntry(*link);
        ++m_expectedCount;
        HashMapEntry* const last = std::exchange(m_lastReturned, nullptr);
        if (!m_known)
            last->Release(); // removed has it too
    }

    bool step(IQXUnknown*& element) override {
        if (!m_known) [[unlikely]]
            return stepHolding([&](HashMapEntry& entry) { element = shown(entry); });
        return stepBy([&](HashMapEntry& entry) { element = shown(entry); });
    }
    bool stepEntry(IQXUnknown*& key, IQXUnknown*& value) override {
        const auto lend = [&](HashMapEntry& entry) {
            key = entry.m_key;
            value = entry.m_value;
        };
        return m_known ? stepBy(lend) : stepHolding(lend);
    }
    bool isOfEntries() const noexcept override { return m_kind == Kind::Entries; }

    /// Holds from now on what it stands on, because the map drops all its entries.
    void adopt() noexcept {
        // One that has missed a change will not look at an entry again.
        if (m_map->modificationCount() != m_expectedCount)
            return;
        m_known->store(nullptr, std::memory_order_release);
        m_known = nullptr;
        for (HashMapEntry* const entry : {m_lastReturned, m_nextEntry}) {
            if (entry)
                entry->AddRef();
        }
    }

private:
    /// Tables from which on entries are fetched ahead of the walk: the others lie in the cache.
    static constexpr int PrefetchedLength = 4096;

    /// @throws Exception when others have changed the map
    void checkUnchanged() const {
        if (m_map->modificationCount() != m_expectedCount) [[unlikely]]
            throwChanged();
    }
    [[noreturn, gnu::noinline]] static void throwChanged() { throw Exception(); }

    /// What next shows of an entry.
    IQXUnknown* shown(HashMapEntry& entry) const noexcept {
        if (m_kind == Kind::Keys)
            return entry.m_key;
        return m_kind == Kind::Values ? entry.m_value.get() : entry.GetUnknown();
    }

    /// Finds the first entry of the next bucket that has one.
    bool findNext() const {
        const Reference<HashMapEntry>* const table = m_map->m_table.get();
        if (!table)
            m_bucket = 0;
        const bool prefetches = m_map->m_tableLength >= PrefetchedLength;
        for (const auto* bucket = table + m_bucket; bucket != table;) {
            --bucket;
            if (prefetches)
                HashMapEntry::prefetchElements(table, static_cast<int>(bucket - table));
            if (HashMapEntry* const entry = bucket->get()) {
                m_bucket = static_cast<int>(bucket - table);
                m_nextEntry = entry;
                if (!m_known) [[unlikely]]
                    entry->AddRef();
                return true;
            }
        }
        m_bucket = 0;
        return false;
    }

    /// Goes on to the next entry and lends it; false at the end.
    template <class Lend>
    bool stepBy(Lend&& lend) {
        if (!m_nextEntry && !findNext())
            return false;
        checkUnchanged();
        m_lastReturned = m_nextEntry;
        m_nextEntry = m_lastReturned->m_next.get();
        lend(*m_lastReturned);
        return true;
    }
    /// The same with references to the entries. That to the one before, whose key may look at the
    /// iterator when it goes, is to be dropped.
    template <class Lend>
    [[gnu::noinline]] bool stepHolding(Lend&& lend) {
        HashMapEntry* const before = m_lastReturned;
        if (!stepBy(lend))
            return false;
        if (m_nextEntry)
            m_nextEntry->AddRef();
        if (before)
            m_dropped = Reference<IQXUnknown>::attach(before->GetUnknown());
        return true;
    }

    const Reference<HashMap> m_map;
    uint32_t m_expectedCount;
    Kind m_kind;
    /// The bucket that the walk has come to; the table length before it begins.
    mutable int m_bucket;
    /// Where the map knows the walk; null when it holds its entries itself.
    HashMap::KnownWalk* m_known;
    mutable HashMapEntry* m_nextEntry = nullptr;
    HashMapEntry* m_lastReturned = nullptr;
};

} // namespace qx::collections::pcom
