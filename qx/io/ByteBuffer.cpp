#include "qx/io/ByteBuffer.h"

#include <algorithm>
#include <cstring>

#include <qx/core/CastTo.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/io/InputStream.h>
#include <qx/io/MovedLength.h>
#include <qx/io/OutputStream.h>

namespace qx::io {

namespace {

signed char* streamBytes(void* bytes) noexcept { return static_cast<signed char*>(bytes); }

template <class Byte>
std::shared_ptr<Byte[]> makeBytes(unsigned int count) {
#ifdef __cpp_lib_smart_ptr_for_overwrite
    return std::make_shared_for_overwrite<Byte[]>(count);
#else // the library of g++ 11
    return std::make_unique_for_overwrite<Byte[]>(count);
#endif
}

} // namespace

ENUM_QX_ENDIAN ByteBuffer::storableOrder(ENUM_QX_ENDIAN order) {
    if (order != QX_ENDIAN_LITTLE && order != QX_ENDIAN_BIG)
        throw UnsupportedOperationException(u"no order that bytes can be stored in"_qs);
    return order;
}

template <class Derived, class Byte>
BasicByteBuffer<Derived, Byte>::BasicByteBuffer(unsigned int capacity, ENUM_QX_ENDIAN order,
                                                bool readOnly)
    : m_order(Derived::storableOrder(order)), m_capacity(capacity), m_limit(capacity),
      m_readOnly(readOnly) {
    const auto bytes = makeBytes<Byte>(capacity);
    m_bytes = Storage(bytes, bytes.get());
}

template <class Derived, class Byte>
BasicByteBuffer<Derived, Byte>::BasicByteBuffer(Byte* bytes, unsigned int capacity,
                                                ENUM_QX_ENDIAN order, bool readOnly)
    : m_order(Derived::storableOrder(order)), m_capacity(capacity), m_limit(capacity),
      m_bytes(wrap(bytes, capacity)), m_readOnly(readOnly) {}

template <class Derived, class Byte>
BasicByteBuffer<Derived, Byte>::BasicByteBuffer(const Byte* bytes, unsigned int capacity,
                                                ENUM_QX_ENDIAN order)
    : BasicByteBuffer(const_cast<Byte*>(bytes), capacity, order, true) {}

template <class Derived, class Byte>
typename BasicByteBuffer<Derived, Byte>::Storage
BasicByteBuffer<Derived, Byte>::wrap(const Byte* bytes, unsigned int capacity) {
    if (!bytes && capacity != 0)
        throwResult(result::NullPointer, u"no bytes to wrap");
    return Storage(std::shared_ptr<void>(), const_cast<Byte*>(bytes));
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::setStorage(const Byte* bytes, unsigned int capacity,
                                                ENUM_QX_ENDIAN order, bool readOnly) {
    const ENUM_QX_ENDIAN storable = Derived::storableOrder(order);
    m_bytes = wrap(bytes, capacity);
    m_order = storable;
    m_position = 0;
    m_capacity = m_limit = capacity;
    m_readOnly = readOnly;
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::setBuffer(Byte* bytes, unsigned int capacity,
                                               ENUM_QX_ENDIAN order, bool readOnly) {
    setStorage(bytes, capacity, order, readOnly);
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::setBuffer(const Byte* bytes, unsigned int capacity,
                                               ENUM_QX_ENDIAN order) {
    setStorage(bytes, capacity, order, true);
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::throwReadOnly() {
    throw ReadOnlyException(u"read-only buffer"_qs);
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::setPosition(unsigned int position) {
    if (position > m_limit)
        throw RangeErrorException(u"position beyond the limit: " + String::valueOf(position) +
                                  u" of " + String::valueOf(m_limit));
    m_position = position;
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::setLimit(unsigned int limit) {
    if (limit > m_capacity)
        throw RangeErrorException(u"limit beyond the capacity: " + String::valueOf(limit) +
                                  u" of " + String::valueOf(m_capacity));
    m_limit = limit;
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::setOrder(ENUM_QX_ENDIAN order) {
    m_order = Derived::storableOrder(order);
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::clear() noexcept {
    m_limit = m_capacity;
    m_position = 0;
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::flip() noexcept {
    m_limit = m_position;
    m_position = 0;
}

template <class Derived, class Byte>
unsigned int BasicByteBuffer<Derived, Byte>::get(Byte* to, unsigned int count) noexcept {
    const unsigned int moved = get(m_position, to, count);
    m_position += moved;
    return moved;
}

template <class Derived, class Byte>
unsigned int BasicByteBuffer<Derived, Byte>::get(unsigned int index, Byte* to,
                                                 unsigned int count) const noexcept {
    const unsigned int moved = std::min(count, remainingFrom(index));
    std::copy_n(m_bytes.get() + index, moved, to);
    return moved;
}

template <class Derived, class Byte>
unsigned int BasicByteBuffer<Derived, Byte>::put(const Byte* from, unsigned int count) {
    const unsigned int moved = put(m_position, from, count);
    m_position += moved;
    return moved;
}

template <class Derived, class Byte>
unsigned int BasicByteBuffer<Derived, Byte>::put(unsigned int index, const Byte* from,
                                                 unsigned int count) {
    requireWritable();
    const unsigned int moved = std::min(count, remainingFrom(index));
    if (moved != 0) // the bytes may lie in this buffer, or in one that shares them
        std::memmove(m_bytes.get() + index, from, moved);
    return moved;
}

template <class Derived, class Byte>
void BasicByteBuffer<Derived, Byte>::put(Derived* source) {
    requireWritable();
    BasicByteBuffer& from = *required(source);
    const unsigned int moved =
        put(from.m_bytes.get() + from.m_position, std::min(remaining(), from.remaining()));
    if (&from != this)
        from.m_position += moved;
}

template <class Derived, class Byte>
unsigned int BasicByteBuffer<Derived, Byte>::readFrom(InputStream* in) {
    requireWritable();
    required(in);
    if (remaining() == 0)
        return 0;
    // As it is now: the stream may use this buffer meanwhile.
    const Storage bytes = m_bytes;
    const unsigned int begin = m_position;
    const int32_t wanted = clippedLength(remaining());
    const int32_t count =
        checkedMove(in->read(streamBytes(bytes.get() + begin), wanted), wanted, EndOfInput);
    const auto moved = static_cast<unsigned int>(std::max(count, 0));
    m_position = std::min(begin + moved, m_limit);
    return moved;
}

template <class Derived, class Byte>
unsigned int BasicByteBuffer<Derived, Byte>::readFully(InputStream* in) {
    unsigned int total = 0;
    while (const unsigned int moved = readFrom(in))
        total += moved;
    return total;
}

template <class Derived, class Byte>
unsigned int BasicByteBuffer<Derived, Byte>::writeTo(OutputStream* out) {
    required(out);
    // Counted here: the stream may use this buffer meanwhile.
    const Storage bytes = m_bytes;
    const unsigned int begin = m_position, total = remaining();
    unsigned int done = 0;
    do {
        const int32_t length = clippedLength(total - done);
        out->write(streamBytes(bytes.get() + begin + done), length);
        done += static_cast<unsigned int>(length);
        m_position = std::min(begin + done, m_limit);
    } while (done != total);
    return total;
}

template <class Derived, class Byte>
Reference<Derived> BasicByteBuffer<Derived, Byte>::slice() const {
    Reference<Derived> view(new Derived(static_cast<const Derived&>(*this)));
    BasicByteBuffer& fields = *view;
    fields.m_bytes = Storage(m_bytes, m_bytes.get() + m_position);
    fields.m_capacity = fields.m_limit = remaining();
    fields.m_position = 0;
    return view;
}

template <class Derived, class Byte>
Reference<Derived> BasicByteBuffer<Derived, Byte>::duplicate(bool readOnly,
                                                             unsigned int capacity) const {
    if (capacity != 0 && capacity < m_capacity)
        throw RangeErrorException(u"capacity too small for the bytes"_qs);
    Reference<Derived> copy(new Derived(capacity != 0 ? capacity : m_capacity, m_order, readOnly));
    BasicByteBuffer& fields = *copy;
    std::copy_n(m_bytes.get(), m_capacity, fields.m_bytes.get());
    fields.m_limit = m_capacity;
    return copy;
}

template <class Derived, class Byte>
int BasicByteBuffer<Derived, Byte>::compareTo(const Object& other) const {
    if (this == &other)
        return 0;
    const auto* const buffer = castTo<const Derived>(&other);
    if (!buffer)
        throw CastFailedException(u"no byte buffer of the same class"_qs);
    if (m_capacity != buffer->getCapacity())
        return m_capacity < buffer->getCapacity() ? -1 : 1;
    const int order =
        m_capacity ? std::memcmp(m_bytes.get(), buffer->getConstBuffer(), m_capacity) : 0;
    return (order > 0) - (order < 0);
}

template <class Derived, class Byte>
bool BasicByteBuffer<Derived, Byte>::equals(const Object& other) const {
    return castTo<const Derived>(&other) && compareTo(other) == 0;
}

template <class Derived, class Byte>
uint32_t BasicByteBuffer<Derived, Byte>::hashCode() const {
    const unsigned int step = m_capacity < 32 ? 1 : (m_capacity - 32) / 32 + 1;
    uint32_t hash = 0;
    for (uint64_t i = 0; i < m_capacity; i += step)
        hash = hash * 37 + static_cast<uint32_t>(int32_t{m_bytes.get()[i]});
    return hash;
}

template class BasicByteBuffer<ByteBuffer, signed char>;
template class BasicByteBuffer<CQXByteBuffer, unsigned char>;

} // namespace qx::io
