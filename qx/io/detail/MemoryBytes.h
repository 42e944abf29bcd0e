#pragma once

#include <cstdint>
#include <span>
#include <typeinfo>

#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>

namespace qx::io::detail {

/// Straight access to the bytes of a stream over memory, for filters that move single bytes: no
/// virtual call each, and the stream is left as its own operations would leave it.
///
/// Only objects of exactly these classes qualify: a derived class may see every byte.
struct MemoryBytes {
    /// @p in as a stream over memory; null when it is anything else.
    static ByteArrayInputStream* of(InputStream& in) noexcept {
        return typeid(in) == typeid(ByteArrayInputStream) ? static_cast<ByteArrayInputStream*>(&in)
                                                          : nullptr;
    }
    static ByteArrayOutputStream* of(OutputStream& out) noexcept {
        return typeid(out) == typeid(ByteArrayOutputStream)
                   ? static_cast<ByteArrayOutputStream*>(&out)
                   : nullptr;
    }

    /// The bytes not read yet.
    static std::span<const uint8_t> rest(const ByteArrayInputStream& in) noexcept {
        return {reinterpret_cast<const uint8_t*>(in.m_bytes.get()) + in.m_position,
                static_cast<size_t>(in.m_length - in.m_position)};
    }
    static void skip(ByteArrayInputStream& in, size_t count) noexcept {
        in.m_position += static_cast<int32_t>(count);
    }

    /// Where the next bytes go without the buffer having to grow.
    static std::span<uint8_t> room(ByteArrayOutputStream& out) noexcept {
        return {reinterpret_cast<uint8_t*>(out.m_bytes.get()) + out.m_size,
                static_cast<size_t>(out.m_capacity - out.m_size)};
    }
    /// Counts the first @p count bytes of the room as written.
    static void append(ByteArrayOutputStream& out, size_t count) noexcept {
        out.m_size += static_cast<int32_t>(count);
    }
};

} // namespace qx::io::detail
