#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include <qx/core/Reference.h>
#include <qx/log/ILogEntry.h>

namespace qx::log::detail {

using EntryReference = Reference<const ILogEntry>;

/// Entries that are put in by one side, handed over as a whole and then taken out one by one, first
/// in, first out. Nothing is put in between the first and the last taking. Two that are swapped to
/// and fro keep their memory, so that none is allocated in the long run.
class EntryQueue {
public:
    bool isEmpty() const noexcept { return m_entries.empty(); }

    /// @throws std::bad_alloc; then nothing has changed
    void push(EntryReference&& entry) { m_entries.push_back(std::move(entry)); }

    EntryReference pop() noexcept {
        EntryReference entry = std::move(m_entries[m_next++]);
        if (m_next + Ahead < m_entries.size())
            prefetch(m_entries[m_next + Ahead]);
        if (m_next == m_entries.size()) {
            if (m_entries.capacity() > MostKept)
                std::vector<EntryReference>().swap(m_entries);
            m_entries.clear();
            m_next = 0;
        }
        return entry;
    }

    void swap(EntryQueue& other) noexcept {
        m_entries.swap(other.m_entries);
        std::swap(m_next, other.m_next);
    }

private:
    /// A backlog that has gone does not bind its memory for good.
    static constexpr size_t MostKept = 1 << 16;

    /// Entries come from another core: this many are on their way while one is worked on.
    static constexpr size_t Ahead = 1;
    /// The lines of an entry with few fields and a short text.
    static constexpr size_t PrefetchedBytes = 448;

    static void prefetch(const ILogEntry* entry) noexcept {
        const char* const begin = reinterpret_cast<const char*>(entry);
        for (size_t at = 0; at < PrefetchedBytes; at += 64)
            __builtin_prefetch(begin + at, 1);
    }

    std::vector<EntryReference> m_entries;
    size_t m_next = 0;
};

} // namespace qx::log::detail
