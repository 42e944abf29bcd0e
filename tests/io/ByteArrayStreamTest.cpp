#include <gtest/gtest.h>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::io::ByteArrayInputStream;
using qx::io::ByteArrayOutputStream;

namespace {

class Growing : public ByteArrayOutputStream {
public:
    using ByteArrayOutputStream::ByteArrayOutputStream;
    using ByteArrayOutputStream::ensureCapacity;
    using ByteArrayOutputStream::reallocBuffer;
};

std::string contentOf(const ByteArrayOutputStream& out) {
    return {reinterpret_cast<const char*>(out.getBytes()), static_cast<size_t>(out.getSize())};
}

TEST(ByteArrayInputStream, TestsTheEndFirst) {
    ByteArrayInputStream empty(nullptr, 0);
    expectThrowsResult(qx::result::NullPointer, [] { ByteArrayInputStream(nullptr, 1); });
    signed char bytes[8];
    EXPECT_EQ(empty.read(bytes, 5), -1);
    EXPECT_EQ(empty.read(bytes, 0), -1);

    const signed char content[] = {1, -1, 3};
    ByteArrayInputStream in(content, 3);
    EXPECT_EQ(in.read(bytes, 0), 0);
    EXPECT_EQ(in.read(bytes, -1), 0);
    EXPECT_EQ(in.read(), 1);
    EXPECT_EQ(in.read(bytes, 8), 2);
    EXPECT_EQ(bytes[0], -1);
    EXPECT_EQ(in.read(bytes, 0), -1);
}

TEST(ByteArrayInputStream, OwnsItsBytes) {
    auto bytes = std::make_unique<signed char[]>(1);
    bytes[0] = 42;
    ByteArrayInputStream in(bytes.get(), 1);
    bytes[0] = 0;
    bytes.reset();
    EXPECT_EQ(in.read(), 42);
}

TEST(ByteArrayOutputStream, GrowsByAQuarterOfWhatItNeeds) {
    const struct {
        int32_t capacity;
        int32_t written;
        int32_t grown;
    } cases[] = {
        {256, 256, 256}, {256, 257, 321}, {0, 1, 1}, {0, 4, 5}, {-3, 0, 0}, {10, 1000, 1250},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.written);
        ByteArrayOutputStream out(c.capacity);
        const std::string bytes(static_cast<size_t>(c.written), 'x');
        out.write(bytes.data(), c.written);
        EXPECT_EQ(out.getCapacity(), c.grown);
        EXPECT_EQ(contentOf(out), bytes);
        out.reset();
        EXPECT_EQ(out.getSize(), 0);
        EXPECT_EQ(out.getCapacity(), c.grown);
    }
    EXPECT_EQ(ByteArrayOutputStream().getCapacity(), 256);
}

TEST(ByteArrayOutputStream, MakesRoomForDerivedClasses) {
    Growing out(10);
    out.write("abc", 3);
    out.ensureCapacity(10);
    EXPECT_EQ(out.getCapacity(), 10);
    out.ensureCapacity(11);
    EXPECT_EQ(out.getCapacity(), 13);
    out.reallocBuffer(1); // never below what is written
    EXPECT_EQ(out.getCapacity(), 3);
    EXPECT_EQ(contentOf(out), "abc");
}

TEST(ByteArrayOutputStream, WritesItsOwnBytesToItself) {
    ByteArrayOutputStream out(3);
    out.write("abc", 3);
    for (int i = 0; i < 4; ++i)
        out.writeTo(&out);
    std::string expected;
    for (int i = 0; i < 16; ++i)
        expected += "abc";
    EXPECT_EQ(contentOf(out), expected);
}

TEST(ByteArrayOutputStream, CopiesAtMostWhatFits) {
    ByteArrayOutputStream out;
    out.write("abc", 3);
    signed char bytes[4] = {};
    EXPECT_EQ(out.getBytes(bytes, 2), 2);
    EXPECT_EQ(bytes[2], 0);
    EXPECT_EQ(out.getBytes(bytes, 4), 3);
    EXPECT_EQ(out.getBytes(bytes, 0), 0);
    EXPECT_EQ(out.getBytes(bytes, -1), 0);
}

TEST(ByteArrayOutputStream, GivesItsBytesToStreamsAndAsText) {
    ByteArrayOutputStream out;
    out.write("a\xC3\xA9", 3);
    EXPECT_EQ(out.toString(u"UTF-8"), u"a\u00E9");
    EXPECT_EQ(out.toString(u"ISO8859_1"), u"a\u00C3\u00A9");
    ByteArrayOutputStream ascii;
    ascii.write("abc", 3);
    EXPECT_EQ(ascii.toString(), u"abc");
    FakeSink<Bytes> sink;
    out.writeTo(&sink);
    EXPECT_EQ(sink.writes, (std::vector<int32_t>{3}));
    expectThrowsResult(qx::result::NullPointer, [&out] { out.writeTo(nullptr); });
}

} // namespace
