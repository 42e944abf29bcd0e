#pragma once

#include <cstdint>

#include <qx/io/ByteOrder.h>
#include <qx/io/FilterOutputStream.h>
#include <qx/io/MemoryStreams.h>
#include <qx/platform/export.h>
#include <qx/util/buffer/AbstractBuffer.h>

namespace qx::io {

/// Writes values of fixed width, most significant byte first, without tags, lengths or padding. The
/// operations of a filter pass on to the wrapped stream; raw bytes and values can be mixed.
///
/// Single values are written byte by byte, each with one single-byte write of the wrapped stream.
/// Wrap a BufferedOutputStream where such calls are expensive.
class QX_API DataOutputStream : public FilterOutputStream {
public:
    explicit DataOutputStream(OutputStream* out) : FilterOutputStream(out), m_memory(wrapped()) {}

    /// One byte, 1 or 0.
    virtual void writeBool(bool value);
    virtual void writeByte(signed char value);
    /// A UTF-16 code unit, unconverted.
    virtual void writeChar16(char16_t value);
    virtual void writeChar32(uint32_t value);
    virtual void writeInt16(int16_t value) { put(value); }
    virtual void writeInt32(int32_t value) { put(value); }
    virtual void writeInt64(int64_t value);
    /// The IEEE 754 bits.
    virtual void writeFloat(float value);
    virtual void writeDouble(double value);
    /// Texts are not encoded: writes nothing.
    virtual void writeString(const util::AbstractCharBuffer& text);

    /// As many values as @p count, written in blocks.
    template <OrderedValue Value>
    void writeValues(const Value* from, int32_t count) {
        writeWords(from, count, sizeof(Value));
    }

    // Other names of the above.
    void writeChar(char16_t value) { writeChar16(value); }
    void writeShort(int16_t value) { writeInt16(value); }
    void writeUnsignedShort(uint16_t value) { writeInt16(static_cast<int16_t>(value)); }
    void writeUnsignedInt16(uint16_t value) { writeInt16(static_cast<int16_t>(value)); }
    void writeInt(int32_t value) { writeInt32(value); }
    void writeLong(int32_t value) { writeInt32(value); }
    void writeUnsignedInt(uint32_t value) { writeInt32(static_cast<int32_t>(value)); }
    void writeUnsignedInt32(uint32_t value) { writeInt32(static_cast<int32_t>(value)); }
    void writeUnsignedLong(uint32_t value) { writeInt32(static_cast<int32_t>(value)); }
    void writeUnsignedByte(unsigned char value) { writeByte(static_cast<signed char>(value)); }
    void writeUnsignedInt64(uint64_t value) { writeInt64(static_cast<int64_t>(value)); }

private:
    template <OrderedValue Value>
    void put(Value value) {
        if (signed char* const bytes = m_memory.tryClaim(sizeof(Value)))
            storeInOrder(bytes, value, QX_ENDIAN_BIG);
        else
            putBytes(value, sizeof(Value));
    }
    void putBytes(int32_t value, int count);
    void writeWords(const void* from, int32_t count, size_t wordSize);

    MemorySink m_memory;
};

} // namespace qx::io

using CQXDataOutputStream = qx::io::DataOutputStream;
