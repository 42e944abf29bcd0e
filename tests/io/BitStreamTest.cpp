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
using qx::io::IoException;
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
        std::string bytes(length, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
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
        EXPECT_EQ(failureOf([&] { AlphaNumInputStream(new Source(""), bad.c_str()); }),
                  InvalidArgument);
        EXPECT_EQ(failureOf([&] { AlphaNumOutputStream(new Sink(), bad.c_str()); }),
                  InvalidArgument);
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

TEST(AlphaNumInputStream, RefusesOtherCharactersAndGoesOnBehindThem) {
    for (const std::string other : {"a", "\n", "\xC1", "0"}) {
        AlphaNumInputStream in(new Source("AA" + other + "9A6"));
        // Behind: 00 11111 00000 11100.
        EXPECT_EQ(played(in, "r1 r1 r3"), "1:\0 !Invalid AlphaNum character 3:\x3E\x0E\0"s)
            << other;
    }
}

TEST(AlphaNumInputStream, CountsBytesNotCharacters) {
    Source source("AAAAAAAA96\nAA");
    source.availableNow = 12;
    AlphaNumInputStream in(&source);
    // Single bytes are those of the text.
    EXPECT_EQ(played(in, "a s5 r1 . r2 s1 r0"), "7 5 1:\xFF 10 2:\0\0 0 -1"s);
}

} // namespace
