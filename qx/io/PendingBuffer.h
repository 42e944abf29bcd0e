#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include <qx/io/IoException.h>

namespace qx::io {

/// Buffer of units that wait to be written: the engine of BufferedOutputStream (signed char) and
/// BufferedWriter (char16_t). Counts are in units of @p Unit.
///
/// A sink is what has the block write, `void write(const Unit* from, int32_t length)`. When it
/// throws, the units stay pending. Once closed, writing raises IoException "stream closed".
template <class Unit>
class PendingBuffer {
public:
    static constexpr int32_t MinimumSize = 16;

    /// @param size  capacity in units, raised to MinimumSize
    explicit PendingBuffer(int32_t size)
        : m_size(std::max(size, MinimumSize)),
          m_units(std::make_unique_for_overwrite<Unit[]>(static_cast<size_t>(m_size))) {}

    template <class Sink>
    void write(Sink& sink, Unit unit) {
        if (m_count >= m_size) [[unlikely]]
            drain(sink);
        m_units.get()[m_count++] = unit;
    }

    /// Units that fill a whole buffer pass straight through, behind what is pending.
    template <class Sink>
    void write(Sink& sink, const Unit* from, int32_t length) {
        requireOpen();
        if (length >= m_size) {
            drain(sink);
            sink.write(from, length);
            return;
        }
        if (length <= 0)
            return;
        if (length > m_size - m_count)
            drain(sink);
        std::memcpy(m_units.get() + m_count, from, static_cast<size_t>(length) * sizeof(Unit));
        m_count += length;
    }

    /// Adds @p length pending units, for the caller to write; null when there is no room for them.
    Unit* tryClaim(int32_t length) noexcept {
        if (length > m_size - m_count)
            return nullptr;
        Unit* const units = m_units.get() + m_count;
        m_count += length;
        return units;
    }

    /// Writes the pending units, if any, to @p sink in one call. Out of line, so that a single
    /// write to the buffer stays small.
    template <class Sink>
    [[gnu::noinline]] void drain(Sink& sink) {
        requireOpen();
        if (m_count == 0)
            return;
        sink.write(m_units.get(), m_count);
        m_count = 0;
    }

    /// Frees the buffer with what is pending.
    void close() noexcept {
        m_units.reset();
        m_size = m_count = 0;
    }

private:
    void requireOpen() const {
        if (!m_units)
            throwIo(u"stream closed");
    }

    int32_t m_size; // 0 once closed, so that a single write looks no further than here
    std::unique_ptr<Unit[]> m_units;
    int32_t m_count = 0;
};

} // namespace qx::io
