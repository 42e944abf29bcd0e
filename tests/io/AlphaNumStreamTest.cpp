#include <random>

#include <gtest/gtest.h>

#include <qx/core/Result.h>
#include <qx/io/AlphaNumInputStream.h>
#include <qx/io/AlphaNumOutputStream.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/text/charset/EncodingException.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FakeStreams.h"
#include "tests/support/PlainBits.h"

using namespace qxtest;
using namespace std::string_literals;
using qx::io::AlphaNumInputStream;
using qx::io::AlphaNumOutputStream;

namespace {

using Sink = FakeSink<Bytes>;
using Source = FakeSource<Bytes>;

constexpr char16_t Backwards[] = u"98765432ZYXWVUTSRQPNMLKJHGFEDCBA";

/// All that comes from @p in, read in pieces of @p piece bytes.
std::string drained(AlphaNumInputStream& in, int32_t piece) {
    std::string all, bytes(static_cast<size_t>(piece), '\0');
    for (int32_t count; (count = in.read(bytes.data(), piece)) >= 0;)
        all += bytes.substr(0, static_cast<size_t>(count));
    return all;
}

std::string decoded(const std::string& text, const char16_t* alphabet = nullptr) {
    AlphaNumInputStream in(new Source(text), alphabet);
    return drained(in, 64);
}

TEST(AlphaNumStreams, TurnBytesIntoText) {
    const struct {
        std::string bytes;
        std::string text;
        std::string back; // one byte more, unless the text is made of whole groups
    } cases[] = {
        {"", "", ""},
        {std::string(5, '\0'), "AAAAAAAA", std::string(5, '\0')},
        {"\xFF", "96", "\xFF\0"s},
        {"\x01\x02", "AEBA", "\x01\x02\0"s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto sink = qx::makeReference<Sink>();
        AlphaNumOutputStream out(sink.get());
        for (const char byte : c.bytes)
            out.write(&byte, 1);
        out.flush();
        EXPECT_EQ(textOf(sink->content), c.text);
        EXPECT_EQ(decoded(textOf(sink->content)), c.back);
    }
}

TEST(AlphaNumOutputStream, WritesACharacterAsSoonAsItIsKnown) {
    const auto sink = qx::makeReference<Sink>();
    AlphaNumOutputStream out(sink.get());
    for (const size_t characters : {1u, 3u, 4u, 6u, 8u, 9u}) {
        out.write("", 1);
        EXPECT_EQ(sink->content.size(), characters);
    }
    sink->failing = true;
    EXPECT_THROW(out.write("\xFF\xFF", 2), qx::io::IoException);
    EXPECT_THROW(out.flush(), qx::io::IoException);
    sink->failing = false;
    out.flush();
    out.write("\xFF", 1); // starts a new group
    EXPECT_EQ(textOf(sink->content), "AAAAAAAAAA9");
    EXPECT_EQ(sink->flushes, 1);
}

TEST(AlphaNumInputStream, RefusesOtherCharactersAndGoesOnBehindThem) {
    for (const char* const text : {"AAa9A6", "AA\n9A6",
                                   "AA\xC1"
                                   "9A6"}) {
        SCOPED_TRACE(text);
        AlphaNumInputStream in(new Source(text));
        char byte = 'x';
        EXPECT_EQ(in.read(&byte, 1), 1);
        EXPECT_EQ(byte, '\0');
        EXPECT_EQ(descriptionOf([&] { in.read(&byte, 1); }), "Invalid AlphaNum character");
        EXPECT_EQ(drained(in, 3), "\x3E\x0E\0"s); // 00 11111 00000 11100, and zero bits
    }
    EXPECT_THROW(decoded("0"), qx::text::charset::InvalidCharacterException);
}

TEST(AlphaNumInputStream, CountsBytesNotCharacters) {
    const auto source = qx::makeReference<Source>("AAAAAAAA96AA");
    source->availableNow = 12;
    AlphaNumInputStream in(new qx::io::BufferedInputStream(source.get()));
    EXPECT_EQ(AlphaNumInputStream(source.get()).available(), 7);
    EXPECT_EQ(in.skip(5), 5);
    EXPECT_EQ(drained(in, 2), "\xFF\0\0"s);
    EXPECT_EQ(in.skip(1), 0);
    signed char none;
    EXPECT_EQ(in.read(&none, 0), -1);
}

TEST(AlphaNumStreams, LeaveSingleBytesMarksAndResetToTheText) {
    const auto sink = qx::makeReference<Sink>();
    AlphaNumOutputStream out(sink.get());
    out.write("\xFF", 1);
    out.write(static_cast<signed char>('\n')); // does not disturb the group
    out.flush();
    EXPECT_EQ(textOf(sink->content), "9\n6");
    AlphaNumInputStream in(new qx::io::BufferedInputStream(new Source("9\n66")));
    EXPECT_EQ(in.read(), '9');
    EXPECT_EQ(in.read(), '\n');
    in.mark(2);
    EXPECT_EQ(in.read(), '6');
    in.reset();
    EXPECT_EQ(drained(in, 2), decoded("66"));
}

TEST(AlphaNumStreams, TakeAnyAlphabetOf32AsciiCharacters) {
    const std::u16string latin = u"\u00E9" + std::u16string(Backwards).substr(1);
    for (const auto& bad :
         {std::u16string(), std::u16string(31, u'A'), std::u16string(33, u'A'), latin}) {
        expectThrowsResult(qx::result::InvalidArgument,
                           [&] { AlphaNumInputStream(new Source(""), bad.c_str()); });
        expectThrowsResult(qx::result::InvalidArgument,
                           [&] { AlphaNumOutputStream(new Sink(), bad.c_str()); });
    }
    EXPECT_EQ(decoded("AJ", Backwards), "\xFD\xC0"s);
}

TEST(AlphaNumStreams, DoAsPlainBitsDo) {
    std::mt19937 random(1);
    const std::u16string_view backwards(Backwards);
    const std::string symbols(backwards.begin(), backwards.end());
    for (size_t length = 0; length < 1000; length += length < 20 ? 1 : 97) {
        SCOPED_TRACE(length);
        std::string bytes(length, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        const auto sink = qx::makeReference<Sink>();
        AlphaNumOutputStream out(sink.get(), Backwards);
        for (size_t at = 0; at < length;) {
            const size_t piece = std::min<size_t>(random() % 700, length - at);
            out.write(bytes.data() + at, static_cast<int32_t>(piece));
            at += piece;
        }
        out.flush();
        const std::string text = textOf(sink->content);
        EXPECT_EQ(text, plainAlphaNum(bytes, symbols));
        AlphaNumInputStream in(new Source(text), Backwards);
        EXPECT_EQ(drained(in, static_cast<int32_t>(random() % 50 + 1)),
                  plainFromAlphaNum(text, symbols));
    }
}

} // namespace
