#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

#include <qx/core/String.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/ByteBufferInputStream.h>
#include <qx/io/ByteBufferOutputStream.h>
#include <qx/io/DataInputStream.h>
#include <qx/io/DataOutputStream.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::Reference;
using qx::io::DataInputStream;
using qx::io::DataOutputStream;

namespace {

using Content = Units<signed char>;

Content bytesOf(std::initializer_list<int> bytes) {
    Content content;
    for (const int byte : bytes)
        content.push_back(static_cast<signed char>(byte));
    return content;
}

TEST(DataOutputStream, WritesEveryByteByACallOfItsOwnMostSignificantFirst) {
    const struct {
        const char* what;
        void (*write)(DataOutputStream&);
        std::initializer_list<int> bytes;
    } cases[] = {
        {"true", [](auto& out) { out.writeBool(true); }, {1}},
        {"false", [](auto& out) { out.writeBool(false); }, {0}},
        {"byte", [](auto& out) { out.writeByte(-1); }, {0xFF}},
        {"char", [](auto& out) { out.writeChar(u'\xD83D'); }, {0xD8, 0x3D}},
        {"char32", [](auto& out) { out.writeChar32(0xFEDCBA98); }, {0xFE, 0xDC, 0xBA, 0x98}},
        {"int16", [](auto& out) { out.writeInt16(-2); }, {0xFF, 0xFE}},
        {"uint16", [](auto& out) { out.writeUnsignedShort(0x8001); }, {0x80, 1}},
        {"int32", [](auto& out) { out.writeInt32(0x01020304); }, {1, 2, 3, 4}},
        {"uint32", [](auto& out) { out.writeUnsignedLong(0xFFFFFFFE); }, {255, 255, 255, 254}},
        {"int64",
         [](auto& out) { out.writeInt64(0x0000000180000000); },
         {0, 0, 0, 1, 0x80, 0, 0, 0}},
        {"uint64",
         [](auto& out) { out.writeUnsignedInt64(0x8000000000000001); },
         {0x80, 0, 0, 0, 0, 0, 0, 1}},
        {"float", [](auto& out) { out.writeFloat(1.0f); }, {0x3F, 0x80, 0, 0}},
        {"double", [](auto& out) { out.writeDouble(1.0); }, {0x3F, 0xF0, 0, 0, 0, 0, 0, 0}},
        {"string", [](auto& out) { out.writeString(qx::String(u"not written")); }, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto sink = qx::makeReference<FakeSink<Bytes>>();
        {
            DataOutputStream out(sink);
            c.write(out);
        }
        EXPECT_EQ(sink->content, bytesOf(c.bytes));
        EXPECT_EQ(sink->writes, std::vector<int32_t>(c.bytes.size(), 1));
        EXPECT_EQ(sink->GetRefCount(), 1u);
    }
}

TEST(DataInputStream, ReadsEveryByteByACallOfItsOwn) {
    const auto source = qx::makeReference<FakeSource<Bytes>>(
        bytesOf({2, 0,    0xFF, 0xD8, 0x3D, 0xFF, 0xFE, 1, 2, 3, 4, 0, 0, 0,    1,    0x80, 0,   0,
                 0, 0x3F, 0x80, 0,    0,    0xBF, 0xF0, 0, 0, 0, 0, 0, 0, 0xFE, 0xDC, 0xBA, 0x98}));
    DataInputStream in(source);
    EXPECT_TRUE(in.readBool());
    EXPECT_FALSE(in.readBool());
    EXPECT_EQ(in.readByte(), -1) << "a value, not the end";
    EXPECT_EQ(in.readChar(), 0xD83D);
    EXPECT_EQ(in.readUnsignedShort(), 0xFFFE);
    EXPECT_EQ(in.readInt32(), 0x01020304);
    EXPECT_EQ(in.readInt64(), 0x0000000180000000);
    EXPECT_EQ(in.readFloat(), 1.0f);
    EXPECT_EQ(in.readDouble(), -1.0);
    EXPECT_TRUE(in.readString().isEmpty());
    EXPECT_EQ(in.readUnsignedInt(), 0xFEDCBA98u);
    EXPECT_EQ(source->requests, std::vector<int32_t>(35, 1));
}

TEST(DataInputStream, RunsOutAfterAllBytesWereAskedFor) {
    const struct {
        const char* what;
        void (*read)(DataInputStream&);
        size_t width, given, requests;
    } cases[] = {
        {"bool", [](auto& in) { in.readBool(); }, 1, 0, 1},
        {"byte", [](auto& in) { in.readByte(); }, 1, 0, 1},
        {"int16", [](auto& in) { in.readInt16(); }, 2, 1, 2},
        {"int32", [](auto& in) { in.readInt32(); }, 4, 3, 4},
        {"high half of int64", [](auto& in) { in.readInt64(); }, 8, 2, 4},
        {"low half of int64", [](auto& in) { in.readInt64(); }, 8, 7, 8},
        {"double", [](auto& in) { in.readDouble(); }, 8, 5, 8},
        {"values",
         [](auto& in) {
             int16_t values[3];
             in.readValues(values, 3);
         },
         6, 5, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Content content(c.given, 1);
        FakeSource<Bytes> source(content);
        qx::io::ByteArrayInputStream memory(content.data(), static_cast<int32_t>(content.size()));
        for (qx::io::InputStream* stream : {static_cast<qx::io::InputStream*>(&source),
                                            static_cast<qx::io::InputStream*>(&memory)}) {
            DataInputStream in(stream);
            EXPECT_THROW(c.read(in), qx::io::UnexpectedEOFException);
            EXPECT_EQ(stream->read(), -1) << "what there was is consumed";
        }
        EXPECT_EQ(source.requests.size(), c.requests + 1);
    }
}

TEST(DataInputStream, ReadsFullyByBlocks) {
    FakeSource<Bytes> source("abcdefgh", 3);
    DataInputStream in(&source);
    signed char bytes[8];
    in.readFully(bytes, 0);
    in.readFully(bytes, 7);
    EXPECT_EQ(textOf(Content(bytes, bytes + 7)), "abcdefg");
    EXPECT_EQ(source.requests, (std::vector<int32_t>{7, 4, 1}));
    EXPECT_THROW(in.readFully(bytes, 2), qx::io::UnexpectedEOFException);
}

/// Halves what it reads, to be seen by whoever reads through it.
class Halving : public DataInputStream {
public:
    using DataInputStream::DataInputStream;
    int32_t readInt32() override { return DataInputStream::readInt32() / 2; }
};

TEST(DataInputStream, WiderValuesAreReadThroughTheOverridableOnes) {
    FakeSource<Bytes> source(bytesOf({0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 6}));
    Halving in(&source);
    EXPECT_EQ(in.readInt64(), 0x100000002);
    EXPECT_EQ(in.readChar32(), 3u);
}

// Streams that keep their bytes in memory are reached by a short way, classes derived from them
// are not. Either way has to leave the same, to the byte and to the call.

template <class Stream>
class Derived : public Stream {
public:
    using Stream::Stream;
};

/// Writes values of all kinds, singly and in bulk, as @p seed says.
void writeSomething(DataOutputStream& out, uint32_t seed, bool inBulk) {
    std::mt19937 random(seed);
    std::vector<int32_t> values(40);
    for (int i = 0; i < 60; ++i) {
        switch (random() % (inBulk ? 5 : 4)) {
        case 0:
            out.writeInt16(static_cast<int16_t>(random()));
            break;
        case 1:
            out.writeInt32(static_cast<int32_t>(random()));
            break;
        case 2:
            out.writeDouble(static_cast<double>(random()));
            break;
        case 3:
            out.writeByte(static_cast<signed char>(random()));
            break;
        default:
            for (int32_t& value : values)
                value = static_cast<int32_t>(random());
            out.writeValues(values.data(), static_cast<int32_t>(random() % 41));
        }
    }
}

template <class Buffered>
std::pair<Content, std::vector<int32_t>> writtenBuffered(uint32_t seed, int32_t size) {
    FakeSink<Bytes> sink;
    Buffered buffered(&sink, size);
    DataOutputStream out(&buffered);
    writeSomething(out, seed, false);
    out.flush();
    return {sink.content, sink.writes};
}

template <class Memory>
std::pair<Content, int32_t> writtenToMemory(uint32_t seed, bool inBulk) {
    Memory memory(7);
    DataOutputStream out(&memory);
    writeSomething(out, seed, inBulk);
    return {Content(memory.getBytes(), memory.getBytes() + memory.getSize()),
            inBulk ? 0 : memory.getCapacity()};
}

template <class Stream>
std::pair<Content, int> writtenToBuffer(uint32_t seed, unsigned int capacity) {
    const Content zeros(1000);
    qx::io::ByteBuffer buffer(1000, QX_ENDIAN_LITTLE, false);
    buffer.put(zeros.data(), 1000);
    buffer.rewind();
    buffer.setLimit(capacity);
    Stream stream(&buffer);
    DataOutputStream out(&stream);
    writeSomething(out, seed, true);
    return {Content(buffer.getConstBuffer(), buffer.getConstBuffer() + 1000), stream.Overflowed()};
}

TEST(DataOutputStream, MemoryStreamsAreLeftAsByteByByte) {
    using qx::io::BufferedOutputStream, qx::io::ByteArrayOutputStream;
    using qx::io::ByteBufferOutputStream;
    for (uint32_t seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(seed);
        for (const int32_t size : {16, 17, 23, 64, 8192})
            EXPECT_EQ(writtenBuffered<BufferedOutputStream>(seed, size),
                      writtenBuffered<Derived<BufferedOutputStream>>(seed, size));
        for (const bool inBulk : {false, true})
            EXPECT_EQ(writtenToMemory<ByteArrayOutputStream>(seed, inBulk),
                      writtenToMemory<Derived<ByteArrayOutputStream>>(seed, inBulk));
        for (const unsigned int capacity : {0u, 1u, 3u, 100u, 999u})
            EXPECT_EQ(writtenToBuffer<ByteBufferOutputStream>(seed, capacity),
                      writtenToBuffer<Derived<ByteBufferOutputStream>>(seed, capacity));
    }
    qx::io::ByteBuffer readOnly(reinterpret_cast<const signed char*>("1234"), 4, QX_ENDIAN_BIG);
    ByteBufferOutputStream refusing(&readOnly);
    EXPECT_THROW(DataOutputStream(&refusing).writeInt32(1), qx::ReadOnlyException);
    FakeSink<Bytes> sink;
    BufferedOutputStream closed(&sink);
    closed.close();
    EXPECT_EQ(descriptionOf([&] { DataOutputStream(&closed).writeInt32(1); }), "stream closed");
}

/// What comes of reading everything from @p stream, and how it ended.
std::vector<int64_t> readEverything(qx::io::InputStream& stream, uint32_t seed) {
    DataInputStream in(&stream);
    std::mt19937 random(seed);
    std::vector<int64_t> read;
    int16_t values[9] = {};
    try {
        for (;;) {
            switch (random() % 4) {
            case 0:
                read.push_back(in.readInt16());
                break;
            case 1:
                read.push_back(in.readInt64());
                break;
            case 2:
                read.push_back(in.readByte());
                break;
            default:
                in.readValues(values, static_cast<int32_t>(random() % 10));
                read.insert(read.end(), std::begin(values), std::end(values));
            }
        }
    } catch (const qx::io::UnexpectedEOFException&) {
        read.push_back(stream.read());
    }
    return read;
}

TEST(DataInputStream, MemoryStreamsAreReadAsByteByByte) {
    std::mt19937 random(1);
    for (uint32_t seed = 0; seed < 50; ++seed) {
        SCOPED_TRACE(seed);
        Content content(random() % 200);
        for (signed char& byte : content)
            byte = static_cast<signed char>(random());
        const auto length = static_cast<int32_t>(content.size());
        FakeSource<Bytes> plain(content);
        const auto expected = readEverything(plain, seed);

        FakeSource<Bytes> source(content, 5);
        qx::io::BufferedInputStream buffered(&source, 16);
        qx::io::ByteArrayInputStream array(content.data(), length);
        qx::io::ByteBuffer buffer(content.data(), static_cast<unsigned int>(length),
                                  QX_ENDIAN_LITTLE);
        qx::io::ByteBufferInputStream overBuffer(&buffer);
        EXPECT_EQ(readEverything(buffered, seed), expected);
        EXPECT_EQ(readEverything(array, seed), expected);
        EXPECT_EQ(readEverything(overBuffer, seed), expected);
        EXPECT_EQ(buffer.remaining(), 0u);
    }
}

TEST(DataStreams, ValuesInBulkComeBackThroughAnyStream) {
    // Longer than the blocks in which either side works.
    std::vector<double> values(20'000);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<double>(i) * 0.7;
    const auto count = static_cast<int32_t>(values.size());
    qx::io::ByteArrayOutputStream memory;
    FakeSink<Bytes> sink;
    DataOutputStream(&memory).writeValues(values.data(), count);
    DataOutputStream(&sink).writeValues(values.data(), count);
    DataOutputStream(&sink).writeValues(values.data(), 0);
    DataOutputStream(&sink).writeValues(values.data(), -1);
    ASSERT_EQ(memory.getSize(), count * 8);
    EXPECT_EQ(sink.content, Content(memory.getBytes(), memory.getBytes() + memory.getSize()));

    std::vector<double> read(values.size());
    FakeSource<Bytes> source(sink.content, 1000);
    DataInputStream in(&source);
    in.readValues(read.data(), count);
    EXPECT_EQ(read, values);
    EXPECT_THROW(in.readValues(read.data(), 1), qx::io::UnexpectedEOFException);
}

} // namespace
