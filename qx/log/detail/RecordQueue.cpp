#include "qx/log/detail/RecordQueue.h"

#include <memory>
#include <new>

namespace qx::log::detail {

/// What lies in a chunk. The arguments and texts of a record follow it.
struct RecordQueue::Item {
    EntryReference entry; // null for a record
    Record record;
    size_t size = 0; // with all that belongs to it

    FormatArgument* arguments() noexcept { return reinterpret_cast<FormatArgument*>(this + 1); }

    static constexpr size_t sizeFor(size_t arguments, size_t units) noexcept {
        const size_t bytes =
            sizeof(Item) + arguments * sizeof(FormatArgument) + units * sizeof(char16_t);
        return (bytes + alignof(Item) - 1) / alignof(Item) * alignof(Item);
    }
};

struct RecordQueue::Chunk {
    static constexpr size_t Bytes = 1 << 18;

    Chunk* next = nullptr;
    size_t taken = 0;
    size_t used = 0;
    alignas(Item) std::byte items[Bytes - 3 * sizeof(void*)];

    Item* at(size_t place) noexcept { return reinterpret_cast<Item*>(items + place); }
};

RecordQueue::~RecordQueue() {
    while (!isEmpty())
        dropFirst();
    while (m_spare)
        delete std::exchange(m_spare, m_spare->next);
}

/// Makes an item at the end.
RecordQueue::Item* RecordQueue::append(size_t bytes) {
    if (!m_last || sizeof(m_last->items) - m_last->used < bytes) [[unlikely]] {
        Chunk* chunk = m_spare;
        if (chunk) {
            m_spare = chunk->next;
            --m_spareCount;
            chunk->next = nullptr;
            chunk->taken = chunk->used = 0;
        } else {
            chunk = new Chunk; // its items come to be one by one
        }
        (m_last ? m_last->next : m_first) = chunk;
        m_last = chunk;
    }
    Item* const item = new (m_last->at(m_last->used)) Item;
    m_last->used += bytes;
    item->size = bytes;
    return item;
}

void RecordQueue::push(EntryReference&& entry) {
    append(Item::sizeFor(0, 0))->entry = std::move(entry);
}

void RecordQueue::push(const Record& record) {
    Item& item = *append(Item::sizeFor(record.argumentCount, KeptRecord::unitsOf(record)));
    FormatArgument* const arguments = item.arguments();
    item.record = KeptRecord::copyOf(record, arguments,
                                     reinterpret_cast<char16_t*>(arguments + record.argumentCount));
}

void RecordQueue::pop(QueuedEntry& taken) noexcept {
    Item& item = *m_first->at(m_first->taken);
    taken.m_entry = std::move(item.entry);
    if (!taken.m_entry)
        taken.m_record.keep(item.record);
    dropFirst();
}

void RecordQueue::dropFirst() noexcept {
    Chunk* const chunk = m_first;
    Item* const item = chunk->at(chunk->taken);
    chunk->taken += item->size;
    std::destroy_at(item);
    if (chunk->taken < chunk->used) [[likely]]
        return;
    m_first = chunk->next;
    if (!m_first)
        m_last = nullptr;
    if (m_spareCount == MostSpares) {
        delete chunk;
        return;
    }
    chunk->next = std::exchange(m_spare, chunk);
    ++m_spareCount;
}

} // namespace qx::log::detail
