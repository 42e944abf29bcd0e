#pragma once

#include <cstdint>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>
#include <qx/io/MarkBuffer.h>

namespace qx::io {

/// A source read through a buffer, with mark and reset: the common part of BufferedInputStream and
/// BufferedReader. Never calls the wrapped source's single read, skip, mark or reset.
template <class Base, class Unit>
class BufferedSource : public Base {
public:
    BufferedSource(Reference<Base> in, int32_t size)
        : m_in(required(std::move(in))), m_buffer(size) {}

    using Base::read;
    int32_t read(Unit* to, int32_t length) override { return m_buffer.read(*m_in, to, length); }
    int read() override { return m_buffer.read(*m_in); }
    int32_t skip(int32_t count) override { return m_buffer.skip(*m_in, count); }
    /// What the wrapped source has available and what is buffered.
    int32_t available() override { return m_buffer.available(*m_in); }
    /// Frees the buffer and closes the wrapped source. Every later operation, a second close
    /// included, raises IoException "stream closed".
    void close() override {
        m_buffer.close();
        m_in->close();
    }
    bool markSupported() override {
        m_buffer.requireOpen();
        return true;
    }
    /// The mark holds until more than @p readLimit units were read and the buffer has to be filled
    /// again; a limit beyond the buffer's size makes the buffer grow to it.
    void mark(int32_t readLimit) override { m_buffer.mark(readLimit); }
    void reset() override { m_buffer.reset(); }

    /// Reads @p length units that are all buffered, without a copy: where they are, until the next
    /// operation. Null, with nothing read, when fewer are buffered.
    const Unit* tryTake(int32_t length) noexcept {
        if (length > m_buffer.unreadLength())
            return nullptr;
        const Unit* const units = m_buffer.unread();
        m_buffer.drop(length);
        return units;
    }

protected:
    Base& wrapped() const noexcept { return *m_in; }
    MarkBuffer<Unit>& buffer() noexcept { return m_buffer; }

private:
    Reference<Base> m_in;
    MarkBuffer<Unit> m_buffer;
};

} // namespace qx::io
