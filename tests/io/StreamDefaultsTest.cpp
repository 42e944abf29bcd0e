#include <climits>

#include <qx/io/BitInputStream.h>
#include <qx/io/DataInputStream.h>
#include <qx/io/HeldFlushWriter.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;
using qx::makeReference;

namespace {

template <class Twin>
class StreamDefaults : public testing::Test {};
using Twins = testing::Types<Bytes, Chars>;
TYPED_TEST_SUITE(StreamDefaults, Twins);

TYPED_TEST(StreamDefaults, SkipReadsInBlocksOf256UntilTheEnd) {
    FakeSource<TypeParam> source(std::string(700, 'x'));
    EXPECT_EQ(source.skip(0), 0);
    EXPECT_EQ(source.skip(-1), 0);
    EXPECT_EQ(source.skip(300), 300);
    EXPECT_EQ(source.skip(1000), 400);
    EXPECT_EQ(source.requests, (std::vector<int32_t>{256, 44, 256, 256, 256}));
}

TYPED_TEST(StreamDefaults, SingleUnitsGoThroughTheBlockFormAndMarksAreNotSupported) {
    using Unit = typename TypeParam::Unit;
    FakeSource<TypeParam> source(Units<Unit>{static_cast<Unit>(-1)});
    EXPECT_EQ(source.read(), sizeof(Unit) == 1 ? 0xFF : 0xFFFF);
    EXPECT_EQ(source.read(), -1);
    EXPECT_EQ(source.requests, (std::vector<int32_t>{1, 1}));
    FakeSink<TypeParam> sink;
    sink.write(static_cast<Unit>('x'));
    EXPECT_EQ(sink.writes, (std::vector<int32_t>{1}));
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

TYPED_TEST(StreamDefaults, FiltersForwardOneToOneAndLetGo) {
    const auto source = makeReference<NotingSource<TypeParam>>();
    {
        typename TypeParam::FilterSource filter(source);
        typename TypeParam::Unit unit;
        EXPECT_EQ(filter.read(&unit, 5) + filter.read() + filter.skip(6), 3 * 77);
        EXPECT_EQ(filter.available(), 77);
        EXPECT_TRUE(filter.markSupported());
        filter.mark(8);
        filter.reset();
        filter.close();
    }
    EXPECT_EQ(source->notes, "read 5;single 0;skip 6;available 0;markSupported 0;mark 8;reset 0;"
                             "close 0;");
    EXPECT_EQ(source->GetRefCount(), 1u);
}

TYPED_TEST(StreamDefaults, WrappersRefuseNull) {
    const auto refused = [](auto make) { EXPECT_EQ(failureOf(make), qx::result::NullPointer); };
    refused([] { typename TypeParam::FilterSource(nullptr); });
    refused([] { typename TypeParam::FilterSink(nullptr); });
    refused([] { typename TypeParam::BufferedSource(nullptr, 16); });
    refused([] { typename TypeParam::BufferedSink(nullptr, 16); });
    refused([] { InputStreamReader(nullptr); });
    refused([] { OutputStreamWriter(nullptr); });
    refused([] { BitInputStream(nullptr); }); // looks at the stream when it is made
    refused([] { ByteBufferInputStream(nullptr); });
    refused([] { ByteBufferOutputStream(nullptr); });
}

/// Claims to have read more than it was asked for.
template <class Twin>
class Boaster : public Twin::Source {
public:
    int32_t read(typename Twin::Unit*, int32_t length) override { return length + 1; }
};

TYPED_TEST(StreamDefaults, WhatASourceClaimsBeyondTheMemoryItWasGivenIsAnError) {
    Boaster<TypeParam> boaster;
    Boaster<Bytes> bytes;
    typename TypeParam::BufferedSource buffered(&boaster, 16);
    typename TypeParam::Unit units[32];
    signed char place[8];
    ByteBuffer buffer(8, QX_ENDIAN_LITTLE, false);
    const auto refused = [](auto read) { EXPECT_THROW(read(), IoException); };
    refused([&] { boaster.skip(10); });
    refused([&] { buffered.read(); });
    refused([&] { buffered.read(units, 32); });
    refused([&] { buffered.skip(1); });
    refused([&] { buffer.readFrom(&bytes); });
    refused([&] { DataInputStream(&bytes).readFully(place, 8); });
    refused([&] { InputStreamReader(&bytes, u"ASCII").read(); });
    EXPECT_EQ(buffer.getPosition(), 0u);
}

TEST(ByteStreams, TakeEveryKindOfByte) {
    FakeSink<Bytes> out;
    const unsigned char high[] = {0xFF};
    out.write("ab", 2);
    out.write(high, 1);
    EXPECT_EQ(out.content, (Units<signed char>{'a', 'b', -1}));
    FakeSource<Bytes> in(out.content);
    char plain = 0;
    unsigned char bytes[2];
    EXPECT_EQ(in.read(&plain, 1) + in.read(bytes, 2), 3);
    EXPECT_EQ(plain, 'a');
    EXPECT_EQ(bytes[1], 0xFF);
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

/// Expects @p text, and a flush behind each line when that is asked for.
template <class Value>
void expectPrinted(Value value, const std::string& text) {
    for (const bool flushes : {false, true}) {
        FakeSink<Chars> sink;
        PrintWriter out(&sink, flushes);
        out.print(value);
        EXPECT_EQ(sink.flushes, 0);
        out.println(value);
        EXPECT_EQ(textOf(sink.content), text + text + "\n");
        EXPECT_EQ(sink.flushes, flushes ? 1 : 0);
        out.println();
        EXPECT_EQ(sink.flushes, flushes ? 2 : 0);
    }
}

TEST(PrintWriter, PrintsEveryKindOfValueAndFlushesBehindLinesWhenAsked) {
    expectPrinted(qx::String(u"text"), "text");
    expectPrinted("bytes", "bytes");
    expectPrinted(u"units", "units");
    expectPrinted(u'u', "u");
    expectPrinted(1e100, "1e+100");
    expectPrinted(0.1f, "0.1");
    expectPrinted(1234567.0, "1.23457e+06");
    expectPrinted(INT_MIN, "-2147483648");
    expectPrinted(LONG_MIN, "-9223372036854775808");
    expectPrinted(UINT_MAX, "4294967295");
    expectPrinted(ULONG_MAX, "18446744073709551615");
    expectPrinted(LLONG_MAX, "9223372036854775807");
    expectPrinted(ULLONG_MAX, "18446744073709551615");
    expectPrinted(true, "true");
    expectPrinted(false, "false");
}

/// Tells the forms of write apart.
class NotingWriter : public Writer {
public:
    void write(const qx::String&) override { notes += "string;"; }
    void write(const char16_t*) override { notes += "text;"; }
    void write(const char16_t*, int32_t) override { notes += "block;"; }
    void write(char16_t) override { notes += "unit;"; }
    void flush() override {
        if (failing)
            throw IoException(qx::String(u"broken sink"));
        notes += "flush;";
    }
    void close() override { notes += "close;"; }
    std::string take() { return std::exchange(notes, ""); }

    std::string notes;
    bool failing = false;
};

constexpr uint32_t Never = 3'600'000;

TEST(HeldFlushWriter, PassesEveryFormOnAtOnceAndFlushesOnRelease) {
    NotingWriter sink;
    HeldFlushWriter held(&sink, Never);
    held.write(qx::String(u"a"));
    held.flush();
    held.write(u"a");
    held.write(u"a", 1);
    held.write(u'a');
    held.flush();
    EXPECT_EQ(sink.take(), "string;text;block;unit;");
    held.release();
    held.release(); // nothing is held back any more
    EXPECT_EQ(sink.take(), "flush;");
}

TEST(HeldFlushWriter, FlushesOnceTheTimeBoundHasPassed) {
    NotingWriter sink;
    HeldFlushWriter held(&sink, 1u), immediate(&sink, 0u);
    held.flush();
    while (sink.notes.empty())
        held.flush();
    immediate.flush();
    EXPECT_EQ(sink.notes, "flush;flush;");
}

TEST(HeldFlushWriter, CloseAndDestructorCarryOutWhatIsHeldBack) {
    NotingWriter sink;
    {
        HeldFlushWriter closed(&sink, Never);
        closed.flush();
        closed.close();
        EXPECT_EQ(sink.take(), "flush;close;");
    }
    EXPECT_EQ(sink.take(), "");
    HeldFlushWriter(&sink, Never).flush();
    EXPECT_EQ(sink.take(), "flush;");
}

TEST(HeldFlushWriter, KeepsAFailedFlushForTheNextAttempt) {
    NotingWriter sink;
    auto held = makeReference<HeldFlushWriter>(&sink, Never);
    held->flush();
    sink.failing = true;
    EXPECT_THROW(held->release(), IoException);
    sink.failing = false;
    held->release();
    EXPECT_EQ(sink.take(), "flush;");

    held->flush();
    sink.failing = true;
    EXPECT_THROW(held->close(), IoException);
    EXPECT_EQ(sink.take(), "close;") << "closed nevertheless";
    held->flush();
    held.reset(); // swallows the failure
}

} // namespace
