#include "qx/log/detail/EntryPool.h"

#include <new>
#include <utility>

#include <qx/log/LogEntry.h>

namespace qx::log::detail {

namespace {

/// Number of the calling thread's shelf plus 1.
constinit thread_local uint32_t t_shelf = 0;

} // namespace

struct EntryPool::Shelf {
    alignas(64) std::atomic<bool> isTaking{false};
    LogEntry* ready = nullptr;
    /// On a line of its own: the takers' line does not move while entries come back.
    alignas(64) std::atomic<LogEntry*> returned{nullptr};
    std::atomic<uint32_t> returnedCount{0};
};

/// Frees what lies in the pool when the library goes. From then on, which other threads and static
/// objects may well live to see, entries come from the heap and go there.
struct EntryPool::Closer {
    ~Closer() { close(); }
};

constinit EntryPool::Shelf EntryPool::s_shelves[ShelfCount];
constinit std::atomic<uint32_t> EntryPool::s_nextShelf{0};
constinit std::atomic<bool> EntryPool::s_isClosed{false};
constinit EntryPool::Closer EntryPool::s_closer;

Reference<LogEntry> EntryPool::take() {
    if (t_shelf == 0) [[unlikely]]
        t_shelf = s_nextShelf.fetch_add(1, std::memory_order_relaxed) % ShelfCount + 1;
    const uint32_t number = t_shelf - 1;
    LogEntry* entry = takeFrom(s_shelves[number]);
    if (!entry) {
        // Not through the operator of the class: its objects end in operator delete.
        entry = ::new (::operator new(sizeof(LogEntry))) LogEntry;
        entry->m_shelf = number;
        entry->InternalAddRef();
    }
    return Reference<LogEntry>::attach(entry);
}

LogEntry* EntryPool::takeFrom(Shelf& shelf) noexcept {
    if (shelf.isTaking.exchange(true, std::memory_order_acquire))
        return nullptr; // another thread with the same shelf, which is not worth waiting for
    LogEntry* entry = shelf.ready;
    if (!entry && shelf.returned.load(std::memory_order_relaxed)) {
        shelf.returnedCount.store(0, std::memory_order_relaxed);
        entry = shelf.returned.exchange(nullptr, std::memory_order_acquire);
    }
    if (entry)
        shelf.ready = std::exchange(entry->m_next, nullptr);
    shelf.isTaking.store(false, std::memory_order_release);
    return entry;
}

void EntryPool::give(LogEntry* entry) noexcept {
    Shelf& shelf = s_shelves[entry->m_shelf];
    const uint32_t count = shelf.returnedCount.load(std::memory_order_relaxed);
    if (count >= MostEntries || s_isClosed.load(std::memory_order_relaxed)) {
        destroy(entry);
        return;
    }
    // Of two at once one may not be counted: it is a bound, which need not be met exactly.
    shelf.returnedCount.store(count + 1, std::memory_order_relaxed);
    LogEntry* first = shelf.returned.load(std::memory_order_relaxed);
    do {
        entry->m_next = first;
    } while (!shelf.returned.compare_exchange_weak(first, entry, std::memory_order_release,
                                                   std::memory_order_relaxed));
}

void EntryPool::destroy(LogEntry* entry) noexcept {
    entry->~LogEntry();
    ::operator delete(entry);
}

void EntryPool::destroyList(LogEntry* entry) noexcept {
    while (entry)
        destroy(std::exchange(entry, entry->m_next));
}

void EntryPool::close() noexcept {
    s_isClosed.store(true, std::memory_order_relaxed);
    for (Shelf& shelf : s_shelves) {
        destroyList(shelf.returned.exchange(nullptr, std::memory_order_acquire));
        // A thread that is taking an entry now may still be looking at the list: it keeps it.
        if (!shelf.isTaking.exchange(true, std::memory_order_acquire)) {
            destroyList(std::exchange(shelf.ready, nullptr));
            shelf.isTaking.store(false, std::memory_order_release);
        }
    }
}

} // namespace qx::log::detail
