// Streams that move values, and bits: as they are, and as text with five of them in a character.

#include <numeric>
#include <random>

#include "tests/support/BitPlay.h"

using namespace qxtest;
using namespace qx::io;
using namespace std::string_literals;
using qx::result::InvalidArgument;

namespace {

using Sink = FakeSink<Bytes>;
using Source = FakeSource<Bytes>;
using Content = Units<signed char>;

Content bytesOf(std::initializer_list<int> bytes) { return Content(bytes.begin(), bytes.end()); }

/// Expects @p value to be written as these bytes, each by a call of its own, and to be read
/// likewise.
template <class Written, class Read>
void expectBytes(void (DataOutputStream::*write)(Written), Read (DataInputStream::*read)(),
                 std::type_identity_t<Written> value, std::initializer_list<int> bytes) {
    const Content content = bytesOf(bytes);
    SCOPED_TRACE(testing::PrintToString(content));
    Sink sink;
    DataOutputStream out(&sink);
    (out.*write)(value);
    EXPECT_EQ(sink.content, content);
    EXPECT_EQ(sink.writes, std::vector<int32_t>(content.size(), 1));
    Source source(content);
    DataInputStream in(&source);
    EXPECT_EQ(static_cast<Written>((in.*read)()), value);
    EXPECT_EQ(source.requests, sink.writes);
    // The end is looked at when all bytes of a value were asked for, or of half a wide one.
    for (size_t given = 0; given < content.size(); ++given) {
        Source cut(Content(content.data(), content.data() + given));
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
    Sink sink;
    Out(&sink).writeString(qx::String(u"not written"));
    EXPECT_TRUE(sink.writes.empty());
    Source source("abc");
    EXPECT_TRUE(In(&source).readString().isEmpty());
    EXPECT_TRUE(source.requests.empty());
}

TEST(DataInputStream, WiderValuesAreReadThroughTheOverridableOnes) {
    struct Halving : DataInputStream {
        using DataInputStream::DataInputStream;
        int32_t readInt32() override { return DataInputStream::readInt32() / 2; }
    };
    Source source(bytesOf({0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 6}));
    Halving in(&source);
    EXPECT_EQ(in.readInt64(), 0x100000002);
    EXPECT_EQ(in.readChar32(), 3u);
}

// Streams that keep their bytes in memory are reached by a short way, classes derived from them
// are not. Either way has to leave the same, to the byte and to the call.

template <class Stream>
struct Derived : Stream {
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
                Sink sink;
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
    Sink sink;
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
        const auto content = randomBytes<Content>(random() % 200, random);
        const auto length = static_cast<int32_t>(content.size());
        Source plain(content);
        const auto expected = readEverything(plain, seed);

        Source source(content, 5);
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
    Sink sink;
    for (const int32_t written : {0, -1, count}) {
        DataOutputStream(&memory).writeValues(values.data(), written);
        DataOutputStream(&sink).writeValues(values.data(), written);
    }
    EXPECT_EQ(sink.content, Content(memory.getBytes(), memory.getBytes() + memory.getSize()));
    Source source(sink.content, 1000);
    DataInputStream in(&source);
    in.readValues(read.data(), count);
    EXPECT_EQ(read, values);
    EXPECT_THROW(in.readValues(read.data(), 1), UnexpectedEOFException);
}

TEST(BitStreams, DoAsPlainBitsDo) {
    std::mt19937 random(1);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        const auto bytes = randomBytes<std::vector<uint8_t>>(random() % 600, random);
        ASSERT_NO_THROW(BitWritePlay().play(bytes));
        ASSERT_NO_THROW(BitReadPlay().play(bytes));
    }
}

TEST(BitStreams, RefuseWhatDoesNotFitAndTakeNoneOfIt) {
    Source source("\xA1");
    Sink sink;
    BitInputStream in(&source);
    BitOutputStream out(&sink);
    for (const int bits : {0, 33, -1}) {
        EXPECT_EQ(failureOf([&] { in.read(bits); }), InvalidArgument);
        EXPECT_EQ(failureOf([&] { out.write(0, bits); }), InvalidArgument);
    }
    const std::pair<uint64_t, int> tooWide[] = {{8, 3}, {~0ull, 31}, {1ull << 32, 32}, {2, 1}};
    for (const auto& row : tooWide)
        EXPECT_EQ(descriptionOf<qx::RangeErrorException>([&] { out.write(row.first, row.second); }),
                  "Number out of range");
    EXPECT_THROW(out.write(-1, 31), qx::RangeErrorException);
    out.flush();
    EXPECT_TRUE(sink.content.empty());
    EXPECT_EQ(in.read(8), 0xA1);
}

TEST(BitStreams, KeepTheirBitsWhileTheOtherSideFails) {
    Sink sink;
    BitOutputStream out(&sink);
    out.write(int64_t{5}, 3);
    sink.failing = true;
    EXPECT_THROW(out.write(0, 32), IoException);
    EXPECT_THROW(out.flush(), IoException);
    sink.failing = false;
    out.write(1, 5);
    EXPECT_EQ(textOf(sink.content), "\xA1");

    Source source("\xA1\xB2\xC3");
    source.failAt = 3;
    BitInputStream in(&source);
    EXPECT_EQ(in.read(3), 5);
    EXPECT_THROW(in.read(20), IoException);
    EXPECT_EQ(in.read(20), 0x1B2C3 >> 1);
    EXPECT_EQ(in.readBit(), 1);
}

TEST(BitStreams, GiveEveryBitToADerivedClass) {
    struct Out : BitOutputStream {
        using BitOutputStream::BitOutputStream;
        void writeBit(bool bit) override { BitOutputStream::writeBit(!bit); }
    };
    struct In : BitInputStream {
        using BitInputStream::BitInputStream;
        int readBit() override { return BitInputStream::readBit() ^ 1; }
    };
    Sink sink;
    Out out(&sink);
    out.BitOutputStream::write(0x1BA0, 16);
    const signed char bytes[] = {0x1B, -0x60};
    static_cast<OutputStream&>(out).write(bytes, 2);
    EXPECT_EQ(textOf(sink.content), "\xE4\x5F\xE4\x5F");
    Source source(textOf(sink.content));
    In in(&source);
    EXPECT_EQ(in.BitInputStream::read(28), 0x1BA01BA);
    EXPECT_LT(in.BitInputStream::read(5), 0);
}

constexpr char16_t Forwards[] =
    u"ABCDEFGHJKLMNPQRSTUVWXYZ23456789"; // the alphabet when none is given
constexpr char16_t Backwards[] = u"98765432ZYXWVUTSRQPNMLKJHGFEDCBA";

/// All that comes from @p in, read in pieces of @p piece bytes.
std::string drained(AlphaNumInputStream& in, int32_t piece) {
    std::string all;
    while (readBlock<char>(in, piece, all)) {
    }
    return all;
}

TEST(AlphaNumStreams, DoAsPlainBitsDo) {
    std::mt19937 random(1);
    for (size_t length = 0; length < 1000; length += length < 20 ? 1 : 97) {
        SCOPED_TRACE(length);
        const bool isForwards = length % 2 == 0;
        const char16_t* const alphabet = isForwards ? nullptr : Backwards;
        const std::string symbols = qx::String(isForwards ? Forwards : Backwards).toUtf8();
        const auto bytes = randomBytes<std::string>(length, random);
        Sink sink;
        AlphaNumOutputStream out(&sink, alphabet);
        for (size_t at = 0; at < length;) {
            const size_t piece = std::min<size_t>(random() % 700, length - at);
            out.write(bytes.data() + at, static_cast<int32_t>(piece));
            at += piece;
            EXPECT_EQ(sink.content.size(), at * 8 / 5) << "each as soon as it is known";
        }
        out.flush();
        const std::string text = textOf(sink.content);
        EXPECT_EQ(text, plainAlphaNum(bytes, symbols));
        AlphaNumInputStream in(new Source(text), alphabet);
        EXPECT_EQ(drained(in, static_cast<int32_t>(random() % 50 + 1)),
                  plainFromAlphaNum(text, symbols));
    }
}

TEST(AlphaNumStreams, TakeAnyAlphabetOf32AsciiCharacters) {
    const std::u16string latin = u"\u00E9" + std::u16string(Backwards).substr(1);
    for (const auto& bad :
         {std::u16string(), std::u16string(31, u'A'), std::u16string(33, u'A'), latin}) {
        expectEach(InvalidArgument, {[&] { AlphaNumInputStream(new Source(""), bad.c_str()); },
                                     [&] { AlphaNumOutputStream(new Sink(), bad.c_str()); }});
    }
    AlphaNumInputStream in(new Source("AA"), std::u16string(32, u'A').c_str());
    EXPECT_EQ(drained(in, 2), "\0\0"s) << "the first place of a character counts";
}

TEST(AlphaNumOutputStream, LosesARefusedBlockAloneAndPassesSingleBytesOn) {
    Sink sink;
    AlphaNumOutputStream out(&sink);
    out.write("", 1);
    sink.failing = true;
    EXPECT_THROW(out.write("\xFF\xFF", 2), IoException);
    EXPECT_THROW(out.flush(), IoException);
    sink.failing = false;
    out.flush();
    out.write("\xFF", 1);                      // starts a new group
    out.write(static_cast<signed char>('\n')); // does not disturb it
    out.flush();
    EXPECT_EQ(textOf(sink.content), "AA9\n6");
    EXPECT_EQ(sink.flushes, 2);
}

TEST(AlphaNumInputStream, GoesOnBehindOtherCharactersAndCountsBytes) {
    for (const std::string other : {"a", "\n", "\xC1", "0"}) {
        AlphaNumInputStream in(new Source("AA" + other + "9A6"));
        // Behind: 00 11111 00000 11100.
        EXPECT_EQ(played(in, "r1 r1 r3"), "1:\0 !Invalid AlphaNum character 3:\x3E\x0E\0"s)
            << other;
    }
    Source source("AAAAAAAA96\nAA");
    source.availableNow = 12;
    source.failAt = 5;
    AlphaNumInputStream in(&source);
    // Single bytes are those of the text.
    EXPECT_EQ(played(in, "a s5 s5 s3 r1 . r2 s1 r0"),
              "7 2 !broken source 3 1:\xFF 10 2:\0\0 0 -1"s);
}

} // namespace
