#include <random>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/io/BufferedInputStream.h>

#include "tests/support/BitPlay.h"
#include "tests/support/ExpectResult.h"

using namespace qxtest;
using qx::io::BitInputStream;
using qx::io::BitOutputStream;

namespace {

using Sink = FakeSink<Bytes>;
using Source = FakeSource<Bytes>;

TEST(BitOutputStream, PacksValuesMostSignificantBitFirst) {
    const struct {
        const char* bytes;
        void (*write)(BitOutputStream&);
    } cases[] = {
        {"\xA0", [](auto& out) { out.writeBit(true), out.writeBit(false), out.writeBit(true); }},
        {"\xA1", [](auto& out) { out.write(5, 3), out.write(1, 5); }},
        {"\xFF\xFF\xFF\xFF", [](auto& out) { out.write(0xFFFFFFFF, 32); }},
        {"\x20\x40", [](auto& out) { out.write(0, 1), out.write(int64_t{0x102}, 10); }},
        {"\x80", [](auto& out) { out.write(static_cast<signed char>(0x80)); }},
        {"\xC1\x20", [](auto& out) { out.writeBit(true), out.write("\x82", 1), out.write(2, 3); }},
        {"", [](auto& out) { out.write("", 0); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes);
        const auto sink = qx::makeReference<Sink>();
        BitOutputStream out(sink.get());
        c.write(out);
        out.flush();
        out.flush(); // nothing is left behind
        EXPECT_EQ(textOf(sink->content), c.bytes);
        EXPECT_EQ(sink->flushes, 2);
    }
}

TEST(BitOutputStream, RefusesWhatDoesNotFitAndTakesNoneOfIt) {
    const auto sink = qx::makeReference<Sink>();
    BitOutputStream out(sink.get());
    for (const int bits : {0, 33, -1})
        expectThrowsResult(qx::result::InvalidArgument, [&] { out.write(0, bits); });
    const std::string tooWide = "Number out of range";
    EXPECT_EQ(descriptionOf([&] { out.write(8, 3); }), tooWide);
    EXPECT_EQ(descriptionOf([&] { out.write(-1, 31); }), tooWide);
    EXPECT_EQ(descriptionOf([&] { out.write(uint64_t{1} << 32, 32); }), tooWide);
    EXPECT_THROW(out.write(2, 1), qx::RangeErrorException);
    out.flush();
    EXPECT_TRUE(sink->content.empty());
}

TEST(BitOutputStream, KeepsItsBitsWhileTheSinkRefusesThem) {
    const auto sink = qx::makeReference<Sink>();
    BitOutputStream out(sink.get());
    out.write(5, 3);
    sink->failing = true;
    EXPECT_THROW(out.write(0, 32), qx::io::IoException);
    EXPECT_THROW(out.flush(), qx::io::IoException);
    sink->failing = false;
    out.write(1, 5);
    EXPECT_EQ(textOf(sink->content), "\xA1");
}

TEST(BitInputStream, EndsWithoutASpareBit) {
    const auto source = qx::makeReference<Source>("\xA1\xFF");
    BitInputStream in(source.get());
    EXPECT_EQ(in.read(3), 5);
    EXPECT_EQ(source->requests.size(), 1u);
    for (const int bits : {0, 33, -1})
        expectThrowsResult(qx::result::InvalidArgument, [&] { in.read(bits); });
    signed char byte;
    EXPECT_EQ(in.read(&byte, 0), -1);
    EXPECT_EQ(in.read(5), 1);
    EXPECT_EQ(in.read(7), 127);
    EXPECT_EQ(in.read(2), -1); // and the one bit is gone
    EXPECT_EQ(in.readBit(), -1);
}

TEST(BitInputStream, SkipsAndMarksBytesOfTheWrappedStream) {
    const auto source = qx::makeReference<Source>("\x12\x34\x56\x78");
    BitInputStream in(new qx::io::BufferedInputStream(source.get()));
    EXPECT_EQ(in.read(4), 1);
    in.mark(8);
    EXPECT_EQ(in.skip(1), 1);
    EXPECT_EQ(in.read(8), 0x25); // the bits of the byte that was begun, and of the third one
    in.reset();
    EXPECT_EQ(in.read(8), 0x63);
}

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

} // namespace
