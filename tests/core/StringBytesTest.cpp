#include <array>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/platform/result.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/util/buffer/MTBuffer.h>
#include <qx/util/buffer/RWBuffer.h>

#include "tests/support/FailingAllocator.h"

using namespace qx;

namespace {

constexpr const char16_t* Utf8 = u"UTF-8";

std::string bytesOf(const String& text, const char16_t* encoding) {
    return reinterpret_cast<const char*>(text.getBytes(encoding));
}

} // namespace

TEST(StringBytes, DecodesAndEncodesInTheNamedEncoding) {
    const struct {
        const char16_t* encoding;
        std::string bytes;
        const char16_t* text;
    } cases[] = {
        {u"UTF-8", "", u""},
        {u"UTF-8", "a\xC3\xA4\xE4\xB8\x80\xF0\x9F\x98\x80", u"a\u00E4\u4E00\U0001F600"},
        {u"latin1", "\xE4\xFF", u"\u00E4\u00FF"},
        {u"CP437", "\x84", u"\u00E4"},
        {u"UTF-16BE", std::string("\0a\x4E\x01", 4), u"a\u4E01"},
        {u"UTF-32LE", std::string("\0\xF6\1\0", 4), u"\U0001F600"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(String(c.encoding));
        const auto length = static_cast<int32_t>(c.bytes.size());
        const String text(c.bytes.data(), length, c.encoding);
        EXPECT_EQ(text, c.text);
        EXPECT_EQ(text.getData()[text.getLength()], u'\0');
        EXPECT_EQ(String().setTo(c.bytes.data(), length, c.encoding, 500), c.text);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(text.getBytes(c.encoding)),
                              c.bytes.size() + 1),
                  c.bytes + '\0');
        util::RWByteBuffer buffer;
        text.getBytes(&buffer, c.encoding);
        EXPECT_EQ(buffer.getLength(), length);
        std::array<char, 64> array;
        EXPECT_EQ(text.getBytes(array.data(), 64, c.encoding), length);
        EXPECT_EQ(std::string(array.data(), c.bytes.size()), c.bytes);
    }
    const unsigned char unsignedBytes[] = {'x', 'y', 0, 'z'};
    EXPECT_EQ(String(unsignedBytes, -1, Utf8), u"xy"); // up to the first 0 byte
    EXPECT_EQ(String(unsignedBytes, 4, Utf8).getLength(), 4);
    EXPECT_EQ(String(static_cast<const char*>(nullptr), 5, Utf8), u"");
    EXPECT_EQ(String("", -1, Utf8, 50), u"");
}

TEST(StringBytes, ManyUnitsForFewBytesAndTheOtherWayRoundFit) {
    std::string emoji;
    for (int i = 0; i < 1000; ++i)
        emoji += "\xF0\x9F\x98\x80";
    const String text(emoji.data(), static_cast<int32_t>(emoji.size()), Utf8);
    EXPECT_EQ(text.getLength(), 2000);
    EXPECT_EQ(bytesOf(text, Utf8), emoji);
    const std::string broken(1000, '\xFF'); // one U+FFFD each
    EXPECT_EQ(String(broken.data(), 1000, Utf8), String(u'\uFFFD', 1000));
    const std::string cut = "abc\xF0\x9F\x98"; // what the end cuts off is left out
    EXPECT_EQ(String(cut.data(), static_cast<int32_t>(cut.size()), Utf8), u"abc");
    const String escaped(u'\u4E00', 500); // the encoding with the longest forms
    EXPECT_EQ(String(escaped.getBytes(u"AMP-7"), -1, u"AMP-7"), escaped);
}

TEST(StringBytes, RenderingIsKeptUntilTheTextOrTheEncodingChanges) {
    String text(u"caf\u00E9");
    const signed char* const utf8 = text.getBytes(Utf8);
    const int64_t before = qxtest::allocationCount();
    EXPECT_EQ(text.getBytes(u"utf-8"), utf8); // the name but for the case of ASCII letters
    EXPECT_EQ(text.getBytesReadLock(Utf8), utf8);
    EXPECT_EQ(qxtest::allocationCount(), before);
    EXPECT_EQ(bytesOf(text, u"UTF8"), "caf\xC3\xA9"); // another name: rendered anew
    EXPECT_EQ(bytesOf(text, u"latin1"), "caf\xE9");
    text.append(u'!');
    EXPECT_EQ(bytesOf(text, u"latin1"), "caf\xE9!");
    text.getWriteLock(5)[0] = u'C';
    text.releaseWriteLock(5);
    EXPECT_EQ(bytesOf(text, u"latin1"), "Caf\xE9!");
    text.clear();
    EXPECT_EQ(bytesOf(text, u"latin1"), "");
    const String copy(text);
    text = String(u"moved in");
    EXPECT_EQ(bytesOf(text, Utf8), "moved in");
    text.setAddRef(copy);
    EXPECT_EQ(bytesOf(text, Utf8), "");
    EXPECT_EQ(std::string(String(u"plain").getDataT<char>()), "plain"); // the default encoding
    EXPECT_EQ(String(u"plain").getReadLockT<char16_t>()[0], u'p');
}

TEST(StringBytes, ReportsWhatCannotBeDone) {
    const String text(u"\u00E4\u00F6\u00FC");
    EXPECT_THROW(text.getBytes(u"no such encoding"), text::charset::UnknownEncodingException);
    EXPECT_THROW(String("x", 1, u"no such encoding"), text::charset::UnknownEncodingException);
    signed char bytes[5];
    const auto fits = [&](int32_t size) {
        return resultOf([&] { text.getBytes(bytes, size, Utf8); });
    };
    EXPECT_EQ(fits(5), result::BufferTooSmall);
    EXPECT_EQ(fits(0), result::BufferTooSmall);

    // A failing conversion leaves string, cache and buffer as they were, and no lock held.
    const String half(u"x\xD800");
    util::MTByteBuffer buffer(reinterpret_cast<const signed char*>("old"), 3);
    for (const char16_t* encoding : {Utf8, u"AMP-7"}) {
        using text::charset::InvalidCharacterException;
        EXPECT_THROW(half.getBytes(encoding), InvalidCharacterException);
        EXPECT_THROW(half.getBytes(&buffer, encoding), InvalidCharacterException);
        EXPECT_THROW(half.getBytes(bytes, 5, encoding), InvalidCharacterException);
    }
    EXPECT_THROW(half.getBytes(static_cast<IQXByteBuffer*>(nullptr), Utf8), ResultException);
    EXPECT_EQ(buffer.getLength(), 3);
    buffer.getWriteLock(1);
    buffer.releaseWriteLock(-1);
    String kept(u"kept");
    EXPECT_THROW(kept.setTo("\xED\xA0\x80", 3, Utf8), Exception); // a surrogate in three bytes
    EXPECT_EQ(kept, u"kept");
}

TEST(StringBytes, Utf8OfStandardStringsReplacesWhatIsMalformed) {
    const struct {
        std::string bytes;
        std::u16string text;
    } cases[] = {
        {"", u""},
        {"a\xC3\xA4\xE4\xB8\x80\xF0\x9F\x98\x80", u"a\u00E4\u4E00\U0001F600"},
        {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
        {"\xEF\xBF\xBD", u"\xD800"},                       // half a pair
        {"a\xEF\xBF\xBD\xEF\xBF\xBDz", u"a\xDC00\xD800z"}, // a pair the wrong way round
    };
    for (const auto& c : cases) {
        EXPECT_EQ(String(c.text).toUtf8(), c.bytes);
        std::ostringstream out;
        out << String(c.text);
        EXPECT_EQ(out.str(), c.bytes);
    }
    EXPECT_EQ(String::fromUtf8(cases[1].bytes), cases[1].text);
    EXPECT_EQ(String::fromUtf8(cases[2].bytes), cases[2].text);
    EXPECT_EQ(String::fromUtf8("a\xC0\x80z"), u"a\uFFFD\uFFFDz"); // over-long
    EXPECT_EQ(String::fromUtf8("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(String::fromUtf8("\xF0\x9F\x98z"), u"\uFFFDz"); // one for the maximal subpart
    EXPECT_EQ(String::fromUtf8("z\xF0\x9F\x98"), u"z\uFFFD"); // also at the end
}
