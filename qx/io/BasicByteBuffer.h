#pragma once

#include <cstdint>
#include <memory>

#include <qx/core/Exception.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/io/ByteOrder.h>
#include <qx/platform/export.h>

namespace qx::io {

class InputStream;
class OutputStream;

/// Bytes of a fixed number with a position and a limit: the common part of ByteBuffer (bytes are
/// signed char) and CQXByteBuffer (unsigned char), one of which is @p Derived.
///
/// Position <= limit <= capacity, all in bytes; only setLimit and the accessors that check nothing
/// can leave the position beyond the limit, and then nothing remains. The relative form of an
/// operation works at the position and advances it, the absolute one works at an index and leaves
/// it.
///
/// Block forms, those of values in bulk among them, move what fits in front of the limit and return
/// how much that was. The accessors of single bytes and values check nothing but read-only: the
/// caller keeps them inside the capacity. Everything that writes throws ReadOnlyException, with
/// nothing changed, when the buffer is read-only.
///
/// The storage is owned or wrapped. Copies and slices of a buffer see the same bytes; owned storage
/// lives as long as any of them, wrapped storage is for its owner to keep. A buffer is used by one
/// thread at a time, buffers that share bytes too.
template <class Derived, class Byte>
class QX_API BasicByteBuffer : public Object {
public:
    /// New storage, owned; its bytes are unspecified until they are written.
    /// @throws std::bad_alloc, UnsupportedOperationException for an order that @p Derived refuses
    BasicByteBuffer(unsigned int capacity, ENUM_QX_ENDIAN order, bool readOnly = false);
    /// Wraps @p capacity bytes.
    /// @throws ResultException (result::NullPointer) for null with a capacity
    BasicByteBuffer(Byte* bytes, unsigned int capacity, ENUM_QX_ENDIAN order,
                    bool readOnly = false);
    /// Wraps @p capacity bytes, read-only.
    BasicByteBuffer(const Byte* bytes, unsigned int capacity, ENUM_QX_ENDIAN order);
    /// A second view of the same bytes, with a position and a limit of its own.
    BasicByteBuffer(const BasicByteBuffer&) = default;
    BasicByteBuffer& operator=(const BasicByteBuffer&) = default;

    unsigned int getPosition() const noexcept { return m_position; }
    /// @throws RangeErrorException beyond the limit
    void setPosition(unsigned int position);
    unsigned int getLimit() const noexcept { return m_limit; }
    /// Leaves the position, even beyond the new limit.
    /// @throws RangeErrorException beyond the capacity
    void setLimit(unsigned int limit);
    unsigned int getCapacity() const noexcept { return m_capacity; }
    /// Bytes between position and limit.
    unsigned int remaining() const noexcept { return remainingFrom(m_position); }
    ENUM_QX_ENDIAN getOrder() const noexcept { return m_order; }
    /// @throws UnsupportedOperationException for an order that @p Derived refuses
    void setOrder(ENUM_QX_ENDIAN order);
    bool isReadOnly() const noexcept { return m_readOnly; }
    /// The storage, of a read-only buffer too.
    Byte* getBuffer() noexcept { return m_bytes.get(); }
    const Byte* getBuffer() const noexcept { return m_bytes.get(); }
    const Byte* getConstBuffer() const noexcept { return m_bytes.get(); }

    /// Position 0 and the limit at the capacity, to fill the buffer anew. The bytes stay.
    void clear() noexcept;
    /// The limit at the position and position 0, to read what was written.
    void flip() noexcept;
    /// Position 0.
    void rewind() noexcept { m_position = 0; }
    /// Moves the position past @p count bytes, of which there must be as many; where they are.
    Byte* advance(unsigned int count) noexcept {
        Byte* const bytes = m_bytes.get() + m_position;
        m_position += count;
        return bytes;
    }

    /// Wraps other bytes from position 0; owned storage is freed unless others share it.
    /// @throws as the constructors, with everything as it was
    void setBuffer(Byte* bytes, unsigned int capacity, ENUM_QX_ENDIAN order, bool readOnly = false);
    void setBuffer(const Byte* bytes, unsigned int capacity, ENUM_QX_ENDIAN order);

    Byte get() noexcept { return m_bytes.get()[m_position++]; }
    Byte get(unsigned int index) const noexcept { return m_bytes.get()[index]; }
    unsigned int get(Byte* to, unsigned int count) noexcept;
    unsigned int get(unsigned int index, Byte* to, unsigned int count) const noexcept;
    void put(Byte byte) {
        requireWritable();
        m_bytes.get()[m_position++] = byte;
    }
    void put(unsigned int index, Byte byte) {
        requireWritable();
        m_bytes.get()[index] = byte;
    }
    unsigned int put(const Byte* from, unsigned int count);
    unsigned int put(unsigned int index, const Byte* from, unsigned int count);
    /// Moves what remains in @p source and fits here, and advances both positions.
    /// @throws ResultException (result::NullPointer) for no source
    void put(Derived* source);

    int16_t getInt16() noexcept { return getValue<int16_t>(); }
    int16_t getInt16(unsigned int index) const noexcept { return getValue<int16_t>(index); }
    void putInt16(int16_t value) { putValue(value); }
    void putInt16(unsigned int index, int16_t value) { putValue(index, value); }
    int32_t getInt32() noexcept { return getValue<int32_t>(); }
    int32_t getInt32(unsigned int index) const noexcept { return getValue<int32_t>(index); }
    void putInt32(int32_t value) { putValue(value); }
    void putInt32(unsigned int index, int32_t value) { putValue(index, value); }
    int64_t getInt64() noexcept { return getValue<int64_t>(); }
    int64_t getInt64(unsigned int index) const noexcept { return getValue<int64_t>(index); }
    void putInt64(int64_t value) { putValue(value); }
    void putInt64(unsigned int index, int64_t value) { putValue(index, value); }
    float getFloat() noexcept { return getValue<float>(); }
    float getFloat(unsigned int index) const noexcept { return getValue<float>(index); }
    void putFloat(float value) { putValue(value); }
    void putFloat(unsigned int index, float value) { putValue(index, value); }
    double getDouble() noexcept { return getValue<double>(); }
    double getDouble(unsigned int index) const noexcept { return getValue<double>(index); }
    void putDouble(double value) { putValue(value); }
    void putDouble(unsigned int index, double value) { putValue(index, value); }

    /// Values in bulk, whole ones only. Counts are in values, the index is in bytes.
    template <OrderedValue Value>
    unsigned int getValues(Value* to, unsigned int count) noexcept;
    template <OrderedValue Value>
    unsigned int getValues(unsigned int index, Value* to, unsigned int count) const noexcept;
    template <OrderedValue Value>
    unsigned int putValues(const Value* from, unsigned int count);
    template <OrderedValue Value>
    unsigned int putValues(unsigned int index, const Value* from, unsigned int count);

    /// Fills the buffer by one read of @p in, unless it is full.
    /// @return the number of bytes read; 0 at the end of the stream
    /// @throws ReadOnlyException, IoException for a stream that claims more than was asked for,
    ///     ResultException (result::NullPointer) for no stream
    unsigned int readFrom(InputStream* in);
    /// The same until the buffer is full or a read brings nothing.
    unsigned int readFully(InputStream* in);
    /// Writes what remains in one write; the number of bytes written. (More than 2 GiB - 1 take
    /// several.)
    unsigned int writeTo(OutputStream* out);

    /// The remaining bytes as a buffer, with the same order and read-only flag, that sees them too.
    Reference<Derived> slice() const;
    /// A copy of all bytes in storage of its own: with capacity 0 as large as this one, else with
    /// the limit behind the copied bytes.
    /// @throws RangeErrorException for a capacity, other than 0, below that of this buffer
    Reference<Derived> duplicate(bool readOnly, unsigned int capacity) const;

    /// By capacity, then by the bytes of the whole capacity as unsigned numbers.
    /// @throws CastFailedException for what is no @p Derived
    int compareTo(const Object& other) const override;
    bool equals(const Object& other) const override;
    /// Over at most 63 bytes at equal distances, as @p Byte has them.
    uint32_t hashCode() const override;

private:
    using Storage = std::shared_ptr<Byte>;

    static Storage wrap(const Byte* bytes, unsigned int capacity);
    void setStorage(const Byte* bytes, unsigned int capacity, ENUM_QX_ENDIAN order, bool readOnly);
    unsigned int remainingFrom(unsigned int index) const noexcept {
        return index < m_limit ? m_limit - index : 0;
    }
    /// How many of @p count values lie whole between @p index and the limit.
    template <class Value>
    unsigned int clipped(unsigned int index, unsigned int count) const noexcept {
        const unsigned int most = remainingFrom(index) / static_cast<unsigned int>(sizeof(Value));
        return count < most ? count : most;
    }
    void requireWritable() const {
        if (m_readOnly) [[unlikely]]
            throwReadOnly();
    }
    [[noreturn]] static void throwReadOnly();

    template <class Value>
    Value getValue() noexcept {
        const auto value = getValue<Value>(m_position);
        m_position += sizeof(Value);
        return value;
    }
    template <class Value>
    Value getValue(unsigned int index) const noexcept {
        return loadInOrder<Value>(m_bytes.get() + index, m_order);
    }
    template <class Value>
    void putValue(Value value) {
        putValue(m_position, value);
        m_position += sizeof(Value);
    }
    template <class Value>
    void putValue(unsigned int index, Value value) {
        requireWritable();
        storeInOrder(m_bytes.get() + index, value, m_order);
    }

    ENUM_QX_ENDIAN m_order;
    unsigned int m_position = 0;
    unsigned int m_capacity;
    unsigned int m_limit;
    Storage m_bytes; // without a count when wrapped
    bool m_readOnly;
};

template <class Derived, class Byte>
template <OrderedValue Value>
unsigned int BasicByteBuffer<Derived, Byte>::getValues(Value* to, unsigned int count) noexcept {
    const unsigned int moved = getValues(m_position, to, count);
    m_position += moved * static_cast<unsigned int>(sizeof(Value));
    return moved;
}

template <class Derived, class Byte>
template <OrderedValue Value>
unsigned int BasicByteBuffer<Derived, Byte>::getValues(unsigned int index, Value* to,
                                                       unsigned int count) const noexcept {
    const unsigned int moved = clipped<Value>(index, count);
    copyInOrder(to, m_bytes.get() + index, moved, sizeof(Value), m_order);
    return moved;
}

template <class Derived, class Byte>
template <OrderedValue Value>
unsigned int BasicByteBuffer<Derived, Byte>::putValues(const Value* from, unsigned int count) {
    const unsigned int moved = putValues(m_position, from, count);
    m_position += moved * static_cast<unsigned int>(sizeof(Value));
    return moved;
}

template <class Derived, class Byte>
template <OrderedValue Value>
unsigned int BasicByteBuffer<Derived, Byte>::putValues(unsigned int index, const Value* from,
                                                       unsigned int count) {
    requireWritable();
    const unsigned int moved = clipped<Value>(index, count);
    copyInOrder(m_bytes.get() + index, from, moved, sizeof(Value), m_order);
    return moved;
}

} // namespace qx::io
