#include <random>
#include <sstream>

// The wide scan has no public name and is compared with a plain one here.
#include <qx/io/detail/LineEnd.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;

namespace {

/// Text of units that are all different over a long way, whose upper half is negative as a byte.
std::string distinctText(int length) {
    std::string text;
    for (int i = 0; i < length; ++i)
        text.push_back(static_cast<char>(i * 7));
    return text;
}

template <class Twin>
class BufferedStream : public testing::Test {};
using Twins = testing::Types<Bytes, Chars>;
TYPED_TEST_SUITE(BufferedStream, Twins);

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

TYPED_TEST(BufferedStream, SourceFollowsAPlainBufferDownToTheReadsOfItsSource) {
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

TYPED_TEST(BufferedStream, ADerivedSourceSeesEverySingleRead) {
    struct Watching : TypeParam::BufferedSource {
        Watching() : TypeParam::BufferedSource(new FakeSource<TypeParam>("xyz"), 16) {}
        int read() override { return 'a'; }
    } watching;
    watching.skip(1); // fills the buffer
    EXPECT_EQ(watching.next(), 'a');
}

TYPED_TEST(BufferedStream, SinkWritesInTheDocumentedPortions) {
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

TYPED_TEST(BufferedStream, RefusesEverythingOnceClosed) {
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
    expectClosing<Chars>(&in, ". r1 r0 s1 a c");
    FakeSink<Bytes> sink;
    OutputStreamWriter out(&sink, u"utf_8");
    EXPECT_EQ(qx::String(out.getEncodingName()), u"UTF-8");
    expectClosing<Chars>(&out);
    expectEach("stream closed", {[&] { in.getEncodingName(); }, [&] { out.getEncodingName(); },
                                 [&] { out.write(qx::String()); }, [&] { out.close(); }});
    EXPECT_TRUE(sink.content.empty());
    EXPECT_EQ(source.closes + sink.closes, 2);
    expectEach(qx::result::UnknownEncoding,
               {[&] { InputStreamReader(&source, u"no such encoding"); },
                [&] { OutputStreamWriter(&sink, u"no such encoding"); }});
}

using Lines = std::vector<std::string>;

/// Lines by the plain rule: CR LF, CR and LF each end one.
Lines plainLinesOf(std::string text) {
    for (size_t at = 0; (at = text.find('\r', at)) != text.npos; ++at)
        text.replace(at, text.compare(at, 2, "\r\n") == 0 ? 2 : 1, "\n");
    std::istringstream rest(text);
    Lines lines;
    for (std::string line; std::getline(rest, line);)
        lines.push_back(line);
    return lines;
}

TEST(BufferedReader, SplitsEveryShortTextInEveryPortion) {
    constexpr int MaxLength = 6;
    int combinations = 1;
    for (int length = 0; length <= MaxLength; ++length, combinations *= 3) {
        for (int number = 0; number < combinations; ++number) {
            std::string text;
            for (int rest = number, i = 0; i < length; ++i, rest /= 3)
                text += "x\r\n"[rest % 3];
            for (const int32_t portion : {1, 2, 3, 100}) {
                FakeSource<Chars> source(text, portion);
                BufferedReader reader(&source, 16);
                Lines lines;
                qx::String line(u"left over");
                for (int32_t count; (count = reader.readLine(line)) >= 0;) {
                    ASSERT_EQ(count, line.getLength());
                    lines.push_back(line.toUtf8());
                }
                ASSERT_TRUE(line.isEmpty());
                ASSERT_EQ(lines, plainLinesOf(text)) << testing::PrintToString(text);
            }
        }
    }
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

TEST(LineEnd, WideScanFindsWhatThePlainOneFinds) {
    constexpr int32_t MaxLength = 40;
    // Neighbours of CR and LF, alone and as one half of a unit.
    constexpr char16_t Others[] = {0x0A0A, 0x0D0D, 0x0D00, 0x0A00, 0x0B, 0x0C, 0x8D};
    char16_t units[MaxLength + 8];
    for (int32_t offset = 0; offset < 8; ++offset) {
        for (int32_t length = 0; length <= MaxLength; ++length) {
            for (int32_t position = 0; position <= length; ++position) {
                for (const char16_t end : {u'\r', u'\n'}) {
                    for (int32_t i = 0; i < length; ++i)
                        units[offset + i] = i == position + 1 ? u'\n' : Others[i % 7];
                    if (position < length)
                        units[offset + position] = end;
                    ASSERT_EQ(qx::io::detail::findLineEnd(units + offset, length), position);
                }
            }
        }
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
    const std::u16string text = u"a\u00E9\u20AC\U0001F600z&\U000FFFFD";
    for (const char16_t* const encoding :
         {u"UTF-8", u"UTF-16LE", u"UTF-32BE", u"AMP-7", u"CP437", u"ASCII"}) {
        signed char bytes[512]; // from the string's own conversion
        const int32_t length = qx::String(text).getBytes(bytes, sizeof bytes, encoding);
        for (const int32_t size : {1, 7, 8, 20, 1000}) {
            // Portions of 1, 2, 3 units also cut surrogate pairs in two.
            for (size_t portion = 1; portion <= text.size(); ++portion) {
                SCOPED_TRACE(testing::Message() << qx::String(encoding).toUtf8() << ": size "
                                                << size << ", portion " << portion);
                FakeSink<Bytes> out;
                OutputStreamWriter writer(&out, encoding, size);
                for (size_t i = 0; i < text.size(); i += portion)
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

} // namespace
