#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/detail/Record.h>

namespace qx::log::detail {

using EntryReference = Reference<const ILogEntry>;

/// What was first in a queue: an entry, or a record with the texts.
class QueuedEntry {
public:
    /// The entry; null for a record.
    const ILogEntry* entry() const noexcept { return m_entry; }
    const Record& record() const noexcept { return m_record.record(); }
    /// Drops the entry.
    void clear() noexcept { m_entry.reset(); }

private:
    friend class RecordQueue;

    EntryReference m_entry;
    KeptRecord m_record;
};

/// Entries and records that are put in by one side, handed over as a whole and then taken out one
/// by one, first in, first out. Nothing is put in between the first and the last taking. Two that
/// are swapped to and fro keep their memory, so that none is allocated in the long run.
///
/// They lie one behind the other in chunks: entries as references, records with their arguments and
/// texts.
class RecordQueue {
public:
    RecordQueue() = default;
    ~RecordQueue();
    RecordQueue(const RecordQueue&) = delete;
    RecordQueue& operator=(const RecordQueue&) = delete;

    bool isEmpty() const noexcept { return !m_first; }

    /// @throws std::bad_alloc; then nothing has changed
    void push(EntryReference&& entry);
    /// Copies what the record, which fits a KeptRecord, refers to.
    /// @throws std::bad_alloc; then nothing has changed
    void push(const Record& record);

    /// Takes the first one out of a queue that is not empty.
    void pop(QueuedEntry& taken) noexcept;

    void swap(RecordQueue& other) noexcept {
        std::swap(m_first, other.m_first);
        std::swap(m_last, other.m_last);
        std::swap(m_spare, other.m_spare);
        std::swap(m_spareCount, other.m_spareCount);
    }

private:
    struct Chunk;
    struct Item;

    /// A backlog that has gone does not bind its memory for good.
    static constexpr uint32_t MostSpares = 8;

    Item* append(size_t bytes);
    void dropFirst() noexcept;

    Chunk* m_first = nullptr; // each has something left to take
    Chunk* m_last = nullptr;
    Chunk* m_spare = nullptr;
    uint32_t m_spareCount = 0;
};

} // namespace qx::log::detail
