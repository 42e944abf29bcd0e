#pragma once

#include <cstdint>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/io/PendingBuffer.h>

namespace qx::io {

/// A sink written through a buffer: the common part of BufferedOutputStream and BufferedWriter.
/// Only flush is sure to pass everything on; close and destruction drop what is pending.
template <class Base, class Unit>
class BufferedSink : public Base {
public:
    BufferedSink(Reference<Base> out, int32_t size)
        : m_out(required(std::move(out))), m_buffer(size) {}

    using Base::write;
    void write(const Unit* from, int32_t length) override { m_buffer.write(*m_out, from, length); }
    void write(Unit unit) override { m_buffer.write(*m_out, unit); }
    /// Writes what is pending and flushes the wrapped sink.
    void flush() override {
        m_buffer.drain(*m_out);
        m_out->flush();
    }
    /// Drops what is pending and closes the wrapped sink. Later writes and flushes raise
    /// IoException "stream closed".
    void close() override {
        m_buffer.close();
        m_out->close();
    }

    /// Room in the buffer for @p length units, which count as written; the caller fills it before
    /// the next operation. Null, with nothing written, when the buffer has less room.
    Unit* tryClaim(int32_t length) noexcept { return m_buffer.tryClaim(length); }

private:
    Reference<Base> m_out;
    PendingBuffer<Unit> m_buffer;
};

} // namespace qx::io
