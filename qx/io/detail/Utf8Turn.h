#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <qx/io/HeldFlushWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/text/charset/UTF8.h>

namespace qx::io::detail {

/// The writers behind which text in UTF-8 may be put right into the buffer of bytes: an
/// OutputStreamWriter, alone or with a HeldFlushWriter in front of it.
struct Utf8Writers {
    HeldFlushWriter* held = nullptr;
    OutputStreamWriter* out = nullptr; // null: none of this applies

    /// Null pointers unless the classes are exactly these: a derived one may see every call.
    static Utf8Writers behind(Writer& writer) noexcept;
};

/// Writes a text and flushes, as a call of write and one of flush of the first of the writers do,
/// but without the text in UTF-16. Other threads are kept from a HeldFlushWriter meanwhile.
class Utf8Turn {
public:
    explicit Utf8Turn(const Utf8Writers& writers) : m_writers(writers) {
        if (m_writers.held)
            m_writers.held->m_lock.lock();
    }
    ~Utf8Turn() {
        if (m_writers.held)
            m_writers.held->m_lock.unlock();
    }
    Utf8Turn(const Utf8Turn&) = delete;
    Utf8Turn& operator=(const Utf8Turn&) = delete;

    /// Where the bytes go. A text that does not leave at least a byte free has to be written in the
    /// plain way. Empty where every text has to.
    std::span<uint8_t> room() const noexcept {
        OutputStreamWriter& out = *m_writers.out;
        if (!out.m_converter || out.m_isPassing || out.m_late || out.m_place.held != 0 ||
            out.m_utf8->isPending())
            return {};
        return {reinterpret_cast<uint8_t*>(out.m_bytes.get()) + out.m_count,
                static_cast<size_t>(out.m_size - out.m_count)};
    }
    /// Takes what lies at the beginning of the room as written.
    void write(size_t bytes) noexcept {
        OutputStreamWriter& out = *m_writers.out;
        out.m_earlier = out.m_count;
        out.m_isPassedOn = false;
        out.m_count += static_cast<int32_t>(bytes);
    }
    void flush() {
        if (m_writers.held)
            m_writers.held->holdFlush();
        else
            m_writers.out->OutputStreamWriter::flush();
    }

private:
    const Utf8Writers m_writers;
};

} // namespace qx::io::detail
