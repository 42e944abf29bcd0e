#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include <qx/collections/detail/Marks.h>

namespace qx::collections::detail {

constexpr std::align_val_t CacheLine{64};

/// Memory for @p count objects that begins with a cache line; to be given back to releaseLines.
template <class T>
T* allocateLines(size_t count) {
    return static_cast<T*>(::operator new(count * sizeof(T), CacheLine));
}

inline void releaseLines(void* lines) noexcept { ::operator delete(lines, CacheLine); }

/// The entries of a few neighbouring buckets in one array, and a mark for each. Every bucket is a
/// list; the order of the lists is kept as far as a walk needs it.
///
/// A group that has outgrown the marks in itself is a large one. It keeps the marks behind the
/// entries, and all of it by bucket and in the order of the lists. That serves hashes that gather
/// in few buckets, and large load factors.
template <class Entry>
class alignas(64) KeyedGroup {
    static_assert(std::is_trivially_copyable_v<Entry> && std::is_trivially_destructible_v<Entry>);

public:
    /// Positions of the entries of a small group in some order.
    using Positions = std::array<uint8_t, SmallGroup>;

    uint32_t count() const noexcept { return m_count; }
    bool isFull() const noexcept { return m_count == m_capacity; }
    bool isLarge() const noexcept { return m_capacity > SmallGroup; }
    Entry* entries() const noexcept { return m_entries; }

    /// Fetches the memory that a new entry goes to.
    void fetchEnd() const noexcept { __builtin_prefetch(m_entries + m_count, 1); }

    /// The first entry with @p mark that @p matches, or null.
    template <class Matches>
    Entry* find(const Marking& marking, uint32_t mark, Matches matches) const noexcept {
        if (isLarge()) [[unlikely]]
            return findInLarge(marking, mark, matches);
        for (uint64_t left = matchesOf(m_smallMarks, m_count, mark); left != 0; left &= left - 1) {
            Entry* const entry = m_entries + std::countr_zero(left);
            if (matches(*entry))
                return entry;
        }
        return nullptr;
    }

    /// Makes a place for an entry behind those of its bucket. The group must not be full.
    Entry& append(const Marking& marking, uint32_t mark) noexcept {
        if (isLarge()) [[unlikely]]
            return insertIntoLarge(startOfBucket(marking, marking.bucket(mark) + 1), mark);
        // Written only when it changes: a capacity that is read right behind waits for the write.
        if (!m_isMixed && m_count > 0 && marking.bucket(lastMark()) > marking.bucket(mark))
            m_isMixed = true;
        return addToSmall(mark);
    }

    /// Makes a place for an entry in front of those of its bucket. The group must not be full, and
    /// nothing may have been appended to it.
    Entry& prepend(const Marking& marking, uint32_t mark) noexcept {
        if (isLarge()) [[unlikely]]
            return insertIntoLarge(startOfBucket(marking, marking.bucket(mark)), mark);
        if (!m_isMixed && m_count > 0 && marking.bucket(lastMark()) >= marking.bucket(mark))
            m_isMixed = true;
        return addToSmall(mark);
    }
    /// Tells what was prepended from what will be appended; to be called before the group grows and
    /// when all are prepended.
    void closeFront() noexcept { m_prepended = isLarge() ? 0 : m_count & 0x3F; }

    void removeAt(uint32_t position) noexcept {
        if (position < m_prepended)
            m_prepended = (m_prepended - 1) & 0x3F;
        move(position + 1, position);
        if (--m_count == 0)
            m_isMixed = false;
    }

    /// Gives an empty group its first array.
    void setArray(Entry* entries, uint32_t capacity) noexcept {
        m_entries = entries;
        m_capacity = capacity & MostEntries;
    }
    /// Takes the array from an empty group.
    Entry* releaseArray() noexcept {
        m_capacity = 0;
        return std::exchange(m_entries, nullptr);
    }
    /// Room for more entries in an array from allocateLines.
    /// @return the old array, for the caller to give back
    /// @throws std::bad_alloc; nothing is then changed
    Entry* grow(const Marking& marking) {
        const uint32_t room = grownCapacity();
        const bool large = room > SmallGroup;
        auto* const grown = allocateLines<Entry>(room + (large ? room / sizeof(Entry) + 1 : 0));
        auto* const largeMarks = reinterpret_cast<uint8_t*>(grown + room);
        if (large && !isLarge()) {
            const Positions positions = inOrder(marking);
            for (uint32_t i = 0; i < m_count; ++i) {
                grown[i] = m_entries[positions[i]];
                largeMarks[i] = m_smallMarks[positions[i]];
            }
            m_isMixed = false;
            m_prepended = 0;
        } else if (m_count > 0) {
            std::memcpy(grown, m_entries, m_count * sizeof(Entry));
            if (large)
                std::memcpy(largeMarks, marks(), m_count);
        }
        m_capacity = room & MostEntries;
        return std::exchange(m_entries, grown);
    }

    /// True when the entries lie bucket by bucket and in the order of the lists.
    bool isInOrder() const noexcept { return !m_isMixed; }
    /// Where the entries of a small group lie, bucket by bucket and in the order of the lists.
    Positions inOrder(const Marking& marking) const noexcept {
        return sorted(marking, [this](auto&& next) {
            for (uint32_t i = m_prepended; i-- > 0;)
                next(i);
            for (uint32_t i = m_prepended; i < m_count; ++i)
                next(i);
        });
    }

    /// Calls @p visit for every entry, bucket by bucket and in each from the last of the list on.
    template <class Visit>
    void forEachListFromBehind(const Marking& marking, Visit&& visit) const {
        if (m_isMixed) {
            const Positions positions = sorted(marking, [this](auto&& next) {
                for (uint32_t i = m_count; i-- > m_prepended;)
                    next(i);
                for (uint32_t i = 0; i < m_prepended; ++i)
                    next(i);
            });
            for (uint32_t i = 0; i < m_count; ++i)
                visit(m_entries[positions[i]]);
            return;
        }
        for (uint32_t begin = 0, end = 0; begin < m_count; begin = end) {
            while (end < m_count && marking.bucket(marks()[end]) == marking.bucket(marks()[begin]))
                ++end;
            for (uint32_t i = end; i-- > begin;)
                visit(m_entries[i]);
        }
    }

private:
    static constexpr uint32_t MostEntries = (uint32_t{1} << 25) - 1;

    uint8_t* marks() const noexcept {
        return isLarge() ? reinterpret_cast<uint8_t*>(m_entries + m_capacity)
                         : const_cast<uint8_t*>(m_smallMarks);
    }
    uint32_t lastMark() const noexcept { return m_smallMarks[m_count - 1]; }

    Entry& addToSmall(uint32_t mark) noexcept {
        const uint32_t position = m_count++;
        m_smallMarks[position] = static_cast<uint8_t>(mark);
        return m_entries[position];
    }
    [[gnu::noinline]] Entry& insertIntoLarge(uint32_t position, uint32_t mark) noexcept {
        move(position, position + 1);
        marks()[position] = static_cast<uint8_t>(mark);
        ++m_count;
        return m_entries[position];
    }
    /// Moves the entries from @p from on, with their marks.
    void move(uint32_t from, uint32_t to) noexcept {
        std::memmove(m_entries + to, m_entries + from, (m_count - from) * sizeof(Entry));
        std::memmove(marks() + to, marks() + from, m_count - from);
    }

    /// 2, 4, 8, 16, ... 48, then half as much again.
    /// @throws std::bad_alloc
    uint32_t grownCapacity() const {
        if (m_capacity < 8)
            return std::max(2u * m_capacity, 2u);
        if (m_capacity < SmallGroup)
            return m_capacity + 8;
        if (m_capacity == MostEntries)
            throw std::bad_alloc();
        return std::min<uint32_t>(m_capacity + m_capacity / 2, MostEntries);
    }

    /// Counting sort by bucket; @p enumerate calls its argument with the positions.
    template <class Enumerate>
    Positions sorted(const Marking& marking, Enumerate&& enumerate) const noexcept {
        std::array<uint8_t, Marking::MostBuckets + 1> next{};
        for (uint32_t i = 0; i < m_count; ++i)
            ++next[marking.bucket(m_smallMarks[i]) + 1];
        for (uint32_t i = 1; i < next.size(); ++i)
            next[i] = static_cast<uint8_t>(next[i] + next[i - 1]);
        Positions positions;
        enumerate([&](uint32_t i) {
            positions[next[marking.bucket(m_smallMarks[i])]++] = static_cast<uint8_t>(i);
        });
        return positions;
    }

    /// Where the entries of @p bucket, or else those behind it, begin in a large group.
    uint32_t startOfBucket(const Marking& marking, uint32_t bucket) const noexcept {
        const auto liesBefore = [&](uint8_t some) { return marking.bucket(some) < bucket; };
        return static_cast<uint32_t>(std::partition_point(marks(), marks() + m_count, liesBefore) -
                                     marks());
    }

    // Not part of its caller: that one keeps all it needs in registers without it.
    template <class Matches>
    [[gnu::noinline]] Entry* findInLarge(const Marking& marking, uint32_t mark,
                                         Matches matches) const noexcept {
        const uint8_t* const all = marks();
        for (uint32_t i = startOfBucket(marking, marking.bucket(mark));
             i < m_count && marking.bucket(all[i]) == marking.bucket(mark); ++i) {
            if (all[i] == mark && matches(m_entries[i]))
                return m_entries + i;
        }
        return nullptr;
    }

    Entry* m_entries = nullptr;
    uint32_t m_count = 0;
    uint32_t m_capacity : 25 = 0;
    /// Entries at the front of a small group that stand in their lists the other way round.
    uint32_t m_prepended : 6 = 0;
    /// Set when the entries of a small group do not lie in order.
    bool m_isMixed : 1 = false;
    uint8_t m_smallMarks[SmallGroup] = {};
};

} // namespace qx::collections::detail
