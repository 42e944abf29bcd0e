#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/Iterator.h>
#include <qx/collections/pcom/LendingWalk.h>
#include <qx/collections/pcom/detail/HashMapSlot.h>
#include <qx/core/Exception.h>

namespace qx::collections::pcom {

/// A walk over the buckets of a HashMap, last one first.
///
/// It counts no references to what it stands on: changes of the map are seen by their count before
/// a slot is looked at. Of clear, which is not counted, the map tells the walks that it knows;
/// these hold what they stand on from then on, as does one that has found no room among them.
///
/// A walk that shows entries makes those that it has reached, so that two walks which outlive a
/// clear show the same.
class HashMapIterator final : public Component<ComObject, Iterator>, public LendingWalk {
public:
    /// What next returns of each entry.
    enum class Kind { Keys, Values, Entries };

    explicit HashMapIterator(HashMap* map, Kind kind = Kind::Entries)
        : m_map(map), m_expectedCount(map->modificationCount()), m_kind(kind),
          m_isSparse(isSparse(map->m_size, map->m_tableLength)), m_bucket(map->m_tableLength),
          m_known(map->enter(*this)) {}
    HashMapIterator(const HashMapIterator&) = delete;
    ~HashMapIterator() override {
        if (m_known)
            m_known->store(nullptr, std::memory_order_release);
    }

    /// The iterator over entries that @p iterator is, which may be anybody's; null when it is none.
    static HashMapIterator* from(Iterator* iterator) {
        LendingWalk* const walk = LendingWalk::of(iterator);
        return walk && walk->isOfEntries() ? static_cast<HashMapIterator*>(walk) : nullptr;
    }

    /// Lets next return something else from now on.
    void show(Kind kind) noexcept { m_kind = kind; }

    bool hasNext() const override { return m_next != 0 || findNext(isOfEntries()); }
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
        if (m_last == 0)
            throw IllegalStateException(u"no current element"_qs);
        if (isCleared())
            throwChanged();
        const HashMapContent removed = m_map->removeSlot(m_map->linkTo(std::exchange(m_last, 0)));
        ++m_expectedCount;
        const HashMapContent kept = std::move(m_keptLast);
    }

    bool step(IQXUnknown*& element) override {
        switch (m_kind) {
        case Kind::Keys:
            return stepBy<false>([&](HashMapSlot& slot) { element = slot.key; });
        case Kind::Values:
            return stepBy<false>([&](HashMapSlot& slot) { element = slot.value(); });
        default:
            return stepBy<true>(
                [&](HashMapSlot& slot) { element = slot.madeEntry().GetUnknown(); });
        }
    }
    bool stepEntry(IQXUnknown*& key, IQXUnknown*& value) override {
        return stepBy<false>([&](HashMapSlot& slot) {
            key = slot.key;
            value = slot.value();
        });
    }
    bool isOfEntries() const noexcept override { return m_kind == Kind::Entries; }

    /// Holds from now on what it stands on, because the map drops all it has.
    void adopt() noexcept {
        // One that has missed a change will not look at a slot again.
        if (m_map->modificationCount() != m_expectedCount)
            return;
        m_known->store(nullptr, std::memory_order_release);
        m_known = nullptr;
        if (m_last != 0)
            m_keptLast = HashMapContent::sharedWith(slotAt(m_last));
        if (m_next != 0)
            m_keptNext = HashMapContent::sharedWith(slotAt(m_next));
    }

private:
    /// Tables from which on slots are fetched ahead of the walk: the others lie in the cache.
    static constexpr int PrefetchedLength = 4096;

    /// @throws Exception when others have changed the map
    void checkUnchanged() const {
        if (m_map->modificationCount() != m_expectedCount) [[unlikely]]
            throwChanged();
    }
    [[noreturn, gnu::noinline]] static void throwChanged() {
        throw Exception(u"the map was changed by others, or has no more elements"_qs);
    }
    /// Without a change that is counted a table comes back for no new key.
    bool isCleared() const noexcept { return !m_map->m_table; }

    HashMapSlot& slotAt(HashMap::Link link) const noexcept { return m_map->m_slots[link - 1]; }

    /// Finds the first slot of the next bucket that has one.
    bool findNext(bool makesEntries) const {
        const HashMap::Link* const table = m_map->m_table.get();
        const bool prefetches = m_map->m_tableLength >= PrefetchedLength;
        int bucket = table ? m_bucket : 0;
        if (m_isSparse)
            bucket = passEmptyBuckets(table, bucket);
        while (bucket-- > 0) {
            if (prefetches)
                prefetchElements(table, m_map->m_slots.get(), bucket);
            if (const HashMap::Link found = table[bucket]; found != 0) {
                if (!m_known || (makesEntries && !slotAt(found).seenEntry())) [[unlikely]]
                    makeNext(found);
                m_bucket = bucket;
                m_next = found;
                return true;
            }
        }
        m_bucket = 0;
        return false;
    }
    /// Makes the entry that will be next, and holds it unless the map knows the walk.
    [[gnu::noinline]] void makeNext(HashMap::Link link) const {
        slotAt(link).madeEntry();
        if (!m_known)
            m_keptNext = HashMapContent::sharedWith(slotAt(link));
    }

    /// Goes on to the next slot and lends it; false at the end.
    template <bool MakesEntries, class Lend>
    bool stepBy(Lend&& lend) {
        if (m_next == 0 && !findNext(MakesEntries))
            return false;
        checkUnchanged();
        if (!m_known) [[unlikely]]
            return stepHolding(lend);
        HashMapSlot& slot = slotAt(m_next);
        if (MakesEntries && slot.next != 0)
            slotAt(slot.next).madeEntry();
        lend(slot);
        m_last = std::exchange(m_next, slot.next);
        return true;
    }
    /// The same with references to the entries. What was held before, of which a key may look at
    /// the iterator when it goes, is to be dropped.
    template <class Lend>
    [[gnu::noinline]] bool stepHolding(Lend&& lend) {
        const HashMap::Link following = isCleared() ? 0 : slotAt(m_next).next;
        lend(m_keptNext.slot());
        if (following != 0)
            slotAt(following).madeEntry();
        if (m_last != 0)
            m_dropped = m_keptLast.takeEntry();
        m_keptLast = std::move(m_keptNext);
        if (following != 0)
            m_keptNext = HashMapContent::sharedWith(slotAt(following));
        m_last = std::exchange(m_next, following);
        return true;
    }

    const Reference<HashMap> m_map;
    uint32_t m_expectedCount;
    Kind m_kind;
    const bool m_isSparse;
    /// The slot that comes next; 0 while it has to be looked for. Once the map was cleared or
    /// changed it is only compared with 0.
    mutable HashMap::Link m_next = 0;
    /// The bucket that the walk has come to; the table length before it begins.
    mutable int m_bucket;
    /// Where the map knows the walk; null when it holds what it stands on itself.
    HashMap::KnownWalk* m_known;
    /// The slot that came last; 0 for none. Used like m_next, but not beside it: compilers would
    /// then join the writes of both, which is slower.
    HashMap::Link m_last = 0;
    mutable HashMapContent m_keptNext, m_keptLast;
};

} // namespace qx::collections::pcom
