#pragma once

#include <cstdint>

#include <qx/io/ByteOrder.h>
#include <qx/io/FilterInputStream.h>
#include <qx/io/MemoryStreams.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Reads values of fixed width, most significant byte first, as DataOutputStream writes them:
/// without tags, lengths or padding, so that the reader has to know what comes. The operations of a
/// filter pass on to the wrapped stream; raw bytes and values can be mixed.
///
/// Single values are read byte by byte, each with one single-byte read of the wrapped stream. A
/// value that the stream ends in throws UnexpectedEOFException; its bytes in front of the end are
/// lost.
class QX_API DataInputStream : public FilterInputStream {
public:
    explicit DataInputStream(InputStream* in) : FilterInputStream(in), m_memory(wrapped()) {}

    /// Fills @p to with @p length bytes, by block reads.
    virtual void readFully(signed char* to, int32_t length);
    /// One byte; true unless it is 0.
    virtual bool readBool();
    virtual signed char readByte();
    /// A UTF-16 code unit.
    virtual char16_t readChar16();
    virtual uint32_t readChar32();
    virtual int16_t readInt16() { return take<int16_t>(); }
    virtual int32_t readInt32() { return take<int32_t>(); }
    virtual int64_t readInt64();
    /// The IEEE 754 bits.
    virtual float readFloat();
    virtual double readDouble();
    /// Texts are not encoded: reads nothing and gives the empty text.
    virtual String readString();

    /// As many values as @p count, read in blocks. After a failure their content is unspecified.
    template <OrderedValue Value>
    void readValues(Value* to, int32_t count) {
        readWords(to, count, sizeof(Value));
    }

    // Other names of the above.
    char16_t readChar() { return readChar16(); }
    int16_t readShort() { return readInt16(); }
    uint16_t readUnsignedShort() { return static_cast<uint16_t>(readInt16()); }
    uint16_t readUnsignedInt16() { return static_cast<uint16_t>(readInt16()); }
    int32_t readInt() { return readInt32(); }
    int32_t readLong() { return readInt32(); }
    uint32_t readUnsignedInt() { return static_cast<uint32_t>(readInt32()); }
    uint32_t readUnsignedInt32() { return static_cast<uint32_t>(readInt32()); }
    uint32_t readUnsignedLong() { return static_cast<uint32_t>(readInt32()); }
    unsigned char readUnsignedByte() { return static_cast<unsigned char>(readByte()); }
    uint64_t readUnsignedInt64() { return static_cast<uint64_t>(readInt64()); }

private:
    template <OrderedValue Value>
    Value take() {
        if (const signed char* const bytes = m_memory.tryTake(sizeof(Value)))
            return loadInOrder<Value>(bytes, QX_ENDIAN_BIG);
        return static_cast<Value>(takeBytes(sizeof(Value)));
    }
    uint32_t takeBytes(int count);
    void readWords(void* to, int32_t count, size_t wordSize);

    MemorySource m_memory;
};

} // namespace qx::io

using CQXDataInputStream = qx::io::DataInputStream;
