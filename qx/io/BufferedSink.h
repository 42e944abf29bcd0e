#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/io/EarlierText.h>
#include <qx/io/IoException.h>

namespace qx::io {

/// A sink written through a buffer: the common part of BufferedOutputStream (signed char) and
/// BufferedWriter (char16_t). Counts are in units of @p Unit.
///
/// Only flush is sure to pass everything on; close and destruction drop what is pending.
///
/// When the wrapped sink throws, the units stay pending and are written again by the next attempt.
/// Text that its encoding does not have would be refused each time, so that is dropped instead. The
/// refusal is then thrown with the mark of EarlierText, which tells another buffer in front of this
/// one that its own units have not been written yet.
///
/// While it takes the buffer, the wrapped sink may itself write here. What it writes is passed on
/// behind that buffer.
template <class Base, class Unit>
class BufferedSink : public Base {
public:
    static constexpr int32_t MinimumSize = 16;

    /// @param size  of the buffer in units, raised to MinimumSize
    BufferedSink(Reference<Base> out, int32_t size)
        : m_out(required(std::move(out))), m_size(size > MinimumSize ? size : MinimumSize),
          m_units(std::make_unique_for_overwrite<Unit[]>(static_cast<size_t>(m_size))) {}

    using Base::write;
    /// Units that fill a whole buffer pass straight through, behind what is pending.
    void write(const Unit* from, int32_t length) override {
        requireOpen();
        if (length >= m_size && m_pass == Pass::None) {
            drain();
            m_out->write(from, length);
            return;
        }
        if (length <= 0)
            return;
        while (length > m_size - m_count)
            [[unlikely]] drain();
        std::memcpy(m_units.get() + m_count, from, static_cast<size_t>(length) * sizeof(Unit));
        m_count += length;
    }
    void write(Unit unit) override {
        if (m_count >= m_size) [[unlikely]]
            drain();
        m_units.get()[m_count++] = unit;
    }
    /// Writes what is pending, in one call, and flushes the wrapped sink.
    void flush() override {
        if (m_pass != Pass::None)
            return requireOpen(); // whoever passes the buffer on goes on with what is behind it
        drain();
        m_out->flush();
    }
    /// Drops what is pending and closes the wrapped sink. Later writes and flushes raise
    /// IoException "stream closed".
    void close() override {
        m_size = m_count = 0; // the buffer stays: the sink may do this while it is taking it
        m_out->close();
    }

    /// Room in the buffer for @p length units, which count as written; the caller fills it before
    /// the next operation. Null, with nothing written, when the buffer has less room.
    Unit* tryClaim(int32_t length) noexcept {
        if (length > m_size - m_count)
            return nullptr;
        Unit* const units = m_units.get() + m_count;
        m_count += length;
        return units;
    }

private:
    void requireOpen() const {
        if (m_size == 0)
            throwIo(u"stream closed");
    }
    /// Passes on what is pending; makes room behind it while the sink is taking it. Out of line, so
    /// that a single write to the buffer stays small.
    [[gnu::noinline]] void drain() {
        requireOpen();
        if (m_pass != Pass::None)
            return makeRoom();
        while (m_count > 0) {
            Unit* const passed = m_units.get();
            const int32_t length = m_count;
            int32_t dropped = 0; // after a failure
            m_pass = Pass::InPlace;
            try {
                writeEarlierText([&] { m_out->write(passed, length); }, [&] { dropped = length; });
            } catch (...) {
                endPass(passed, dropped);
                throw;
            }
            endPass(passed, length);
            requireOpen(); // the wrapped sink may have closed this one
        }
    }
    /// Takes a larger buffer. The sink goes on reading the one that it was given.
    void makeRoom() {
        if (m_size > INT32_MAX / 2)
            throw std::bad_alloc();
        auto larger = std::make_unique_for_overwrite<Unit[]>(static_cast<size_t>(m_size) * 2);
        std::memcpy(larger.get(), m_units.get(), static_cast<size_t>(m_count) * sizeof(Unit));
        m_units.swap(larger);
        m_size *= 2;
        if (m_pass == Pass::InPlace) {
            static_cast<void>(larger.release());
            m_pass = Pass::Moved;
        }
    }
    /// Drops so many of the units that the sink was given.
    void endPass(Unit* passed, int32_t length) noexcept {
        const std::unique_ptr<Unit[]> left(
            std::exchange(m_pass, Pass::None) == Pass::Moved ? passed : nullptr);
        if (m_size == 0) // closed meanwhile
            return;
        m_count -= length;
        std::memmove(m_units.get(), m_units.get() + length,
                     static_cast<size_t>(m_count) * sizeof(Unit));
    }

    /// What the sink is taking: nothing, the front of the buffer, or that of an earlier buffer.
    enum class Pass : uint8_t { None, InPlace, Moved };

    Reference<Base> m_out;
    int32_t m_size; // 0 once closed, so that a single write looks no further than here
    Pass m_pass = Pass::None;
    std::unique_ptr<Unit[]> m_units;
    int32_t m_count = 0;
};

} // namespace qx::io
