#include <numeric>
#include <random>

#include <qx/io/DataInputStream.h>
#include <qx/io/DataOutputStream.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;

namespace {

using Content = Units<signed char>;

Content bytesOf(std::initializer_list<int> bytes) { return Content(bytes.begin(), bytes.end()); }

/// Expects @p value to be written as these bytes, each by a call of its own, and to be read
/// likewise.
template <class Written, class Read>
void expectBytes(void (DataOutputStream::*write)(Written), Read (DataInputStream::*read)(),
                 std::type_identity_t<Written> value, std::initializer_list<int> bytes) {
    const Content content = bytesOf(bytes);
    SCOPED_TRACE(testing::PrintToString(content));
    FakeSink<Bytes> sink;
    DataOutputStream out(&sink);
    (out.*write)(value);
    EXPECT_EQ(sink.content, content);
    EXPECT_EQ(sink.writes, std::vector<int32_t>(content.size(), 1));
    FakeSource<Bytes> source(content);
    DataInputStream in(&source);
    EXPECT_EQ(static_cast<Written>((in.*read)()), value);
    EXPECT_EQ(source.requests, sink.writes);
    // The end is looked at when all bytes of a value were asked for, or of half a wide one.
    for (size_t given = 0; given < content.size(); ++given) {
        FakeSource<Bytes> cut(Content(content.data(), content.data() + given));
        ByteArrayInputStream memory(content.data(), static_cast<int32_t>(given));
        for (InputStream* stream : std::initializer_list<InputStream*>{&cut, &memory}) {
            DataInputStream ending(stream);
            EXPECT_THROW((ending.*read)(), UnexpectedEOFException);
            EXPECT_EQ(stream->read(), -1) << "what there was is consumed";
        }
        EXPECT_EQ(cut.requests.size(), (given < 4 ? std::min<size_t>(content.size(), 4) : 8) + 1);
    }
}

TEST(DataStreams, EveryByteIsACallOfItsOwnMostSignificantFirst) {
    using Out = DataOutputStream;
    using In = DataInputStream;
    expectBytes(&Out::writeBool, &In::readBool, true, {1});
    expectBytes(&Out::writeBool, &In::readBool, false, {0});
    expectBytes(&Out::writeByte, &In::readByte, -1, {0xFF}); // a value, not the end
    expectBytes(&Out::writeChar, &In::readChar, u'\xD83D', {0xD8, 0x3D});
    expectBytes(&Out::writeChar32, &In::readChar32, 0xFEDCBA98, {0xFE, 0xDC, 0xBA, 0x98});
    expectBytes(&Out::writeInt16, &In::readInt16, -2, {0xFF, 0xFE});
    expectBytes(&Out::writeUnsignedShort, &In::readUnsignedShort, 0x8001, {0x80, 1});
    expectBytes(&Out::writeInt32, &In::readInt32, 0x01020304, {1, 2, 3, 4});
    expectBytes(&Out::writeUnsignedLong, &In::readUnsignedInt, 0xFFFFFFFE, {255, 255, 255, 254});
    expectBytes(&Out::writeInt64, &In::readInt64, 0x180000000, {0, 0, 0, 1, 0x80, 0, 0, 0});
    expectBytes(&Out::writeUnsignedInt64, &In::readUnsignedInt64, 0x8000000000000001,
                {0x80, 0, 0, 0, 0, 0, 0, 1});
    expectBytes(&Out::writeFloat, &In::readFloat, 1.0f, {0x3F, 0x80, 0, 0});
    expectBytes(&Out::writeDouble, &In::readDouble, -1.0, {0xBF, 0xF0, 0, 0, 0, 0, 0, 0});
    FakeSink<Bytes> sink;
    Out(&sink).writeString(qx::String(u"not written"));
    EXPECT_TRUE(sink.writes.empty());
    FakeSource<Bytes> source("abc");
    EXPECT_TRUE(In(&source).readString().isEmpty());
    EXPECT_TRUE(source.requests.empty());
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
    int32_t value = 0;
    std::vector<int32_t> values(40);
    const std::function<void()> writes[] = {
        [&] { out.writeInt16(static_cast<int16_t>(value)); },
        [&] { out.writeInt32(value); },
        [&] { out.writeDouble(value); },
        [&] { out.writeByte(static_cast<signed char>(value)); },
        [&] { out.writeValues(values.data(), static_cast<int32_t>(random() % 41)); },
    };
    for (int i = 0; i < 60; ++i) {
        const auto kind = random() % (inBulk ? 5 : 4);
        value = static_cast<int32_t>(random());
        std::iota(values.begin(), values.end(), value);
        writes[kind]();
    }
}

/// Expects that a stream leaves what one of a derived class does: @p leave makes it of the class,
/// has something written to it, and tells.
template <class Stream>
void expectLikeDerived(auto leave) {
    EXPECT_EQ(leave(std::type_identity<Stream>()), leave(std::type_identity<Derived<Stream>>()));
}

TEST(DataOutputStream, MemoryStreamsAreLeftAsByteByByte) {
    for (uint32_t seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(seed);
        const auto write = [seed](auto& stream, bool inBulk) {
            DataOutputStream out(&stream);
            writeSomething(out, seed, inBulk);
            out.flush();
        };
        for (const int32_t size : {16, 17, 23, 64, 8192})
            expectLikeDerived<BufferedOutputStream>([&]<class Stream>(std::type_identity<Stream>) {
                FakeSink<Bytes> sink;
                Stream buffered(&sink, size);
                write(buffered, false);
                return std::pair(sink.content, sink.writes);
            });
        for (const bool inBulk : {false, true})
            expectLikeDerived<ByteArrayOutputStream>([&]<class Stream>(std::type_identity<Stream>) {
                Stream memory(7);
                write(memory, inBulk);
                return std::pair(memory.toString(u"ISO8859_1"), inBulk ? 0 : memory.getCapacity());
            });
        for (const unsigned int capacity : {0u, 1u, 3u, 100u, 999u})
            expectLikeDerived<ByteBufferOutputStream>(
                [&]<class Stream>(std::type_identity<Stream>) {
                    Content bytes(1000);
                    ByteBuffer buffer(bytes.data(), 1000, QX_ENDIAN_LITTLE);
                    buffer.setLimit(capacity);
                    Stream stream(&buffer);
                    write(stream, true);
                    return std::pair(bytes, stream.Overflowed());
                });
    }
    ByteBuffer readOnly(reinterpret_cast<const signed char*>("1234"), 4, QX_ENDIAN_BIG);
    ByteBufferOutputStream refusing(&readOnly);
    EXPECT_THROW(DataOutputStream(&refusing).writeInt32(1), qx::ReadOnlyException);
    FakeSink<Bytes> sink;
    BufferedOutputStream closed(&sink);
    closed.close();
    EXPECT_EQ(descriptionOf([&] { DataOutputStream(&closed).writeInt32(1); }), "stream closed");
}

/// What comes of reading everything from @p stream, and how it ended.
std::vector<int64_t> readEverything(InputStream& stream, uint32_t seed) {
    DataInputStream in(&stream);
    std::mt19937 random(seed);
    std::vector<int64_t> read;
    const auto readOne = [&] {
        int16_t values[9] = {};
        const auto kind = random() % 4;
        if (kind == 3)
            in.readValues(values, static_cast<int32_t>(random() % 10));
        else
            read.push_back(kind == 0 ? in.readInt16() : kind == 1 ? in.readInt64() : in.readByte());
        read.insert(read.end(), std::begin(values), std::end(values));
    };
    while (failureOf(readOne) == 0) {
    }
    read.push_back(stream.read());
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
        BufferedInputStream buffered(&source, 16);
        ByteArrayInputStream array(content.data(), length);
        ByteBuffer buffer(content.data(), static_cast<unsigned int>(length), QX_ENDIAN_LITTLE);
        ByteBufferInputStream overBuffer(&buffer);
        EXPECT_EQ(readEverything(buffered, seed), expected);
        EXPECT_EQ(readEverything(array, seed), expected);
        EXPECT_EQ(readEverything(overBuffer, seed), expected);
        EXPECT_EQ(buffer.remaining(), 0u);
    }
}

TEST(DataStreams, ValuesInBulkComeBackThroughAnyStream) {
    // Longer than the blocks in which either side works.
    std::vector<double> values(20'000), read(values.size());
    std::iota(values.begin(), values.end(), 0.7);
    const auto count = static_cast<int32_t>(values.size());
    ByteArrayOutputStream memory;
    FakeSink<Bytes> sink;
    for (const int32_t written : {0, -1, count}) {
        DataOutputStream(&memory).writeValues(values.data(), written);
        DataOutputStream(&sink).writeValues(values.data(), written);
    }
    EXPECT_EQ(sink.content, Content(memory.getBytes(), memory.getBytes() + memory.getSize()));
    FakeSource<Bytes> source(sink.content, 1000);
    DataInputStream in(&source);
    in.readValues(read.data(), count);
    EXPECT_EQ(read, values);
    EXPECT_THROW(in.readValues(read.data(), 1), UnexpectedEOFException);
}

} // namespace
