#pragma once

#include <atomic>
#include <cstdint>

#include <qx/core/Reference.h>

namespace qx::log {

class LogEntry;

namespace detail {

/// Entries that have gone, for those to come. Logging threads take from shelves of their own, to
/// which whoever drops an entry, most often the thread that has written it, gives it back.
///
/// Neither side waits for the other: a shelf is a list that one taker at a time takes from, and one
/// to which givers push and which the taker takes over as a whole (so that no entry can be pushed
/// again while a taker looks at it). Every shelf keeps a limited number of entries, each of which
/// has a count of 1: that of the reference to come.
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
