#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <qx/util/config/detail/IniCaseless.h>

namespace qx::util::detail {

/// A name as it was first written, and the lower-case form by which it is found and ordered.
struct IniName {
    std::u16string_view text;
    std::u16string_view folded;
    uint32_t hash = 0;
    /// What the text was read from, when it could not be decoded whole; else empty.
    std::string_view bytes = {};
};

/// The names of entries, each as a @p Name.
template <class Name, class Entry>
std::vector<Name> namesOf(std::span<Entry* const> entries) {
    std::vector<Name> names;
    names.reserve(entries.size());
    for (const Entry* const entry : entries)
        names.emplace_back(entry->text);
    return names;
}

/// Finds entries, which derive from IniName and are owned by somebody else, by name in constant
/// time, and lists them in order. Names that arrive in order, as those of a file that was written
/// before, are not sorted again.
template <class Entry>
class IniIndex {
public:
    Entry* find(const FoldedText& name) const noexcept {
        if (m_table.empty())
            return nullptr;
        for (size_t slot = name.hash() & m_mask;; slot = (slot + 1) & m_mask) {
            Entry* const entry = m_table[slot];
            if (!entry || (entry->hash == name.hash() && hasSameUnits(entry->folded, name.text())))
                return entry;
        }
    }

    /// Adds an entry whose name is not there.
    void add(Entry* entry) {
        if (m_entries.size() * 2 >= m_table.size()) {
            std::vector<Entry*> table(std::max<size_t>(m_table.size() * 2, 8));
            enterAllInto(table);
        }
        const bool isLast = m_entries.empty() || precedes(m_entries.back(), entry);
        if (m_isSorted && !isLast && m_keepsOrder)
            m_entries.insert(std::ranges::upper_bound(m_entries, entry, precedes), entry);
        else
            m_entries.push_back(entry);
        m_isSorted = m_isSorted && (isLast || m_keepsOrder);
        enter(entry);
    }

    template <class Predicate>
    void removeIf(Predicate predicate) {
        std::vector<Entry*> table(m_table.size());
        std::erase_if(m_entries, predicate);
        enterAllInto(table);
    }

    /// Sorts what was added; from then on additions go to their place.
    void sort() {
        if (!m_isSorted)
            std::ranges::sort(m_entries, precedes);
        m_isSorted = m_keepsOrder = true;
    }

    size_t size() const noexcept { return m_entries.size(); }
    /// All entries, in the order of their names once they were sorted.
    std::span<Entry* const> entries() const noexcept { return m_entries; }

private:
    static bool precedes(const Entry* left, const Entry* right) noexcept {
        return detail::precedes(left->folded, right->folded);
    }

    void enter(Entry* entry) noexcept {
        size_t slot = entry->hash & m_mask;
        while (m_table[slot])
            slot = (slot + 1) & m_mask;
        m_table[slot] = entry;
    }

    void enterAllInto(std::vector<Entry*>& table) noexcept {
        m_table.swap(table);
        m_mask = m_table.size() - 1;
        for (Entry* const entry : m_entries)
            enter(entry);
    }

    std::vector<Entry*> m_entries;
    std::vector<Entry*> m_table; ///< open addressing, at most half full, a power of two
    size_t m_mask = 0;
    bool m_isSorted = true;
    bool m_keepsOrder = false;
};

} // namespace qx::util::detail
