#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>

#include <qx/io/IoException.h>
#include <qx/io/LateFailure.h>
#include <qx/io/MovedLength.h>

namespace qx::io {

/// Buffer with mark and refill: the engine of BufferedInputStream (signed char) and BufferedReader
/// (char16_t). Counts, positions and limits are in units of @p Unit.
///
/// A source is what has the block read, `int32_t read(Unit* to, int32_t length)`, and
/// `int32_t available()`. When it fails behind units that a call has already read, the call returns
/// with those, and the next one that needs the source raises the failure. Once closed, every member
/// raises IoException "stream closed".
template <class Unit>
class MarkBuffer {
public:
    static constexpr int32_t MinimumSize = 16;

    /// @param size  units per refill, raised to MinimumSize
    explicit MarkBuffer(int32_t size)
        : m_size(std::max(size, MinimumSize)),
          m_units(std::make_unique_for_overwrite<Unit[]>(static_cast<size_t>(m_size))) {}

    /// Next unit zero-extended (0..0xFF, 0..0xFFFF), or -1 at the end of @p source.
    template <class Source>
    int32_t read(Source& source) {
        return isExhausted() ? readRefilled(source) : next();
    }

    /// Reads up to @p length units; 0 for a length below 1, -1 at the end. Stops early rather than
    /// block when something was read, and reads whole buffers straight into @p to while no mark
    /// needs them.
    template <class Source>
    int32_t read(Source& source, Unit* to, int32_t length) {
        if (0 < length && length <= m_count - m_position) {
            take(to, length);
            return length;
        }
        return readSlowly(source, to, length);
    }

    /// Drops up to @p count units by way of the buffer; the number dropped.
    template <class Source>
    int32_t skip(Source& source, int32_t count);

    template <class Source>
    int32_t available(Source& source) {
        requireOpen();
        const int64_t sum = int64_t{source.available()} + (m_count - m_position);
        return static_cast<int32_t>(std::min<int64_t>(sum, std::numeric_limits<int32_t>::max()));
    }

    void mark(int32_t limit) {
        requireOpen();
        m_markLimit = limit;
        m_markPosition = m_position;
    }

    /// Goes back to the mark.
    /// @throws IoException "mark invalid" or "stream not marked"
    void reset() {
        requireOpen();
        if (m_markPosition == MarkInvalid)
            throwIo(u"mark invalid");
        if (m_markPosition == NoMark)
            throwIo(u"stream not marked");
        m_position = m_markPosition;
    }

    /// Frees the buffer.
    void close() {
        requireOpen();
        m_units.reset();
        m_position = m_count = 0;
    }

    void requireOpen() const {
        if (!m_units)
            throwIo(u"stream closed");
    }

    bool isExhausted() const noexcept { return m_position >= m_count; }

    /// Fills the exhausted buffer with one read of @p source, behind the units that the mark keeps.
    /// False when nothing came.
    template <class Source>
    bool refill(Source& source);
    /// The same for a call that has its result already.
    template <class Source>
    bool tryRefill(Source& source) {
        constexpr int32_t Delivered = 1;
        bool isFilled = false;
        m_failure.guard(Delivered, [&] { isFilled = refill(source); });
        return isFilled;
    }

    /// The buffered units; what lies in front of them is taken off by drop.
    const Unit* unread() const noexcept { return m_units.get() + m_position; }
    int32_t unreadLength() const noexcept { return m_count - m_position; }
    void drop(int32_t length) noexcept { m_position += length; }

private:
    static constexpr int32_t NoMark = -1;
    static constexpr int32_t MarkInvalid = -2;

    int32_t next() noexcept {
        return static_cast<std::make_unsigned_t<Unit>>(m_units.get()[m_position++]);
    }
    /// Out of line, so that a single read from the buffer needs no stack frame.
    template <class Source>
    [[gnu::noinline]] int32_t readRefilled(Source& source) {
        return refill(source) ? next() : -1;
    }
    template <class Source>
    int32_t readSlowly(Source& source, Unit* to, int32_t length);
    template <class Source>
    int32_t deliver(Source& source, Unit* to, int32_t length, int32_t& delivered);
    int32_t keepMarked();
    void take(Unit* to, int32_t length) noexcept {
        std::memcpy(to, unread(), static_cast<size_t>(length) * sizeof(Unit));
        drop(length);
    }

    int32_t m_size;
    std::unique_ptr<Unit[]> m_units; // null once closed; position and count are 0 from then on
    int32_t m_position = 0;
    int32_t m_count = 0;
    int32_t m_markLimit = 0;
    int32_t m_markPosition = NoMark;
    LateFailure m_failure;
};

template <class Unit>
template <class Source>
int32_t MarkBuffer<Unit>::readSlowly(Source& source, Unit* to, int32_t length) {
    requireOpen();
    if (length < 1)
        return 0;
    int32_t delivered = 0;
    int32_t end = -1;
    m_failure.guard(delivered, [&] { end = deliver(source, to, length, delivered); });
    return delivered > 0 ? delivered : end;
}

/// Reads until @p length units are @p delivered or the source gives no more; what it said then.
template <class Unit>
template <class Source>
int32_t MarkBuffer<Unit>::deliver(Source& source, Unit* to, int32_t length, int32_t& delivered) {
    for (;;) {
        const int32_t wanted = length - delivered;
        if (isExhausted()) {
            if (delivered > 0 && source.available() == 0)
                return 0;
            if (wanted >= m_size && m_markPosition < 0) {
                m_failure.raise();
                const int32_t count = checkedMove(source.read(to + delivered, wanted), wanted);
                delivered += std::max(count, 0);
                return count;
            }
            if (!refill(source))
                return -1;
        }
        const int32_t taken = std::min(wanted, unreadLength());
        take(to + delivered, taken);
        delivered += taken;
        if (delivered == length)
            return 0;
    }
}

template <class Unit>
template <class Source>
int32_t MarkBuffer<Unit>::skip(Source& source, int32_t count) {
    requireOpen();
    int32_t skipped = 0;
    m_failure.guard(skipped, [&] {
        while (skipped < count && (!isExhausted() || refill(source))) {
            const int32_t dropped = std::min(count - skipped, unreadLength());
            drop(dropped);
            skipped += dropped;
        }
    });
    return skipped;
}

template <class Unit>
template <class Source>
bool MarkBuffer<Unit>::refill(Source& source) {
    requireOpen();
    m_failure.raise();
    const int32_t start = keepMarked();
    const int32_t room = m_size - start;
    const int32_t count = checkedMove(source.read(m_units.get() + start, room), room);
    if (count > 0) {
        m_position = start;
        m_count = start + count;
    }
    return !isExhausted();
}

/// Moves the units since the mark to the front, in a buffer that holds the mark's limit; a mark
/// that is out of its limit is lost. The number of units kept.
template <class Unit>
int32_t MarkBuffer<Unit>::keepMarked() {
    if (m_markPosition < 0)
        return 0;
    const int32_t kept = m_position - m_markPosition;
    if (kept >= m_markLimit) {
        m_markPosition = MarkInvalid;
        return 0;
    }
    const auto keptBytes = static_cast<size_t>(kept) * sizeof(Unit);
    if (m_markLimit > m_size) {
        auto larger = std::make_unique_for_overwrite<Unit[]>(static_cast<size_t>(m_markLimit));
        std::memcpy(larger.get(), m_units.get() + m_markPosition, keptBytes);
        m_units = std::move(larger);
        m_size = m_markLimit;
    } else {
        std::memmove(m_units.get(), m_units.get() + m_markPosition, keptBytes);
    }
    m_position = m_count = kept;
    m_markPosition = 0;
    return kept;
}

} // namespace qx::io
