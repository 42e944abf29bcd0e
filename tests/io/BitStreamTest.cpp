// Streams that move bits: as they are, and as text with five of them in a character.

#include <random>

#include <qx/io/AlphaNumInputStream.h>
#include <qx/io/AlphaNumOutputStream.h>
#include <qx/text/charset/EncodingException.h>

#include "tests/support/BitPlay.h"

using namespace qxtest;
using namespace std::string_literals;
using qx::io::AlphaNumInputStream;
using qx::io::AlphaNumOutputStream;
using qx::io::BitInputStream;
using qx::io::BitOutputStream;
using qx::result::InvalidArgument;

namespace {

using Sink = FakeSink<Bytes>;
using Source = FakeSource<Bytes>;

TEST(BitStreams, DoAsPlainBitsDo) {
    std::mt19937 random(1);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        std::vector<uint8_t> bytes(random() % 600);
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(random());
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
    const std::string tooWide = "Number out of range";
    EXPECT_EQ(descriptionOf([&] { out.write(8, 3); }), tooWide);
    EXPECT_EQ(descriptionOf([&] { out.write(-1, 31); }), tooWide);
    EXPECT_EQ(descriptionOf([&] { out.write(uint64_t{1} << 32, 32); }), tooWide);
    EXPECT_THROW(out.write(2, 1), qx::RangeErrorException);
    out.flush();
    EXPECT_TRUE(sink.content.empty());
    EXPECT_EQ(in.read(8), 0xA1);
}

TEST(BitOutputStream, KeepsItsBitsWhileTheSinkRefusesThem) {
    Sink sink;
    BitOutputStream out(&sink);
    out.write(int64_t{5}, 3);
    sink.failing = true;
    EXPECT_THROW(out.write(0, 32), qx::io::IoException);
    EXPECT_THROW(out.flush(), qx::io::IoException);
    sink.failing = false;
    out.write(1, 5);
    EXPECT_EQ(textOf(sink.content), "\xA1");
}

constexpr char16_t Forwards[] =
    u"ABCDEFGHJKLMNPQRSTUVWXYZ23456789"; // the alphabet when none is given
constexpr char16_t Backwards[] = u"98765432ZYXWVUTSRQPNMLKJHGFEDCBA";

/// All that comes from @p in, read in pieces of @p piece bytes.
std::string drained(AlphaNumInputStream& in, int32_t piece) {
    std::string all, bytes(static_cast<size_t>(piece), '\0');
    for (int32_t count; (count = in.read(bytes.data(), piece)) >= 0;)
        all += bytes.substr(0, static_cast<size_t>(count));
    return all;
}

TEST(BitInputStream, KeepsItsBitsWhileTheSourceFails) {
    const auto source = qx::makeReference<Source>("\xA1\xB2\xC3");
    source->failAt = 3;
    BitInputStream in(source.get());
    EXPECT_EQ(in.read(3), 5);
    EXPECT_THROW(in.read(20), qx::io::IoException);
    EXPECT_EQ(in.read(20), 0x1B2C3 >> 1);
    EXPECT_EQ(in.readBit(), 1);
}

TEST(AlphaNumStreams, DoAsPlainBitsDo) {
    std::mt19937 random(1);
    for (size_t length = 0; length < 1000; length += length < 20 ? 1 : 97) {
        SCOPED_TRACE(length);
        const bool isForwards = length % 2 == 0;
        const char16_t* const alphabet = isForwards ? nullptr : Backwards;
        const std::string symbols = qx::String(isForwards ? Forwards : Backwards).toUtf8();
        std::string bytes(length, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        Sink sink;
        AlphaNumOutputStream out(&sink, alphabet);
        for (size_t at = 0; at < length;) {
            const size_t piece = std::min<size_t>(random() % 700, length - at);
            out.write(bytes.data() + at, static_cast<int32_t>(piece));
            at += piece;
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
        EXPECT_EQ(failureOf([&] { AlphaNumInputStream(new Source(""), bad.c_str()); }),
                  InvalidArgument);
        EXPECT_EQ(failureOf([&] { AlphaNumOutputStream(new Sink(), bad.c_str()); }),
                  InvalidArgument);
    }
    AlphaNumInputStream in(new Source("AA"), u"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA");
    EXPECT_EQ(drained(in, 2), "\0\0"s) << "the first place of a character counts";
}

TEST(AlphaNumOutputStream, WritesACharacterAsSoonAsItIsKnown) {
    Sink sink;
    AlphaNumOutputStream out(&sink);
    for (const size_t characters : {1u, 3u, 4u, 6u, 8u, 9u}) {
        out.write("", 1);
        EXPECT_EQ(sink.content.size(), characters);
    }
    sink.failing = true;
    EXPECT_THROW(out.write("\xFF\xFF", 2), qx::io::IoException);
    EXPECT_THROW(out.flush(), qx::io::IoException);
    sink.failing = false;
    out.flush();
    out.write("\xFF", 1);                      // starts a new group
    out.write(static_cast<signed char>('\n')); // does not disturb it
    out.flush();
    EXPECT_EQ(textOf(sink.content), "AAAAAAAAAA9\n6");
    EXPECT_EQ(sink.flushes, 2);
}

TEST(AlphaNumInputStream, RefusesOtherCharactersAndGoesOnBehindThem) {
    for (const std::string other : {"a", "\n", "\xC1", "0"}) {
        SCOPED_TRACE(other);
        AlphaNumInputStream in(new Source("AA" + other + "9A6"));
        char byte = 'x';
        EXPECT_EQ(in.read(&byte, 1), 1);
        EXPECT_EQ(byte, '\0');
        EXPECT_EQ(descriptionOf([&] { in.read(&byte, 1); }), "Invalid AlphaNum character");
        EXPECT_EQ(drained(in, 3), "\x3E\x0E\0"s); // 00 11111 00000 11100, and zero bits
    }
    AlphaNumInputStream in(new Source("0"));
    EXPECT_THROW(drained(in, 1), qx::text::charset::InvalidCharacterException);
}

TEST(AlphaNumInputStream, CountsBytesNotCharacters) {
    Source source("AAAAAAAA96\nAA");
    source.availableNow = 12;
    AlphaNumInputStream in(&source);
    EXPECT_EQ(in.available(), 7);
    EXPECT_EQ(in.skip(5), 5);
    char byte = 0;
    EXPECT_EQ(in.read(&byte, 1), 1);
    EXPECT_EQ(byte, '\xFF');
    EXPECT_EQ(in.read(), '\n') << "single bytes are those of the text";
    EXPECT_EQ(drained(in, 2), "\0\0"s);
    EXPECT_EQ(in.skip(1), 0);
    EXPECT_EQ(in.read(&byte, 0), -1);
}

} // namespace
