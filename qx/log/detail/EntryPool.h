#pragma once

#include <atomic>
#include <cstdint>

#include <qx/core/Reference.h>

namespace qx::log {

class LogEntry;

namespace detail {

/// Keeps entries that are no longer used, so that new ones seldom need memory. A logging thread
/// takes them from its shelf. Whoever drops an entry, most often the thread that has written it,
/// gives it back to the shelf that it is from.
///
/// Neither side waits for the other. A shelf has a list that one taker at a time takes from, and
/// one to which givers push. When the first is empty the taker takes over the second as a whole, so
/// that no entry can be pushed again while a taker looks at it. Every shelf keeps a limited number
/// of entries, which already have the count of 1 that the next reference to them stands for.
class EntryPool {
public:
    /// An entry without fields.
    /// @throws std::bad_alloc
    static Reference<LogEntry> take();
    /// Takes back an entry without fields and with a count of 1 that nobody references.
    static void give(LogEntry* entry) noexcept;

private:
    struct Closer;
    struct Shelf;

    static constexpr uint32_t ShelfCount = 8;
    /// Entries that lie on a shelf at most, in each of its lists.
    static constexpr uint32_t MostEntries = 2048;

    static LogEntry* takeFrom(Shelf& shelf) noexcept;
    static void destroy(LogEntry* entry) noexcept;
    static void destroyList(LogEntry* entry) noexcept;
    static void close() noexcept;

    static Shelf s_shelves[ShelfCount];
    static std::atomic<uint32_t> s_nextShelf;
    static std::atomic<bool> s_isClosed;
    static Closer s_closer;
};

} // namespace detail
} // namespace qx::log
