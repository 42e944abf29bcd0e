#include <climits>

#include <qx/io/BitInputStream.h>
#include <qx/io/Copy.h>
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

TYPED_TEST(StreamDefaults, CopiesToTheEndWhatCameBeforeAFailureToo) {
    const std::string content(50'000, 'x');
    FakeSource<TypeParam> source(content, 10'000);
    source.failAt = 4;
    FakeSink<TypeParam> sink;
    EXPECT_THROW(copy(&source, &sink), IoException);
    EXPECT_EQ(copy(source, sink), 20'000);
    EXPECT_EQ(textOf(sink.content), content);
}

TYPED_TEST(StreamDefaults, SkipReadsInBlocksOf256UntilTheEnd) {
    FakeSource<TypeParam> source(std::string(700, 'x'));
    EXPECT_EQ(played<typename TypeParam::Unit>(source, "s0 s-1 s300 s1000"), "0 0 300 400");
    EXPECT_EQ(source.requests, (std::vector<int32_t>{256, 44, 256, 256, 256}));
}

TYPED_TEST(StreamDefaults, SingleUnitsGoThroughTheBlockFormAndMarksAreNotSupported) {
    using Unit = typename TypeParam::Unit;
    FakeSource<TypeParam> source(Units<Unit>{static_cast<Unit>(-1)});
    EXPECT_EQ(played<Unit>(source, ". . m10 x"),
              std::to_string(sizeof(Unit) == 1 ? 0xFF : 0xFFFF) + " -1  !mark/reset not supported");
    EXPECT_EQ(source.requests, (std::vector<int32_t>{1, 1}));
    EXPECT_FALSE(source.markSupported());
    FakeSink<TypeParam> sink;
    sink.write(static_cast<Unit>('x'));
    EXPECT_EQ(sink.writes, (std::vector<int32_t>{1}));
}

TYPED_TEST(StreamDefaults, WrappersRefuseNullAndLetGo) {
    expectEach(qx::result::NullPointer,
               {[] { typename TypeParam::FilterSource(nullptr); },
                [] { typename TypeParam::FilterSink(nullptr); },
                [] { typename TypeParam::BufferedSource(nullptr, 16); },
                [] { typename TypeParam::BufferedSink(nullptr, 16); },
                [] { InputStreamReader(nullptr); }, [] { OutputStreamWriter(nullptr); },
                [] { BitInputStream(nullptr); }, [] { ByteBufferInputStream(nullptr); },
                [] { ByteBufferOutputStream(nullptr); }});
    const auto source = makeReference<FakeSource<TypeParam>>("");
    typename TypeParam::FilterSource{source};
    EXPECT_EQ(source->GetRefCount(), 1u);
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
    expectEach<IoException>(
        {[&] { boaster.skip(10); }, [&] { buffered.read(); }, [&] { buffered.read(units, 32); },
         [&] { buffered.skip(1); }, [&] { buffer.readFrom(&bytes); },
         [&] { DataInputStream(&bytes).readFully(place, 8); }, [&] { readAll(bytes); },
         [&] { InputStreamReader(&bytes, u"ASCII").read(); }});
    EXPECT_EQ(buffer.getPosition(), 0u);
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
void expectPrinted(auto value, const std::string& text) {
    for (const int flushes : {0, 1}) {
        FakeSink<Chars> sink;
        PrintWriter out(&sink, flushes != 0);
        out.print(value);
        EXPECT_EQ(sink.flushes, 0);
        out.println(value);
        EXPECT_EQ(textOf(sink.content), text + text + "\n");
        EXPECT_EQ(sink.flushes, flushes);
        out.println();
        EXPECT_EQ(sink.flushes, 2 * flushes);
    }
}

TEST(PrintWriter, PrintsEveryKindOfValueAndFlushesBehindLinesWhenAsked) {
    expectPrinted(qx::String(u"text"), "text");
    expectPrinted("bytes", "bytes");
    expectPrinted(u"units", "units");
    expectPrinted(u'u', "u");
    expectPrinted(1e100, "1e+100");
    expectPrinted(0.1f, "0.1");
    expectPrinted(INT_MIN, "-2147483648");
    expectPrinted(LONG_MIN, "-9223372036854775808");
    expectPrinted(UINT_MAX, "4294967295");
    expectPrinted(ULONG_MAX, "18446744073709551615");
    expectPrinted(LLONG_MAX, "9223372036854775807");
    expectPrinted(ULLONG_MAX, "18446744073709551615");
    expectPrinted(true, "true");
    expectPrinted(false, "false");
}

/// Tells what reaches it apart.
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

    std::string notes;
    bool failing = false;
};

constexpr uint32_t Never = 3'600'000;

TEST(HeldFlushWriter, PassesEveryFormOnAtOnceAndHoldsFlushesBack) {
    NotingWriter sink;
    const auto notes = [&sink] { return std::exchange(sink.notes, ""); };
    {
        HeldFlushWriter held(&sink, Never);
        held.write(qx::String(u"a"));
        held.flush();
        held.write(u"a");
        held.write(u"a", 1);
        held.write(u'a');
        held.flush();
        EXPECT_EQ(notes(), "string;text;block;unit;");
        sink.failing = true; // what fails is kept for the next attempt
        expectEach<IoException>({[&] { held.release(); }, [&] { held.release(); }});
        sink.failing = false;
        held.release();
        held.release(); // nothing is held back any more
        EXPECT_EQ(notes(), "flush;");
        held.flush();
        held.close();
        EXPECT_EQ(notes(), "flush;close;");
        held.flush();
        sink.failing = true;
        EXPECT_THROW(held.close(), IoException);
        sink.failing = false;
        held.release(); // nothing is left that could be flushed
        EXPECT_EQ(notes(), "close;") << "closed nevertheless";
        held.flush();
        sink.failing = true; // which the destructor swallows
    }
    sink.failing = false;
    HeldFlushWriter(&sink, Never).flush();
    EXPECT_EQ(notes(), "flush;");
    HeldFlushWriter held(&sink, 1u), immediate(&sink, 0u);
    held.flush();
    while (sink.notes.empty()) // once the time bound has passed
        held.flush();
    immediate.flush();
    EXPECT_EQ(notes(), "flush;flush;");
}

} // namespace
