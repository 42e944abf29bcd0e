#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include <qx/core/Object.h>
#include <qx/platform/export.h>

namespace qx::collections {

namespace detail {

template <class Entry>
class KeyedTable;

}

/// What a map stores for a 32-bit key, which is its own hash.
struct QX_API IntegerEntry {
    using Key = int32_t;

    Object* value;
    uint32_t hash;

    Key key() const noexcept { return static_cast<Key>(hash); }
};

/// What a map stores for a text: one cache line. A short text lies in the entry, a longer one in an
/// array of its own.
struct QX_API TextEntry {
    using Key = std::u16string_view;
    static constexpr uint32_t InlineUnits = 24;

    Object* value;
    uint32_t hash;
    uint32_t length;
    union {
        char16_t inlineText[InlineUnits];
        const char16_t* text;
    };

    Key key() const noexcept { return {length > InlineUnits ? text : inlineText, length}; }
};

template <class Entry>
class KeyedIterator;

/// One walk over the entries of a keyed map, bucket by bucket from 0 up and in each from the oldest
/// entry to the newest.
template <class Entry>
class QX_API KeyedWalk {
public:
    explicit KeyedWalk(const detail::KeyedTable<Entry>& table) noexcept;

    /// Calls @p visit (key, pointer to the value) for every entry.
    /// @throws Exception when the visit has put a new key, removed one or cleared the map
    template <class Visitor>
    void run(Visitor&& visit) {
        while (nextEntries()) {
            // Copies: the compiler cannot know that the visit leaves the members alone.
            const Entry* const entries = m_entries;
            const uint32_t count = m_count;
            if (m_isInOrder) {
                for (uint32_t i = 0; i < count; ++i)
                    this->visit(entries[i], visit);
            } else {
                for (uint32_t i = 0; i < count; ++i)
                    this->visit(entries[m_order[i]], visit);
            }
        }
    }

private:
    friend class KeyedIterator<Entry>;

    /// As many as are put in order at once.
    static constexpr uint32_t Most = 48;

    template <class Visitor>
    void visit(const Entry& entry, Visitor& visitor) {
        visitor(entry.key(), entry.value);
        checkUnchanged();
    }
    void checkUnchanged() const {
        if (*m_changes != m_expectedChanges) [[unlikely]]
            throwChanged();
    }
    /// Goes on to the next entries; false behind the last.
    bool nextEntries() noexcept;
    [[noreturn]] static void throwChanged();

    const detail::KeyedTable<Entry>* m_table;
    const uint32_t* m_changes;
    uint32_t m_expectedChanges;
    uint32_t m_group = 0;
    uint32_t m_first = 0;
    const Entry* m_entries = nullptr;
    uint32_t m_count = 0;
    bool m_isInOrder = true;
    /// Where the entries lie, unless they lie in order.
    std::array<uint8_t, Most> m_order;
};

/// The same walk as an input iterator of pairs of the key and a pointer to the value. ++ throws an
/// Exception when a new key was put, one removed or the map cleared meanwhile.
template <class Entry>
class KeyedIterator {
public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = std::pair<typename Entry::Key, Object*>;
    using difference_type = std::ptrdiff_t;

    explicit KeyedIterator(const detail::KeyedTable<Entry>& table) : m_walk(table) { fetch(); }

    const value_type& operator*() const noexcept { return m_value; }
    KeyedIterator& operator++() {
        m_walk.checkUnchanged();
        if (++m_index == m_walk.m_count)
            fetch();
        else
            show();
        return *this;
    }
    void operator++(int) { ++*this; }

    friend bool operator==(const KeyedIterator& iterator, std::default_sentinel_t) noexcept {
        return iterator.m_isAtEnd;
    }

private:
    void fetch() {
        m_index = 0;
        m_isAtEnd = !m_walk.nextEntries();
        if (!m_isAtEnd)
            show();
    }
    void show() noexcept {
        const uint32_t place = m_walk.m_isInOrder ? m_index : m_walk.m_order[m_index];
        const Entry& entry = m_walk.m_entries[place];
        m_value = {entry.key(), entry.value};
    }

    KeyedWalk<Entry> m_walk;
    value_type m_value{};
    uint32_t m_index = 0;
    bool m_isAtEnd = false;
};

/// What IntegerHashMap and StringHashMap have in common: a hash table of references to objects,
/// where null is a value.
///
/// The bucket of a key is its hash modulo the number of buckets; a new entry goes to the end of its
/// bucket. When as many entries as buckets times load factor are there, the next new key makes the
/// table grow to 2 n + 1 buckets; it never shrinks. Looking up, putting and removing take constant
/// time on average. Memory for the buckets is taken with the first entry.
///
/// A map is for one thread at a time. Its values may use it while they are destroyed.
template <class Entry>
class QX_API KeyedMap : public Object {
public:
    static constexpr int DEFAULT_CAPACITY = 101;
    static constexpr float DEFAULT_LOAD = 0.75f;

    KeyedMap(const KeyedMap&) = delete;
    KeyedMap& operator=(const KeyedMap&) = delete;

    /// Number of buckets.
    int getCapacity() const noexcept;

    /// Calls @p visit (key, pointer to the value) for every entry, bucket by bucket from 0 up and
    /// in each from the oldest entry to the newest. The map keeps key and value.
    /// @throws Exception when the visit has put a new key, removed one or cleared the map
    template <class Visitor>
    void forEach(Visitor&& visit) const {
        KeyedWalk<Entry>(*m_table).run(std::forward<Visitor>(visit));
    }

    /// An input range of the entries in that order, each a pair of the key and a pointer to the
    /// value. Moving on throws what forEach throws.
    KeyedIterator<Entry> begin() const { return KeyedIterator<Entry>(*m_table); }
    std::default_sentinel_t end() const noexcept { return {}; }

protected:
    /// @throws RangeErrorException when either is out of range
    KeyedMap(int capacity, float loadFactor);
    ~KeyedMap() override;

    detail::KeyedTable<Entry>& table() const noexcept { return *m_table; }

private:
    const std::unique_ptr<detail::KeyedTable<Entry>> m_table;
};

extern template class KeyedWalk<IntegerEntry>;
extern template class KeyedWalk<TextEntry>;
extern template class KeyedMap<IntegerEntry>;
extern template class KeyedMap<TextEntry>;

} // namespace qx::collections
