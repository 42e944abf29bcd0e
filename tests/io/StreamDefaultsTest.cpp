#include <gtest/gtest.h>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/BitInputStream.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/ByteBufferInputStream.h>
#include <qx/io/ByteBufferOutputStream.h>
#include <qx/io/DataInputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/StringWriter.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FakeStreams.h"

using namespace qxtest;

namespace {

template <class Twin>
class StreamDefaults : public testing::Test {};
using Twins = testing::Types<Bytes, Chars>;
TYPED_TEST_SUITE(StreamDefaults, Twins);

TYPED_TEST(StreamDefaults, SkipReadsInBlocksOf256UntilTheEnd) {
    FakeSource<TypeParam> source(std::string(700, 'x'));
    EXPECT_EQ(source.skip(0), 0);
    EXPECT_EQ(source.skip(-1), 0);
    EXPECT_TRUE(source.requests.empty());
    EXPECT_EQ(source.skip(300), 300);
    EXPECT_EQ(source.requests, (std::vector<int32_t>{256, 44}));
    EXPECT_EQ(source.skip(1000), 400);
    EXPECT_EQ(source.requests, (std::vector<int32_t>{256, 44, 256, 256, 256}));
}

TYPED_TEST(StreamDefaults, SingleUnitsGoThroughTheBlockForm) {
    using Unit = typename TypeParam::Unit;
    FakeSource<TypeParam> source(Units<Unit>{static_cast<Unit>(-1)});
    EXPECT_EQ(source.read(), sizeof(Unit) == 1 ? 0xFF : 0xFFFF);
    EXPECT_EQ(source.read(), -1);
    EXPECT_EQ(source.requests, (std::vector<int32_t>{1, 1}));
    FakeSink<TypeParam> sink;
    sink.write(static_cast<Unit>('x'));
    EXPECT_EQ(sink.writes, (std::vector<int32_t>{1}));
}

TYPED_TEST(StreamDefaults, MarksAreNotSupported) {
    FakeSource<TypeParam> source(std::string("abc"));
    EXPECT_FALSE(source.markSupported());
    source.mark(10);
    EXPECT_EQ(descriptionOf([&] { source.reset(); }), "mark/reset not supported");
}

/// Notes which operations reach it.
template <class Twin>
class NotingSource : public Twin::Source {
public:
    using Unit = typename Twin::Unit;
    int32_t read(Unit*, int32_t length) override { return note("read", length); }
    int read() override { return note("single", 0); }
    int32_t skip(int32_t count) override { return note("skip", count); }
    int32_t available() override { return note("available", 0); }
    void close() override { note("close", 0); }
    bool markSupported() override { return note("markSupported", 0) != 0; }
    void mark(int32_t limit) override { note("mark", limit); }
    void reset() override { note("reset", 0); }

    std::string notes;

private:
    int32_t note(const char* operation, int32_t value) {
        notes += std::string(operation) + ' ' + std::to_string(value) + ';';
        return 77;
    }
};

TYPED_TEST(StreamDefaults, FiltersForwardOneToOne) {
    NotingSource<TypeParam> source;
    typename TypeParam::FilterSource filter(&source);
    typename TypeParam::Unit unit;
    EXPECT_EQ(filter.read(&unit, 5), 77);
    EXPECT_EQ(filter.read(), 77);
    EXPECT_EQ(filter.skip(6), 77);
    EXPECT_EQ(filter.available(), 77);
    EXPECT_TRUE(filter.markSupported());
    filter.mark(8);
    filter.reset();
    filter.close();
    EXPECT_EQ(source.notes, "read 5;single 0;skip 6;available 0;markSupported 0;mark 8;reset 0;"
                            "close 0;");
}

TYPED_TEST(StreamDefaults, WrappersRefuseNull) {
    const auto refused = [](auto make) { expectThrowsResult(qx::result::NullPointer, make); };
    refused([] { typename TypeParam::FilterSource(nullptr); });
    refused([] { typename TypeParam::FilterSink(nullptr); });
    refused([] { typename TypeParam::BufferedSource(nullptr, 16); });
    refused([] { typename TypeParam::BufferedSink(nullptr, 16); });
    refused([] { qx::io::InputStreamReader(nullptr); });
    refused([] { qx::io::OutputStreamWriter(nullptr); });
    refused([] { qx::io::BitInputStream(nullptr); }); // looks at the stream when it is made
    refused([] { qx::io::ByteBufferInputStream(nullptr); });
    refused([] { qx::io::ByteBufferOutputStream(nullptr); });
}

/// Claims to have read more than it was asked for.
template <class Twin>
class Boaster : public Twin::Source {
public:
    int32_t read(typename Twin::Unit*, int32_t length) override { return length + 1; }
};

TYPED_TEST(StreamDefaults, WhatASourceClaimsBeyondTheMemoryItWasGivenIsAnError) {
    using Unit = typename TypeParam::Unit;
    Boaster<TypeParam> boaster;
    EXPECT_THROW(boaster.skip(10), qx::io::IoException);
    typename TypeParam::BufferedSource buffered(&boaster, 16);
    Unit units[32];
    EXPECT_THROW(buffered.read(), qx::io::IoException);
    EXPECT_THROW(buffered.read(units, 32), qx::io::IoException);
    EXPECT_THROW(buffered.skip(1), qx::io::IoException);

    Boaster<Bytes> bytes;
    signed char place[8];
    qx::io::ByteBuffer buffer(8, QX_ENDIAN_LITTLE, false);
    EXPECT_THROW(buffer.readFrom(&bytes), qx::io::IoException);
    EXPECT_EQ(buffer.getPosition(), 0u);
    EXPECT_THROW(qx::io::DataInputStream(&bytes).readFully(place, 8), qx::io::IoException);
    EXPECT_THROW(qx::io::InputStreamReader(&bytes, u"ASCII").read(), qx::io::IoException);
}

/// Tells the forms of write apart.
class NotingWriter : public qx::io::Writer {
public:
    void write(const qx::String&) override { notes += "string;"; }
    void write(const char16_t*) override { notes += "text;"; }
    void write(const char16_t*, int32_t) override { notes += "block;"; }
    void write(char16_t) override { notes += "unit;"; }
    void flush() override { notes += "flush;"; }
    void close() override { notes += "close;"; }

    std::string notes;
};

TEST(FilterWriter, ForwardsEveryFormAsItIs) {
    NotingWriter writer;
    qx::io::FilterWriter filter(&writer);
    filter.write(qx::String(u"a"));
    filter.write(u"a");
    filter.write(u"a", 1);
    filter.write(u'a');
    filter.flush();
    filter.close();
    EXPECT_EQ(writer.notes, "string;text;block;unit;flush;close;");
}

TEST(Writer, TextFormsGoThroughTheBlockForm) {
    FakeSink<Chars> writer;
    writer.write(qx::String(u"ab\0c", 4));
    writer.write(u"de");
    writer.write(u"");
    writer.write(static_cast<const char16_t*>(nullptr));
    writer.write(u'f');
    EXPECT_EQ(writer.writes, (std::vector<int32_t>{4, 2, 0, 0, 1}));
    EXPECT_EQ(textOf(writer.content), std::string("ab\0cdef", 7));
}

TEST(OutputStream, TakesEveryKindOfByte) {
    FakeSink<Bytes> out;
    const unsigned char high[] = {0xFF};
    out.write("ab", 2);
    out.write(high, 1);
    EXPECT_EQ(out.content, (Units<signed char>{'a', 'b', -1}));
}

TEST(StringWriter, CollectsTextAndGivesCopies) {
    qx::io::StringWriter writer(10);
    writer.write(u"ab");
    const qx::String early = writer.toString();
    const qx::io::StringWriter copied(writer);
    writer.write(u'c');
    writer.close();
    EXPECT_EQ(early, u"ab");
    EXPECT_EQ(copied.toString(), u"ab");
    EXPECT_EQ(writer.toString(), u"abc");
}

} // namespace
