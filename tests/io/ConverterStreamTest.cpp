#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;

namespace {

const std::u16string Mixed = u"a\u00E9\u20AC\U0001F600z\U0010FFFF";

TEST(InputStreamReader, DecodesWhateverThePortionsAndSizes) {
    const struct {
        const char16_t* encoding;
        std::string bytes;
        std::u16string text;
    } cases[] = {
        {u"UTF-8", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z\xF4\x8F\xBF\xBF", Mixed},
        {u"UTF-16LE", std::string("a\0\xE9\0\xAC\x20\x3D\xD8\x00\xDEz\0\xFF\xDB\xFF\xDF", 16),
         Mixed},
        {u"AMP-7", "a&_E9;&_20AC;&_1F600;z&AMP;&_FFFFE;", u"a\u00E9\u20AC\U0001F600z&\U000FFFFE"},
        {u"CP1252", "a\xE9\x80", u"a\u00E9\u20AC"},
        // What the end of input cuts off: one replacement for each byte that is left over.
        {u"UTF-8", "a\xE2\x82", u"a\uFFFD\uFFFD"},
        {u"UTF-8", "\xF0\x9F\x98", u"\uFFFD\uFFFD\uFFFD"},
        {u"UTF-8", "\xE2\xC3", u"\uFFFD\uFFFD"},
        {u"UTF-32LE", std::string("a\0\0\0b\0", 6), u"a\uFFFD\uFFFD"},
        // After a replacement the rest is tried again.
        {u"AMP-7", "x&_1F", u"x\uFFFD_1F"},
        {u"UTF-8", "", u""},
    };
    for (const auto& c : cases) {
        for (const int32_t portion : {1, 2, 3, 5, 100}) {
            for (const int32_t size : {1, 7, 8, 64}) {
                for (const int32_t length : {1, 2, 3, 4, 5, 100}) {
                    SCOPED_TRACE(testing::Message() << (&c - cases) << ": " << portion << ", size "
                                                    << size << ", length " << length);
                    for (const bool isBuffered : {false, true}) {
                        FakeSource<Bytes> in(c.bytes, portion);
                        in.availableNow = length % 2;
                        InputStreamReader reader(&in, c.encoding, size);
                        BufferedReader buffered(&reader, 16);
                        std::u16string text;
                        while (readBlock<char16_t>(
                            isBuffered ? static_cast<Reader&>(buffered) : reader, length, text)) {
                        }
                        ASSERT_EQ(text, c.text);
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
    const struct {
        std::string bytes;
        int32_t portion, available;
        std::string operations, played;
        std::vector<int32_t> requests;
    } cases[] = {
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
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        FakeSource<Bytes> in(c.bytes, c.portion);
        in.availableNow = c.available;
        InputStreamReader reader(&in, u"UTF-8", 10);
        EXPECT_EQ(played<char16_t>(reader, c.operations), c.played);
        EXPECT_EQ(in.requests, c.requests);
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
    const struct {
        const char16_t* text;
        int32_t size;
        std::vector<int32_t> writes; // before the flush
        std::vector<int32_t> flushed;
    } cases[] = {
        {u"abcdefghijklmn", 4, {6, 6}, {2}},  // raised to 6
        {u"abcdef", 6, {6}, {}},              // full
        {u"abcde", 6, {}, {5}},               // waits
        {u"abcd\u20ACxy", 6, {4}, {5}},       // no room for three bytes behind four
        {u"\u20AC\u20AC\u20AC", 7, {6}, {3}}, //
        {u"", 6, {}, {}},                     //
        {u"a\xD83D", 9, {1}, {}},             // pending bytes in front of half a character
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        FakeSink<Bytes> out;
        OutputStreamWriter writer(&out, u"UTF-8", c.size);
        for (const char16_t unit : std::u16string_view(c.text))
            writer.write(unit);
        EXPECT_EQ(out.writes, c.writes);
        out.writes.clear();
        descriptionOf([&] { writer.flush(); });
        EXPECT_EQ(out.writes, c.flushed);
    }
}

} // namespace
