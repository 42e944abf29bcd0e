#include "qx/io/ByteArrayOutputStream.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <qx/core/Required.h>
#include <qx/core/String.h>
#include <qx/core/detail/CheckedSize.h>

namespace qx::io {

namespace {

std::unique_ptr<signed char[]> allocate(int32_t capacity) {
    return std::make_unique_for_overwrite<signed char[]>(static_cast<size_t>(capacity));
}

/// A quarter more than @p needed, but never more than a length can say.
int32_t grownCapacity(int32_t needed) {
    return static_cast<int32_t>(
        std::min<int64_t>(int64_t{needed} * 5 / 4, std::numeric_limits<int32_t>::max()));
}

} // namespace

ByteArrayOutputStream::ByteArrayOutputStream(int32_t capacity)
    : m_bytes(allocate(std::max(capacity, 0))), m_capacity(std::max(capacity, 0)) {}

void ByteArrayOutputStream::write(const signed char* from, int32_t length) {
    if (length <= 0)
        return;
    const int32_t needed = qx::detail::checkedSize(int64_t{m_size} + length);
    Bytes replaced; // outlives the copy: @p from may be the stream's own bytes
    if (m_capacity < needed)
        replaced = moveBytes(grownCapacity(needed));
    std::copy_n(from, length, m_bytes.get() + m_size);
    m_size = needed;
}

int32_t ByteArrayOutputStream::getBytes(signed char* to, int32_t max) const {
    const int32_t count = std::clamp(max, 0, m_size);
    std::copy_n(m_bytes.get(), count, to);
    return count;
}

String ByteArrayOutputStream::toString() const { return toString(nullptr); }

String ByteArrayOutputStream::toString(const char16_t* encoding) const {
    return String(m_bytes.get(), m_size, encoding);
}

void ByteArrayOutputStream::writeTo(OutputStream* out) const {
    required(out)->write(m_bytes.get(), m_size);
}

void ByteArrayOutputStream::ensureCapacity(int32_t capacity) {
    if (m_capacity < capacity)
        reallocBuffer(grownCapacity(capacity));
}

void ByteArrayOutputStream::reallocBuffer(int32_t capacity) {
    moveBytes(std::max(capacity, m_size));
}

/// Moves the bytes into a new buffer; the old one.
ByteArrayOutputStream::Bytes ByteArrayOutputStream::moveBytes(int32_t capacity) {
    auto moved = allocate(capacity);
    std::copy_n(m_bytes.get(), m_size, moved.get());
    m_capacity = capacity;
    return std::exchange(m_bytes, std::move(moved));
}

} // namespace qx::io
