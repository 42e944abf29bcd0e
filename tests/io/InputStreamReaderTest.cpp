#include <functional>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/InputStreamReader.h>
#include <qx/platform/result.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::io::InputStreamReader;

namespace {

/// Everything that block reads of @p length units deliver.
std::u16string readAll(qx::io::Reader& reader, int32_t length) {
    std::u16string text, part(static_cast<size_t>(length), u'\0');
    int32_t count;
    while ((count = reader.read(part.data(), length)) >= 0)
        text.append(part, 0, static_cast<size_t>(count));
    return text;
}

struct Encoded {
    const char16_t* encoding;
    std::string bytes;
    std::u16string text;
};

const std::u16string Mixed = u"a\u00E9\u20AC\U0001F600z\U0010FFFF";

const Encoded EncodedTexts[] = {
    {u"UTF-8", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z\xF4\x8F\xBF\xBF", Mixed},
    {u"UTF-16LE", std::string("a\0\xE9\0\xAC\x20\x3D\xD8\x00\xDEz\0\xFF\xDB\xFF\xDF", 16), Mixed},
    {u"UTF-32BE", std::string("\0\0\0a\0\0\0\xE9\0\0\x20\xAC\0\1\xF6\0\0\0\0z\0\x10\xFF\xFF", 24),
     Mixed},
    {u"AMP-7", "a&_E9;&_20AC;&_1F600;z&AMP;&_FFFFE;", u"a\u00E9\u20AC\U0001F600z&\U000FFFFE"},
    {u"CP1252", "a\xE9\x80", u"a\u00E9\u20AC"},
    // What the end of input cuts off: one replacement for each byte that is left over.
    {u"UTF-8", "a\xE2\x82", u"a\uFFFD\uFFFD"},
    {u"UTF-8", "\xF0\x9F\x98", u"\uFFFD\uFFFD\uFFFD"},
    {u"UTF-8", "a\xC3", u"a\uFFFD"},
    {u"UTF-8", "\xE2\xC3", u"\uFFFD\uFFFD"},
    {u"UTF-16LE", std::string("a\0b", 3), u"a\uFFFD"},
    {u"UTF-32LE", std::string("a\0\0\0b\0", 6), u"a\uFFFD\uFFFD"},
    // After a replacement the rest is tried again.
    {u"AMP-7", "x&_1F", u"x\uFFFD_1F"},
    {u"UTF-8", "", u""},
};

TEST(InputStreamReader, DecodesWhateverThePortionsAndSizes) {
    for (const auto& c : EncodedTexts) {
        for (const int32_t portion : {1, 2, 3, 5, 100}) {
            for (const int32_t size : {1, 7, 8, 64}) {
                for (const int32_t length : {1, 2, 3, 4, 5, 100}) {
                    for (const int32_t available : {0, 1}) {
                        SCOPED_TRACE(testing::Message()
                                     << (&c - EncodedTexts) << ": portion " << portion << ", size "
                                     << size << ", length " << length);
                        FakeSource<Bytes> in(c.bytes, portion);
                        in.availableNow = available;
                        InputStreamReader reader(&in, c.encoding, size);
                        ASSERT_EQ(readAll(reader, length), c.text);
                        ASSERT_EQ(reader.read(), -1);
                    }
                }
            }
        }
    }
}

TEST(InputStreamReader, DecodesUnitByUnitAndThroughABuffer) {
    for (const auto& c : EncodedTexts) {
        FakeSource<Bytes> in(c.bytes, 3), again(c.bytes, 3);
        InputStreamReader reader(&in, c.encoding);
        std::u16string text;
        for (int unit; (unit = reader.read()) >= 0;)
            text += static_cast<char16_t>(unit);
        EXPECT_EQ(text, c.text);

        InputStreamReader inner(&again, c.encoding);
        qx::io::BufferedReader buffered(&inner, 16);
        EXPECT_EQ(readAll(buffered, 5), c.text);
    }
}

TEST(InputStreamReader, TakesACharacterApartOnlyWhenItHasTo) {
    const std::string bytes = "a\xF0\x9F\x98\x80";
    char16_t units[4];
    for (const int32_t available : {0, 1}) {
        FakeSource<Bytes> in(bytes);
        in.availableNow = available;
        InputStreamReader reader(&in, u"UTF-8");
        EXPECT_EQ(reader.read(units, 2), 1);
        EXPECT_EQ(reader.read(units, 1), 1);
        EXPECT_EQ(units[0], 0xD83D);
        EXPECT_EQ(reader.read(units, 4), 1);
        EXPECT_EQ(units[0], 0xDE00);
        EXPECT_EQ(reader.read(units, 4), -1);
    }
}

TEST(InputStreamReader, NeedsNoInputForACharacterThatIsComplete) {
    FakeSource<Bytes> in(std::string("\xF0\x9F\x98\x80"));
    InputStreamReader reader(&in, u"UTF-8");
    EXPECT_EQ(reader.read(), 0xD83D);
    EXPECT_EQ(reader.read(), 0xDE00);
    EXPECT_EQ(in.requests.size(), 1u);
}

TEST(InputStreamReader, AsksItsStreamInTheDocumentedPortions) {
    struct Case {
        std::string bytes;
        int32_t portion;
        int32_t available;
        int32_t length;
        int32_t delivered;
        std::vector<int32_t> requests;
    };
    const Case cases[] = {
        {"abcdefghij", 100, 0, 4, 4, {10}},     // whole buffers are read
        {"abcdefghijkl", 100, 0, 20, 10, {10}}, // rather short than blocking
        {"abcdefghijkl", 100, 1, 20, 12, {10, 10, 10}},
        {"ab", 1, 0, 2, 1, {10}},                        //
        {"a\xC3\xA9", 2, 0, 2, 1, {10}},                 // half a character waits
        {"\xC3\xA9", 1, 0, 2, 1, {10, 9}},               // read behind the first half
        {"\xE2\x82\xAC", 1, 1, 1, 1, {10, 9, 8}},        //
        {"\xE2\x82", 100, 0, 2, 2, {10, 8}},             // the end
        {"\xE2\x82\xAC\xE2\x82", 100, 1, 5, 3, {10, 8}}, // the end behind a character
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        FakeSource<Bytes> in(c.bytes, c.portion);
        in.availableNow = c.available;
        InputStreamReader reader(&in, u"UTF-8", 10);
        char16_t units[32];
        EXPECT_EQ(reader.read(units, c.length), c.delivered);
        EXPECT_EQ(in.requests, c.requests);
    }
}

TEST(InputStreamReader, RemembersTheEndOfInput) {
    FakeSource<Bytes> in(std::string("a"));
    InputStreamReader reader(&in, u"UTF-8");
    EXPECT_EQ(reader.read(), 'a');
    EXPECT_EQ(reader.read(), -1);
    const size_t requests = in.requests.size();
    EXPECT_EQ(reader.read(), -1);
    EXPECT_EQ(in.requests.size(), requests);
}

TEST(InputStreamReader, EstimatesWhatIsAvailableFromBelow) {
    FakeSource<Bytes> in(std::string(14, 'x'));
    InputStreamReader reader(&in, u"UTF-8");
    in.availableNow = 17;
    EXPECT_EQ(reader.available(), 17 / 6);
    reader.read();
    EXPECT_EQ(reader.available(), (17 + 13) / 6);
}

TEST(InputStreamReader, RefusesEverythingOnceClosed) {
    FakeSource<Bytes> in(std::string("abc"));
    InputStreamReader reader(&in, u"latin1");
    EXPECT_EQ(qx::String(reader.getEncodingName()), u"ISO8859_1");
    EXPECT_FALSE(reader.markSupported());
    reader.read();
    reader.close();
    EXPECT_EQ(in.closes, 1);
    char16_t unit;
    const std::function<void()> operations[] = {
        [&] { reader.read(); },      [&] { reader.read(&unit, 1); },
        [&] { reader.skip(1); },     [&] { reader.read(&unit, 0); },
        [&] { reader.available(); }, [&] { reader.getEncodingName(); },
        [&] { reader.close(); },
    };
    for (const auto& operation : operations)
        EXPECT_EQ(descriptionOf(operation), "stream closed") << &operation - operations;
    EXPECT_EQ(in.closes, 1);
    EXPECT_EQ(failureOf([&] { InputStreamReader(&in, u"no such encoding"); }),
              qx::result::UnknownEncoding);
}

} // namespace
