#include <functional>
#include <random>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/platform/result.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::io::OutputStreamWriter;

namespace {

const std::u16string Mixed = u"a\u00E9\u20AC\U0001F600z&\U0010FFFD";
const std::u16string NoLastPlane = u"a\u00E9\u20AC\U0001F600z&\U000FFFFD";

/// The bytes of @p text from the string's own conversion.
std::string encoded(const std::u16string& text, const char16_t* encoding) {
    signed char bytes[512];
    const int32_t length =
        qx::String(text).getBytes(bytes, static_cast<int32_t>(sizeof bytes), encoding);
    return {reinterpret_cast<const char*>(bytes), static_cast<size_t>(length)};
}

TEST(OutputStreamWriter, EncodesWhateverThePortionsAndSizes) {
    const struct {
        const char16_t* encoding;
        const std::u16string& text;
    } cases[] = {
        {u"UTF-8", Mixed},    {u"UTF-16LE", Mixed},    {u"UTF-16BE", Mixed}, {u"UTF-32LE", Mixed},
        {u"UTF-32BE", Mixed}, {u"AMP-7", NoLastPlane}, {u"CP437", Mixed},    {u"ASCII", Mixed},
    };
    for (const auto& c : cases) {
        const std::string bytes = encoded(c.text, c.encoding);
        for (const int32_t size : {1, 7, 8, 20, 1000}) {
            // Portions of 1, 2, 3 units also cut surrogate pairs in two.
            for (size_t portion = 1; portion <= c.text.size(); ++portion) {
                SCOPED_TRACE(testing::Message()
                             << (&c - cases) << ": size " << size << ", portion " << portion);
                FakeSink<Bytes> out;
                OutputStreamWriter writer(&out, c.encoding, size);
                for (size_t i = 0; i < c.text.size(); i += portion) {
                    const std::u16string part = c.text.substr(i, portion);
                    writer.write(part.data(), static_cast<int32_t>(part.size()));
                }
                writer.flush();
                ASSERT_EQ(textOf(out.content), bytes);
                ASSERT_EQ(out.flushes, 1);
            }
        }
    }
}

TEST(OutputStreamWriter, WritesInTheDocumentedPortions) {
    struct Case {
        const char16_t* text;
        int32_t size;
        std::vector<int32_t> writes; // before the flush
        std::vector<int32_t> flushed;
    };
    const Case cases[] = {
        {u"abcdefghijklmn", 4, {6, 6}, {2}},  // raised to 6
        {u"abcdef", 6, {6}, {}},              // full
        {u"abcde", 6, {}, {5}},               // waits
        {u"abcd\u20ACxy", 6, {4}, {5}},       // no room for three bytes behind four
        {u"\u20AC\u20AC\u20AC", 7, {6}, {3}}, //
        {u"", 6, {}, {}},                     //
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        FakeSink<Bytes> out;
        OutputStreamWriter writer(&out, u"UTF-8", c.size);
        writer.write(c.text);
        EXPECT_EQ(out.writes, c.writes);
        out.writes.clear();
        writer.flush();
        EXPECT_EQ(out.writes, c.flushed);
    }
}

TEST(OutputStreamWriter, WritesPendingBytesInFrontOfHalfACharacter) {
    FakeSink<Bytes> out;
    OutputStreamWriter writer(&out, u"UTF-8");
    writer.write(u'a');
    EXPECT_TRUE(out.writes.empty());
    writer.write(u'\xD83D'); // consumed without a byte
    EXPECT_EQ(out.writes, (std::vector<int32_t>{1}));
    writer.write(u'\xDE00');
    writer.flush();
    EXPECT_EQ(textOf(out.content), "a\xF0\x9F\x98\x80");
}

TEST(OutputStreamWriter, DropsPendingBytesOnCloseAndRefusesEverythingAfterIt) {
    FakeSink<Bytes> out;
    OutputStreamWriter writer(&out, u"utf_8");
    EXPECT_EQ(qx::String(writer.getEncodingName()), u"UTF-8");
    writer.write(u"abc");
    writer.close();
    EXPECT_TRUE(out.content.empty());
    EXPECT_EQ(out.closes, 1);
    const std::function<void()> operations[] = {
        [&] { writer.write(u"a"); },         [&] { writer.write(u'a'); },
        [&] { writer.write(qx::String()); }, [&] { writer.flush(); },
        [&] { writer.getEncodingName(); },   [&] { writer.close(); },
    };
    for (const auto& operation : operations)
        EXPECT_EQ(descriptionOf(operation), "stream closed") << &operation - operations;
    EXPECT_EQ(failureOf([&] { OutputStreamWriter(&out, u"no such encoding"); }),
              qx::result::UnknownEncoding);
}

} // namespace
