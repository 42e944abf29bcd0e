// What the byte layer and the character layer have in common, and the way from one to the other.

#include <climits>
#include <random>
#include <sstream>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;
using qx::makeReference;

namespace {

/// Text of units that are all different over a long way, whose upper half is negative as a byte.
std::string distinctText(int length) {
    std::string text;
    for (int i = 0; i < length; ++i)
        text.push_back(static_cast<char>(i * 7));
    return text;
}

template <class Twin>
class Streams : public testing::Test {};
using Twins = testing::Types<Bytes, Chars>;
TYPED_TEST_SUITE(Streams, Twins);

/// The buffer by its rules, without any short way.
template <class Twin>
class PlainBuffer {
public:
    using Unit = typename Twin::Unit;

    PlainBuffer(FakeSource<Twin>& source, int32_t size)
        : m_source(source), m_size(std::max(size, 16)) {}

    int32_t read(Unit* to, int32_t length) {
        int32_t delivered = 0;
        while (delivered < length) {
            const int32_t wanted = length - delivered;
            if (isExhausted()) {
                if (delivered > 0 && m_source.available() == 0)
                    break;
                if (wanted >= m_size && m_mark < 0) {
                    delivered += std::max(m_source.read(to + delivered, wanted), 0);
                    break;
                }
                if (!fill())
                    break;
            }
            const auto count = std::min<size_t>(m_buffer.size() - m_position, size_t(wanted));
            std::copy_n(m_buffer.begin() + static_cast<ptrdiff_t>(m_position), count,
                        to + delivered);
            m_position += count;
            delivered += static_cast<int32_t>(count);
        }
        return delivered == 0 ? -1 : delivered;
    }
    int32_t read() {
        Unit unit;
        return read(&unit, 1) < 0 ? -1 : static_cast<std::make_unsigned_t<Unit>>(unit);
    }
    int32_t skip(int32_t count) {
        int32_t skipped = 0;
        for (; skipped < count && (!isExhausted() || fill()); ++skipped)
            ++m_position;
        return skipped;
    }
    int32_t available() {
        return m_source.available() + static_cast<int32_t>(m_buffer.size() - m_position);
    }
    void mark(int32_t limit) {
        m_limit = limit;
        m_mark = static_cast<int32_t>(m_position);
    }
    void reset() {
        if (m_mark < 0)
            throw IoException(qx::String(m_mark == -1 ? u"stream not marked" : u"mark invalid"));
        m_position = static_cast<size_t>(m_mark);
    }
    void close() {}

private:
    bool isExhausted() const { return m_position == m_buffer.size(); }
    bool fill() {
        const int32_t marked = static_cast<int32_t>(m_position) - m_mark;
        Units<Unit> kept;
        if (m_mark >= 0 && marked < m_limit) {
            m_buffer.erase(m_buffer.begin(), m_buffer.begin() + m_mark);
            kept = m_buffer;
            m_size = std::max(m_size, m_limit);
            m_mark = 0;
            m_position = kept.size();
        } else if (m_mark >= 0) {
            m_mark = -2;
        }
        const size_t before = kept.size();
        readBlock<Unit>(m_source, m_size - static_cast<int32_t>(before), kept);
        if (kept.size() == before)
            return false;
        m_buffer = kept;
        m_position = before;
        return true;
    }

    FakeSource<Twin>& m_source;
    int32_t m_size, m_limit = 0, m_mark = -1;
    Units<Unit> m_buffer;
    size_t m_position = 0;
};

TYPED_TEST(Streams, BufferedSourceFollowsAPlainBufferDownToTheReadsOfItsSource) {
    std::mt19937 random(20240501);
    const auto upTo = [&random](int32_t limit) {
        return std::uniform_int_distribution<int32_t>(0, limit)(random);
    };
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE(round);
        const std::string content = distinctText(upTo(400));
        const int32_t portion = upTo(3) == 0 ? 1000 : 1 + upTo(40), size = upTo(60);
        FakeSource<TypeParam> source(content, portion), plainSource(content, portion);
        source.availableNow = plainSource.availableNow = upTo(1);
        typename TypeParam::BufferedSource buffered(&source, size);
        typename TypeParam::FilterSource filter(&buffered); // forwards all of it
        PlainBuffer<TypeParam> plain(plainSource, size);
        for (int step = 0; step < 40; ++step) {
            const int32_t length = upTo(3) == 0 ? size + upTo(2) : 1 + upTo(70);
            const char kind = ".rsmxa"[upTo(5)];
            const auto operation =
                kind + std::to_string(kind == 'm' ? length - 2 : std::max(length, 1));
            ASSERT_EQ(played<typename TypeParam::Unit>(filter, operation),
                      played<typename TypeParam::Unit>(plain, operation));
            ASSERT_EQ(source.requests, plainSource.requests);
        }
    }
}

TYPED_TEST(Streams, ADerivedBufferSeesEverySingleRead) {
    struct Watching : TypeParam::BufferedSource {
        Watching() : TypeParam::BufferedSource(new FakeSource<TypeParam>("xyz"), 16) {}
        int read() override { return 'a'; }
    } watching;
    watching.skip(1); // fills the buffer
    EXPECT_EQ(watching.next(), 'a');
}

TYPED_TEST(Streams, BufferedSinkWritesInTheDocumentedPortions) {
    using Unit = typename TypeParam::Unit;
    std::mt19937 random(7);
    for (int round = 0; round < 400; ++round) {
        FakeSink<TypeParam> sink;
        const auto units = unitsOf<Unit>(distinctText(50 * 60));
        auto next = units.begin();
        const auto size = static_cast<int32_t>(random() % 50), capacity = std::max(size, 16);
        typename TypeParam::BufferedSink unfiltered(&sink, size);
        typename TypeParam::FilterSink buffered(&unfiltered);
        std::vector<int32_t> writes;
        int32_t pending = 0;
        const auto drain = [&] {
            if (pending > 0)
                writes.push_back(std::exchange(pending, 0));
        };
        for (int step = 0; step < 50; ++step) {
            const bool isSingle = random() % 3 == 0;
            const auto length = isSingle ? 1 : static_cast<int32_t>(random() % 60);
            isSingle ? buffered.write(*next) : buffered.write(&*next, length);
            next += length;
            if (pending + length > capacity || length >= capacity)
                drain();
            pending += length;
            if (length >= capacity)
                drain();
            ASSERT_EQ(sink.writes, writes) << round;
        }
        EXPECT_EQ(sink.flushes, 0);
        buffered.flush();
        drain();
        ASSERT_EQ(sink.writes, writes) << round;
        ASSERT_EQ(sink.content, Units<Unit>(units.begin(), next)) << round;
        EXPECT_EQ(sink.flushes, 1);
    }
}

/// Expects that what the sink writes to @p out while it takes the beginning comes behind that.
template <class Unit>
void expectLateBehind(auto& sink, auto&& out) {
    const std::string expected = distinctText(18) + distinctText(18) + distinctText(18); // ASCII
    const auto text = unitsOf<Unit>(expected);
    size_t written = 20;
    sink.meanwhile = [&] {
        while (written < text.size())
            out.write(text[written++]);
        out.flush();
    };
    out.write(text.data(), 20);
    const int32_t failure = failureOf([&] { out.flush(); });
    EXPECT_EQ(failure < 0, sink.failing);
    sink.failing = false;
    out.flush();
    EXPECT_EQ(textOf(sink.content), expected);
}

TYPED_TEST(Streams, BufferedSinkPassesOnOnceWhatItsSinkWritesMeanwhile) {
    for (const bool fails : {false, true}) {
        FakeSink<TypeParam> sink;
        sink.failing = fails;
        expectLateBehind<typename TypeParam::Unit>(sink,
                                                   typename TypeParam::BufferedSink(&sink, 24));
    }
    FakeSink<Bytes> bytes;
    expectLateBehind<char16_t>(bytes, OutputStreamWriter(&bytes, u"UTF-8", 6));
}

/// Expects @p in to refuse everything once it is closed, also through a filter.
template <class Twin>
void expectClosing(typename Twin::Source* in, const std::string& operations) {
    typename Twin::FilterSource filter(in);
    filter.read();
    filter.close();
    std::istringstream each(operations);
    for (std::string operation; each >> operation;)
        EXPECT_EQ(played<typename Twin::Unit>(filter, operation), "!stream closed") << operation;
}

/// Expects likewise of @p out, with what it has not yet written dropped.
template <class Twin>
void expectClosing(typename Twin::Sink* out) {
    typename Twin::FilterSink filter(out);
    const typename Twin::Unit unit = 'x';
    filter.write(unit);
    filter.close();
    expectEach("stream closed", {[&] { filter.write(unit); }, [&] { filter.write(&unit, 1); },
                                 [&] { filter.write(&unit, 0); }, [&] { filter.flush(); }});
}

TYPED_TEST(Streams, BufferedOnesRefuseEverythingOnceClosed) {
    FakeSource<TypeParam> source("abc");
    typename TypeParam::BufferedSource in(&source, 16);
    EXPECT_TRUE(typename TypeParam::FilterSource(&in).markSupported());
    expectClosing<TypeParam>(&in, ". r1 r0 s1 a m1 x c");
    expectEach("stream closed", {[&] { in.markSupported(); }});
    FakeSink<TypeParam> sink;
    {
        typename TypeParam::BufferedSink out(&sink, 16), destroyed(&sink, 16);
        destroyed.write('x');
        expectClosing<TypeParam>(&out);
    }
    EXPECT_TRUE(sink.content.empty());
    EXPECT_EQ(source.closes + sink.closes, 2);
}

TEST(ConverterStreams, RefuseEverythingOnceClosedAndUnknownEncodings) {
    FakeSource<Bytes> source("abc");
    InputStreamReader in(&source, u"latin1");
    EXPECT_EQ(qx::String(in.getEncodingName()), u"ISO8859_1");
    EXPECT_FALSE(in.markSupported());
    expectClosing<Chars>(&in, ". r1 r0 s1 s0 a m1 x c");
    FakeSink<Bytes> sink;
    OutputStreamWriter out(&sink, u"utf_8");
    EXPECT_EQ(qx::String(out.getEncodingName()), u"UTF-8");
    expectClosing<Chars>(&out);
    expectEach("stream closed", {[&] { in.getEncodingName(); }, [&] { in.markSupported(); },
                                 [&] { out.getEncodingName(); }, [&] { out.write(qx::String()); }});
    EXPECT_TRUE(sink.content.empty());
    EXPECT_EQ(source.closes + sink.closes, 2);
    OutputStreamWriter closed(&sink, u"utf_8", 6); // by its stream
    sink.meanwhile = [&] { closed.close(); };
    expectEach("stream closed", {[&] { closed.write(u"longer than six"); }});
    InputStreamReader reader(&source, u"latin1");
    BufferedInputStream buffered(&source);
    source.meanwhile = [&] { reader.close(); };
    expectEach("stream closed", {[&] { reader.read(); }});
    source.meanwhile = [&] { buffered.close(); };
    expectEach("stream closed", {[&] { buffered.read(); }});
    source.meanwhile = [] {};
    expectEach(qx::result::UnknownEncoding,
               {[&] { InputStreamReader(&source, u"no such encoding"); },
                [&] { OutputStreamWriter(&sink, u"no such encoding"); }});
}

using Lines = std::vector<std::u16string>;

/// Lines by the plain rule: CR LF, CR and LF each end one.
Lines plainLinesOf(const std::u16string& text) {
    Lines lines;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find_first_of(u"\r\n", at), text.size());
        lines.push_back(text.substr(at, end - at));
        end += text.compare(end, 2, u"\r\n") == 0;
    }
    return lines;
}

TEST(BufferedReader, SplitsEveryTextInEveryPortion) {
    // Units are looked at eight at a time: neighbours of CR and LF, alone and as one half of a
    // unit.
    std::u16string others;
    while (others.size() < 41)
        others += u"\x0A0A\x0D0D\x0D00\x0A00\x0B\x0C\x8D";
    size_t combinations = 1;
    for (size_t length = 0; length <= 6; ++length, combinations *= 3) {
        for (size_t number = 0; number < combinations; ++number) {
            std::u16string text = others.substr(0, number % 41);
            for (size_t rest = number, end = text.size() + length; text.size() < end; rest /= 3)
                text += u"x\r\n"[rest % 3];
            text += others.substr(0, number % 10);
            for (const int32_t portion : {1, 2, 3, 100}) {
                FakeSource<Chars> source(Units<char16_t>(text.begin(), text.end()), portion);
                source.failAt = static_cast<int>(number % 16);
                BufferedReader reader(&source, portion / 2 + 16);
                Lines lines;
                std::u16string begun;
                qx::String line(u"left over");
                for (int32_t count = 0; count >= 0;) {
                    if (number % 2 == 1) {
                        reader.mark(200);
                        static_cast<void>(failureOf([&] { reader.readLine(line); }));
                        reader.reset();
                    }
                    const bool isRead = failureOf([&] { count = reader.readLine(line); }) == 0;
                    ASSERT_TRUE(!isRead || std::max(count, 0) == line.getLength());
                    begun += line.view();
                    if (isRead && (count >= 0 || !begun.empty()))
                        lines.push_back(std::exchange(begun, {}));
                }
                ASSERT_EQ(lines, plainLinesOf(text)) << testing::PrintToString(text);
            }
        }
    }
}

TEST(BufferedReader, GoesBackInFrontOfALineEndThatAFailureCutInTwo) {
    FakeSource<Chars> source(std::string("ab\r\ncd"), 3);
    source.failAt = 2;
    BufferedReader reader(&source, 16);
    reader.mark(16);
    qx::String line;
    EXPECT_EQ(reader.readLine(line), 2);
    reader.reset();
    EXPECT_EQ(played<char16_t>(reader, "r9 r9 r9 r9"), "3:ab\r !broken source 3:\ncd -1");
}

TEST(BufferedReader, WaitsForNoMoreInputThanTheLineNeeds) {
    // A source with more to come would block in a further read. One look behind CR has to be.
    const std::pair<const char*, size_t> textsAndRequests[] = {
        {"a\n", 1}, {"a\r\n", 1}, {"a\rb", 1}, {"a\r", 2}};
    for (const auto& [text, requests] : textsAndRequests) {
        FakeSource<Chars> source{std::string(text)};
        BufferedReader reader(&source, 16);
        qx::String line;
        EXPECT_EQ(reader.readLine(line), 1);
        EXPECT_EQ(source.requests.size(), requests) << testing::PrintToString(text);
        reader.close();
        expectEach("stream closed", {[&] { reader.readLine(line); }});
    }
}

const std::u16string Mixed = u"a\u00E9\u20AC\U0001F600z\U0010FFFF";

TEST(InputStreamReader, DecodesWhateverThePortionsAndSizes) {
    const std::tuple<const char16_t*, std::string, std::u16string> cases[] = {
        {u"UTF-8", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z\xF4\x8F\xBF\xBF", Mixed},
        {u"UTF-16LE", std::string("a\0\xE9\0\xAC\x20\x3D\xD8\x00\xDEz\0\xFF\xDB\xFF\xDF", 16),
         Mixed},
        {u"AMP-7", "a&_E9;&_20AC;&_1F600;z&AMP;&_FFFFE;", u"a\u00E9\u20AC\U0001F600z&\U000FFFFE"},
        {u"CP1252", "a\xE9\x80", u"a\u00E9\u20AC"},
        // What the end of input cuts off: one replacement for each byte that is left over.
        {u"UTF-8", "a\xE2\x82", u"a\uFFFD\uFFFD"},
        {u"UTF-8", "\xE2\xC3", u"\uFFFD\uFFFD"},
        {u"UTF-32LE", std::string("a\0\0\0b\0", 6), u"a\uFFFD\uFFFD"},
        // After a replacement the rest is tried again.
        {u"AMP-7", "x&_1F", u"x\uFFFD_1F"},
        {u"UTF-8", "", u""},
    };
    for (const auto& [encoding, bytes, expected] : cases) {
        for (const int32_t portion : {1, 2, 3, 5, 100}) {
            for (const int32_t size : {1, 7, 8, 64}) {
                for (const int32_t length : {1, 2, 3, 4, 5, 100}) {
                    SCOPED_TRACE(testing::Message() << bytes << ": " << portion << ", size " << size
                                                    << ", length " << length);
                    for (const bool isBuffered : {false, true}) {
                        FakeSource<Bytes> in(bytes, portion);
                        in.availableNow = length % 2;
                        InputStreamReader reader(&in, encoding, size);
                        BufferedReader buffered(&reader, 16);
                        std::u16string text;
                        while (readBlock<char16_t>(
                            isBuffered ? static_cast<Reader&>(buffered) : reader, length, text)) {
                        }
                        ASSERT_EQ(text, expected);
                        const size_t requests = in.requests.size();
                        ASSERT_EQ(reader.read(), -1);
                        ASSERT_EQ(in.requests.size(), requests) << "asked again behind the end";
                    }
                }
            }
        }
    }
}

TEST(InputStreamReader, AsksItsStreamInTheDocumentedPortions) {
    const std::tuple<std::string, int32_t, int32_t, std::string, std::string, std::vector<int32_t>>
        cases[] = {
            // bytes, portion, available; operations and what they give; requests
            {"abcdefghij", 100, 0, "r4", "4:abcd", {10}},           // whole buffers are read
            {"abcdefghijkl", 100, 0, "r20", "10:abcdefghij", {10}}, // rather short than blocking
            {"abcdefghijkl", 100, 1, "r20", "12:abcdefghijkl", {10, 10, 10}},
            {"ab", 1, 0, "r2", "1:a", {10}},                   //
            {"a\xC3\xA9", 2, 0, "r2", "1:a", {10}},            // half a character waits
            {"\xC3\xA9", 1, 0, "r2", "1:\xE9", {10, 9}},       // read behind the first half
            {"\xE2\x82\xA3", 1, 1, ".", "8355", {10, 9, 8}},   //
            {"\xE2\x82", 100, 0, "r2", "2:\xFD\xFD", {10, 8}}, // the end
            {"\xE2\x82\xA3\xE2\x82", 100, 1, "r5", "3:\xA3\xFD\xFD", {10, 8}}, // behind a character
            // A character is taken apart only when it has to be.
            {"a\xF0\x9F\x98\x80", 100, 0, "r2 . . r4", "1:a 55357 56832 -1", {10, 10}},
            {"a\xF0\x9F\x98\x80", 100, 1, "r2 . . r4", "1:a 55357 56832 -1", {10, 10}},
            // What is available is estimated from below.
            {"abcdefghijklmn", 100, 8, "a . a", "1 97 2", {10}},
        };
    for (const auto& [bytes, portion, available, operations, result, requests] : cases) {
        SCOPED_TRACE(bytes + " " + operations);
        FakeSource<Bytes> in(bytes, portion);
        in.availableNow = available;
        InputStreamReader reader(&in, u"UTF-8", 10);
        EXPECT_EQ(played<char16_t>(reader, operations), result);
        EXPECT_EQ(in.requests, requests);
    }
}

TEST(OutputStreamWriter, EncodesWhateverThePortionsAndSizes) {
    const std::u16string text = u"a\u00E9\u20AC\U0001F600z&\U000FFFFD\xD83D\xD83Dz\xD83D";
    for (const char16_t* const encoding :
         {u"UTF-8", u"UTF-16LE", u"UTF-32BE", u"AMP-7", u"CP437", u"ASCII"}) {
        signed char bytes[512]; // from the string's own conversion
        const int32_t length =
            qx::String(text).toWellFormed().getBytes(bytes, sizeof bytes, encoding);
        for (const int32_t size : {1, 7, 8, 20, 1000}) {
            // Portions of 1, 2, 3 units also cut surrogate pairs in two.
            for (size_t portion = 1; portion <= text.size(); ++portion) {
                SCOPED_TRACE(testing::Message() << qx::String(encoding).toUtf8() << ": size "
                                                << size << ", portion " << portion);
                FakeSink<Bytes> out;
                OutputStreamWriter writer(&out, encoding, size);
                writer.setReplaceHalves(true);
                for (size_t i = 0; i <= text.size(); i += portion)
                    writer.write(qx::String(text.substr(i, portion)));
                writer.flush();
                ASSERT_EQ(out.content, Units<signed char>(bytes, bytes + length));
                ASSERT_EQ(out.flushes, 1);
            }
        }
    }
}

TEST(OutputStreamWriter, WritesInTheDocumentedPortions) {
    using Writes = std::vector<int32_t>; // before the flush and at it
    const std::tuple<std::u16string_view, int32_t, Writes, Writes> cases[] = {
        {u"abcdefghijklmn", 4, {6, 6}, {2}},  // raised to 6
        {u"abcdef", 6, {6}, {}},              // full
        {u"abcde", 6, {}, {5}},               // waits
        {u"abcd\u20ACxy", 6, {4}, {5}},       // no room for three bytes behind four
        {u"\u20AC\u20AC\u20AC", 7, {6}, {3}}, //
        {u"", 6, {}, {}},                     //
        {u"a\xD83D", 9, {1}, {}},             // pending bytes in front of half a character
    };
    for (const auto& [text, size, writes, flushed] : cases) {
        SCOPED_TRACE(qx::String(text));
        FakeSink<Bytes> out;
        OutputStreamWriter writer(&out, u"UTF-8", size);
        for (const char16_t unit : text)
            writer.write(unit);
        EXPECT_EQ(std::exchange(out.writes, {}), writes);
        descriptionOf([&] { writer.flush(); });
        EXPECT_EQ(out.writes, flushed);
    }
}

TYPED_TEST(Streams, CopiesToTheEndWhatCameBeforeAFailureToo) {
    const std::string content(50'000, 'x');
    FakeSource<TypeParam> source(content, 10'000);
    source.failAt = 4;
    FakeSink<TypeParam> sink;
    EXPECT_THROW(copy(&source, &sink), IoException);
    EXPECT_EQ(copy(source, sink), 20'000);
    EXPECT_EQ(textOf(sink.content), content);
}

TYPED_TEST(Streams, SkipReadsInBlocksOf256UntilTheEnd) {
    FakeSource<TypeParam> source(std::string(700, 'x'));
    EXPECT_EQ(played<typename TypeParam::Unit>(source, "s0 s-1 s300 s1000"), "0 0 300 400");
    EXPECT_EQ(source.requests, (std::vector<int32_t>{256, 44, 256, 256, 256}));
}

TYPED_TEST(Streams, SingleUnitsGoThroughTheBlockFormAndMarksAreNotSupported) {
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

TYPED_TEST(Streams, WrappersRefuseNullAndLetGo) {
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
struct Boaster : Twin::Source {
    int32_t read(typename Twin::Unit*, int32_t length) override { return length + 1; }
};

TYPED_TEST(Streams, WhatASourceClaimsBeyondTheMemoryItWasGivenIsAnError) {
    Boaster<TypeParam> boaster;
    Boaster<Bytes> bytes;
    typename TypeParam::Unit units[32];
    // A buffer that is compiled outside the library.
    BufferedSource<Boaster<TypeParam>, typename TypeParam::Unit> buffered(&boaster, 16);
    signed char place[8];
    ByteBuffer buffer(8, QX_ENDIAN_LITTLE, false);
    expectEach<IoException>({[&] { boaster.skip(10); }, [&] { buffered.read(); },
                             [&] { buffered.read(units, 32); }, [&] { buffered.skip(1); },
                             [&] { buffer.readFrom(&bytes); },
                             [&] { DataInputStream(&bytes).readFully(place, 8); },
                             [&] { static_cast<void>(readAll(bytes)); },
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
    const auto expectLikeStrings = [](auto... values) {
        (expectPrinted(values, qx::String::valueOf(values).toUtf8()), ...);
    };
    expectLikeStrings(u'u', 1e100, 0.1f, INT_MIN, LONG_MIN, UINT_MAX, ULONG_MAX, LLONG_MAX,
                      ULLONG_MAX, true, false);
}

/// Tells what reaches it apart.
struct NotingWriter : Writer {
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
