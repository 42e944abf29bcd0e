#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include <qx/collections/KeyedMap.h>
#include <qx/collections/detail/KeyedGroup.h>
#include <qx/collections/detail/Modulus.h>

namespace qx::collections::detail {

inline bool matches(const IntegerEntry& entry, int32_t, uint32_t hash) noexcept {
    return entry.hash == hash;
}

/// Compares words in registers: with a call of the library's comparison the processor looks up
/// fewer keys at a time.
inline bool equalUnits(const char16_t* left, const char16_t* right, size_t count) noexcept {
    constexpr size_t PerWord = sizeof(uint64_t) / sizeof(char16_t);
    const auto difference = [&](size_t position) noexcept {
        uint64_t words[2];
        std::memcpy(&words[0], left + position, sizeof words[0]);
        std::memcpy(&words[1], right + position, sizeof words[1]);
        return words[0] ^ words[1];
    };
    uint64_t differences = 0;
    if (count < PerWord) {
        for (size_t i = 0; i < count; ++i)
            differences |= static_cast<uint64_t>(left[i] ^ right[i]);
        return differences == 0;
    }
    for (size_t i = 0; i + PerWord < count; i += PerWord)
        differences |= difference(i);
    return (differences | difference(count - PerWord)) == 0;
}

inline bool matches(const TextEntry& entry, std::u16string_view key, uint32_t hash) noexcept {
    return entry.hash == hash && entry.length == key.size() &&
           equalUnits(entry.key().data(), key.data(), key.size());
}

/// The buckets of a keyed map: memory, and entries in their order. What entries own is up to the
/// map. Memory is taken with the first entry.
///
/// One access reaches the group of a bucket, one more the entry: the marks tell which entry it is,
/// or that there is none. The arrays of a table's groups lie in one block, until they outgrow it.
template <class Entry>
class KeyedStorage {
public:
    using Key = typename Entry::Key;
    using Group = KeyedGroup<Entry>;
    static_assert(sizeof(Group) == 64, "a group is one cache line");
    static_assert(64 % sizeof(Entry) == 0, "no entry lies on two cache lines");

    /// Where an entry goes.
    struct Place {
        Group& group;
        uint32_t mark;
    };

    KeyedStorage(int32_t length, float loadFactor) noexcept
        : m_modulus(length), m_marking(loadFactor),
          m_usualCapacity(m_marking.usualCapacity(loadFactor)) {}
    KeyedStorage(const KeyedStorage&) = delete;
    KeyedStorage& operator=(const KeyedStorage&) = delete;
    ~KeyedStorage() {
        for (uint32_t i = 0; i < groupCount(); ++i)
            release(m_groups[i].entries());
    }

    void swap(KeyedStorage& other) noexcept {
        std::swap(m_modulus, other.m_modulus);
        m_groups.swap(other.m_groups);
        m_block.swap(other.m_block);
        std::swap(m_blockEnd, other.m_blockEnd);
    }

    int32_t length() const noexcept { return m_modulus.divisor(); }
    const Marking& marking() const noexcept { return m_marking; }
    /// 0 before the first entry.
    uint32_t groupCount() const noexcept { return m_groups ? m_marking.groups(length()) : 0; }
    const Group& group(uint32_t index) const noexcept { return m_groups[index]; }

    /// Takes the memory that the buckets need.
    /// @throws std::bad_alloc
    void allocate() {
        if (!m_groups) [[unlikely]]
            allocateGroups();
    }
    bool isAllocated() const noexcept { return m_groups != nullptr; }

    /// The storage must be allocated.
    Place placeOf(uint32_t hash) const noexcept {
        const uint32_t bucket = m_modulus(hash);
        return {m_groups[m_marking.group(bucket)], m_marking.mark(bucket, hash)};
    }

    /// Fetches the memory that an entry with @p hash will be written to. Counting a reference waits
    /// for earlier writes: what is written to is better near by then.
    void fetchFor(uint32_t hash) const noexcept {
        if (m_groups)
            placeOf(hash).group.fetchEnd();
    }

    Entry* find(const Place& place, Key key, uint32_t hash) const noexcept {
        // By value, so that the key stays in registers.
        return place.group.find(m_marking, place.mark, [key, hash](const Entry& entry) noexcept {
            return matches(entry, key, hash);
        });
    }

    /// Room for one more entry.
    /// @throws std::bad_alloc
    void makeRoom(const Place& place) {
        if (place.group.isFull()) [[unlikely]]
            release(place.group.grow(m_marking));
    }

    /// The place in memory, for the caller to write to. There must be room.
    Entry& append(const Place& place) noexcept { return place.group.append(m_marking, place.mark); }

    /// Takes the entry out that find has found.
    Entry take(Entry* entry) noexcept {
        const Entry taken = *entry;
        Group& group = placeOf(entry->hash).group;
        group.removeAt(static_cast<uint32_t>(entry - group.entries()));
        if (group.count() == 0 && !isInBlock(group.entries()))
            release(group.releaseArray());
        return taken;
    }

    /// Enters the entries of @p other, which keeps them, into this empty storage as if they were
    /// appended from the last bucket down to the first, in each from the first of the list on.
    /// @throws std::bad_alloc
    void fill(const KeyedStorage& other) {
        allocate();
        // The other way round, and in front of each other: memory is faster upwards.
        const Marking marking = m_marking;
        const Modulus modulus = m_modulus;
        const uint32_t count = other.groupCount();
        for (uint32_t i = 0; i < count; ++i) {
            if (i + Ahead < count)
                prefetch(other.m_groups[i + Ahead]);
            other.m_groups[i].forEachListFromBehind(marking, [&](const Entry& entry) {
                const uint32_t bucket = modulus(entry.hash);
                Group& group = m_groups[marking.group(bucket)];
                if (group.isFull()) [[unlikely]] {
                    group.closeFront(); // so that it knows the order if it becomes a large one
                    release(group.grow(marking));
                }
                group.prepend(marking, marking.mark(bucket, entry.hash)) = entry;
            });
        }
        for (uint32_t i = 0; i < groupCount(); ++i)
            m_groups[i].closeFront();
    }

    /// Fetches the entries of a group that will soon be visited.
    static void prefetch(const Group& group) noexcept {
        const char* const begin = reinterpret_cast<const char*>(group.entries());
        for (size_t line = 0; line < sizeof(Entry) * group.count() && line < 2048; line += 64)
            __builtin_prefetch(begin + line);
    }

    static constexpr uint32_t Ahead = 2;

private:
    struct Release {
        void operator()(void* lines) const noexcept { releaseLines(lines); }
    };

    void allocateGroups() {
        const size_t count = m_marking.groups(length());
        std::unique_ptr<Group[], Release> groups(allocateLines<Group>(count));
        std::uninitialized_value_construct_n(groups.get(), count);
        if (count >= LeastInBlock && m_usualCapacity > 0) {
            m_block.reset(allocateLines<Entry>(count * m_usualCapacity));
            m_blockEnd = m_block.get();
            for (size_t i = 0; i < count; ++i) {
                groups[i].setArray(m_blockEnd, m_usualCapacity);
                m_blockEnd += m_usualCapacity;
            }
        }
        m_groups = std::move(groups);
    }

    bool isInBlock(const Entry* entries) const noexcept {
        return !std::less<>()(entries, m_block.get()) && std::less<>()(entries, m_blockEnd);
    }
    void release(Entry* entries) const noexcept {
        if (!isInBlock(entries))
            releaseLines(entries);
    }

    /// Groups from which on a common block serves them: the default table has fewer.
    static constexpr size_t LeastInBlock = 5;

    Modulus m_modulus;
    Marking m_marking;
    uint32_t m_usualCapacity;
    std::unique_ptr<Group[], Release> m_groups;
    std::unique_ptr<Entry[], Release> m_block;
    Entry* m_blockEnd = nullptr;
};

} // namespace qx::collections::detail
