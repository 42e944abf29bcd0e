#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <typeinfo>
#include <utility>

#include <qx/core/CastTo.h>
#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/io/IoException.h>
#include <qx/io/LateFailure.h>
#include <qx/io/MovedLength.h>
#include <qx/platform/export.h>

namespace qx::io {

class InputStream;
class Reader;

namespace detail {

/// True for a file of which a read never waits, so that whoever has something to deliver need not
/// ask first what is available, which takes two calls of the system. At the end the read itself
/// tells that nothing is.
QX_API bool neverWaits(InputStream& in) noexcept;
inline bool neverWaits(Reader&) noexcept { return false; }

} // namespace detail

/// A source read through a buffer, with mark and reset: the common part of BufferedInputStream
/// (signed char) and BufferedReader (char16_t). Counts, positions and limits are in units of
/// @p Unit. Never calls the wrapped source's single read, skip, mark or reset.
///
/// When the wrapped source fails behind units that a call has already read, the call returns with
/// those, and the next one that needs the source raises the failure. Once closed, every operation,
/// a second close included, raises IoException "stream closed".
template <class Base, class Unit>
class BufferedSource : public Base {
public:
    static constexpr int32_t MinimumSize = 16;

    /// @param size  of the buffer in units, raised to MinimumSize
    /// @param open  the class whose objects let single units be taken without a call, null for none
    BufferedSource(Reference<Base> in, int32_t size, const std::type_info* open = nullptr)
        : m_in(required(std::move(in))), m_openClass(open),
          m_size(size > MinimumSize ? size : MinimumSize),
          m_units(std::make_unique_for_overwrite<Unit[]>(static_cast<size_t>(m_size))) {
        m_window.at = m_end = m_units.get();
    }

    using Base::read;
    /// Stops early rather than block when something was read, and reads whole buffers straight into
    /// @p to while no mark needs them.
    int32_t read(Unit* to, int32_t length) override {
        if (0 < length && length <= unreadLength()) {
            take(to, length);
            return length;
        }
        return readSlowly(to, length);
    }
    int read() override { return isExhausted() ? readRefilled() : m_window.take(); }
    int32_t skip(int32_t count) override;
    /// What the wrapped source has available and what is buffered.
    int32_t available() override {
        requireOpen();
        constexpr int32_t Most = std::numeric_limits<int32_t>::max();
        const int32_t behind = m_in->available();
        return behind < Most - unreadLength() ? behind + unreadLength() : Most;
    }
    /// Drops what is buffered and closes the wrapped source. The buffer stays: the source may close
    /// this one while it is reading to it.
    void close() override {
        requireOpen();
        m_size = 0;
        show(m_units.get(), 0);
        m_in->close();
    }
    bool markSupported() override {
        requireOpen();
        return true;
    }
    /// The mark holds until @p readLimit units were read and the source is asked again, be it only
    /// to find the end; a limit beyond the buffer's size makes the buffer grow to it.
    void mark(int32_t readLimit) override {
        requireOpen();
        m_markLimit = readLimit;
        m_markPosition = static_cast<int32_t>(m_window.at - m_units.get());
    }
    /// @throws IoException "mark invalid" for a mark that was lost, "stream not marked" without one
    void reset() override {
        requireOpen();
        if (m_markPosition == MarkInvalid)
            throwIo(u"mark invalid");
        if (m_markPosition == NoMark)
            throwIo(u"stream not marked");
        const Unit* const marked = m_units.get() + m_markPosition;
        if (std::exchange(m_window.at, marked) != marked)
            m_unwanted.reset(); // what it belonged to comes again
    }

    /// Reads @p length units that are all buffered, without a copy: where they are, until the next
    /// operation. Null, with nothing read, when fewer are buffered.
    const Unit* tryTake(int32_t length) noexcept {
        if (length > unreadLength())
            return nullptr;
        const Unit* const units = unread();
        drop(length);
        return units;
    }

protected:
    void requireOpen() const {
        if (m_size == 0)
            throwIo(u"stream closed");
    }
    /// The buffered units; what lies in front of them is taken off by drop.
    const Unit* unread() const noexcept { return m_window.at; }
    int32_t unreadLength() const noexcept { return static_cast<int32_t>(m_end - m_window.at); }
    int32_t unreadUpTo(int32_t wanted) const noexcept {
        return wanted < unreadLength() ? wanted : unreadLength();
    }
    bool isExhausted() const noexcept { return m_window.at == m_end; }
    void drop(int32_t length) noexcept { m_window.at += length; }
    /// Fills the exhausted buffer with one read, behind the units that the mark keeps. False when
    /// nothing came.
    bool refill();
    /// The same for a call that has its result already.
    bool tryRefill() {
        constexpr int32_t Delivered = 1;
        bool isFilled = false;
        m_failure.guard(Delivered, [&] { isFilled = refill(); });
        return isFilled;
    }
    /// After a failed tryRefill: drops @p unit if it comes first once the failure has been raised.
    void dropAfterFailure(Unit unit) noexcept {
        if (m_failure.isKept())
            m_unwanted = unit;
    }

private:
    static constexpr int32_t NoMark = -1;
    static constexpr int32_t MarkInvalid = -2;

    /// Out of line, so that a single read from the buffer needs no stack frame.
    [[gnu::noinline]] int32_t readRefilled() { return refill() ? m_window.take() : -1; }
    int32_t readSlowly(Unit* to, int32_t length);
    int32_t deliver(Unit* to, int32_t length, int32_t& delivered);
    int32_t keepMarked();
    void show(const Unit* units, int32_t count) noexcept;
    void take(Unit* to, int32_t length) noexcept {
        std::memcpy(to, unread(), static_cast<size_t>(length) * sizeof(Unit));
        drop(length);
    }

    using Base::m_window; // begins at the position, whether it is open or not

    Reference<Base> m_in;
    const std::type_info* m_openClass;
    int32_t m_size; // 0 once closed
    std::unique_ptr<Unit[]> m_units;
    const Unit* m_end = nullptr;
    int32_t m_markLimit = 0;
    int32_t m_markPosition = NoMark;
    LateFailure m_failure;
    std::optional<Unit> m_unwanted; // dropped if it is the next unit that comes
};

template <class Base, class Unit>
int32_t BufferedSource<Base, Unit>::readSlowly(Unit* to, int32_t length) {
    requireOpen();
    if (length < 1)
        return 0;
    int32_t delivered = 0;
    int32_t end = -1;
    m_failure.guard(delivered, [&] { end = deliver(to, length, delivered); });
    return delivered > 0 ? delivered : end;
}

/// Reads until @p length units are @p delivered or the source gives no more.
/// @return what a read returns that has delivered nothing
template <class Base, class Unit>
int32_t BufferedSource<Base, Unit>::deliver(Unit* to, int32_t length, int32_t& delivered) {
    for (;;) {
        const int32_t wanted = length - delivered;
        if (isExhausted()) {
            // A mark may be lost by a read that only finds the end.
            const bool isAsked = m_markPosition >= 0 || !detail::neverWaits(*m_in);
            if (delivered > 0 && isAsked && m_in->available() == 0)
                return 0;
            if (wanted >= m_size && m_markPosition < 0 && !m_unwanted) {
                m_failure.raise();
                const int32_t count = checkedMove(m_in->read(to + delivered, wanted), wanted);
                delivered += count > 0 ? count : 0;
                return count;
            }
            if (!refill())
                return -1;
        }
        const int32_t taken = unreadUpTo(wanted);
        take(to + delivered, taken);
        delivered += taken;
        if (delivered == length)
            return 0;
    }
}

template <class Base, class Unit>
int32_t BufferedSource<Base, Unit>::skip(int32_t count) {
    requireOpen();
    int32_t skipped = 0;
    m_failure.guard(skipped, [&] {
        while (skipped < count && (!isExhausted() || refill())) {
            const int32_t dropped = unreadUpTo(count - skipped);
            drop(dropped);
            skipped += dropped;
        }
    });
    return skipped;
}

template <class Base, class Unit>
bool BufferedSource<Base, Unit>::refill() {
    requireOpen();
    m_failure.raise();
    const int32_t start = keepMarked();
    const int32_t room = m_size - start;
    const int32_t count = checkedMove(m_in->read(m_units.get() + start, room), room);
    requireOpen(); // the source may have closed this one
    if (count > 0) {
        show(m_units.get() + start, count);
        if (std::exchange(m_unwanted, std::nullopt) == *unread()) [[unlikely]] {
            drop(1);
            if (m_markPosition == start) // a mark right here was set behind it
                ++m_markPosition;
            return !isExhausted() || refill();
        }
    }
    return !isExhausted();
}

/// Moves the units since the mark to the front of a buffer that has room for the mark's limit. A
/// mark that is out of its limit is lost.
/// @return the number of units kept
template <class Base, class Unit>
int32_t BufferedSource<Base, Unit>::keepMarked() {
    if (m_markPosition < 0)
        return 0;
    const Unit* const marked = m_units.get() + m_markPosition;
    const auto kept = static_cast<int32_t>(m_window.at - marked);
    if (kept >= m_markLimit) {
        m_markPosition = MarkInvalid;
        return 0;
    }
    const auto keptBytes = static_cast<size_t>(kept) * sizeof(Unit);
    if (m_markLimit > m_size) {
        auto larger = std::make_unique_for_overwrite<Unit[]>(static_cast<size_t>(m_markLimit));
        std::memcpy(larger.get(), marked, keptBytes);
        m_units = std::move(larger);
        m_size = m_markLimit;
    } else {
        std::memmove(m_units.get(), marked, keptBytes);
    }
    show(m_units.get() + kept, 0);
    m_markPosition = 0;
    return kept;
}

/// Puts the position in front of @p count buffered units.
template <class Base, class Unit>
void BufferedSource<Base, Unit>::show(const Unit* units, int32_t count) noexcept {
    m_window.at = units;
    m_end = units + count;
    const bool isOpen = m_openClass && m_openClass == qx::detail::typeOf(this);
    m_window.end = isOpen ? m_end : nullptr;
}

} // namespace qx::io
