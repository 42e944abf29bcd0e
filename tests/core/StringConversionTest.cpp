// Strings made of bytes and of values, and the other way round.

#include <bit>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/util/buffer/MTBuffer.h>
#include <qx/util/buffer/RWBuffer.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;
using qxtest::failureOf;
using namespace std::string_literals;

namespace {

constexpr const char16_t* Utf8 = u"UTF-8";

std::string bytesOf(const String& text, const char16_t* encoding) {
    return reinterpret_cast<const char*>(text.getBytes(encoding));
}

String decoded(const std::string& bytes, const char16_t* encoding) {
    return String(bytes.data(), static_cast<int32_t>(bytes.size()), encoding);
}

String formatted(const char16_t* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    const String text = String::formatv(pattern, arguments);
    va_end(arguments);
    return text;
}

std::string printed(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

template <class... Whole>
bool printAsDecimal(Whole... values) {
    return ((String::valueOf(values).toUtf8() == std::to_string(values)) && ...);
}

} // namespace

TEST(StringBytes, DecodesAndEncodesInTheNamedEncoding) {
    std::string emoji;
    std::u16string pairs;
    for (int i = 0; i < 1000; ++i)
        emoji += "\xF0\x9F\x98\x80", pairs += u"\U0001F600";
    const struct {
        const char16_t* encoding;
        std::string bytes;
        std::u16string text;
    } cases[] = {
        {u"UTF-8", "", u""},
        {u"UTF-8", "a\xC3\xA4\xE4\xB8\x80\xF0\x9F\x98\x80", u"a\u00E4\u4E00\U0001F600"},
        {u"latin1", "\xE4\xFF", u"\u00E4\u00FF"},
        {u"CP437", "\x84", u"\u00E4"},
        {u"UTF-16BE", "\0a\x4E\x01"s, u"a\u4E01"},
        {u"UTF-32LE", "\0\xF6\1\0"s, u"\U0001F600"},
        {u"UTF-8", emoji, pairs},
        {u"AMP-7", "&_4E00;&_4E01;", u"\u4E00\u4E01"}, // the longest forms
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(String(c.encoding));
        const auto length = static_cast<int32_t>(c.bytes.size());
        const String text = decoded(c.bytes, c.encoding);
        EXPECT_EQ(text, c.text);
        EXPECT_EQ(text.getData()[text.getLength()], u'\0');
        EXPECT_EQ(String().setTo(c.bytes.data(), length, c.encoding, 500), c.text);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(text.getBytes(c.encoding)),
                              c.bytes.size() + 1),
                  c.bytes + '\0');
        util::RWByteBuffer buffer;
        text.getBytes(&buffer, c.encoding);
        EXPECT_EQ(buffer.getLength(), length);
        std::string array(c.bytes.size() + 1, '\0');
        EXPECT_EQ(text.getBytes(array.data(), length + 1, c.encoding), length);
        EXPECT_EQ(array, c.bytes + '\0');
    }
    EXPECT_EQ(decoded(std::string(1000, '\xFF'), Utf8), String(u'\uFFFD', 1000));
    EXPECT_EQ(decoded("abc\xF0\x9F\x98", Utf8), u"abc"); // what the end cuts off is left out
    const unsigned char unsignedBytes[] = {'x', 'y', 0, 'z'};
    EXPECT_EQ(String(unsignedBytes, -1, Utf8), u"xy"); // up to the first 0 byte
    EXPECT_EQ(String(unsignedBytes, 4, Utf8).getLength(), 4);
    EXPECT_EQ(String(static_cast<const char*>(nullptr), 5, Utf8), u"");
    EXPECT_EQ(String("", -1, Utf8, 50), u"");
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
    text.getWriteLock(5)[0] = u'C';
    text.releaseWriteLock(5);
    EXPECT_EQ(bytesOf(text, u"latin1"), "Caf\xE9");
    text = String(u"moved in");
    EXPECT_EQ(bytesOf(text, u"latin1"), "moved in");
    EXPECT_EQ(std::string(text.getDataT<char>()), "moved in"); // the default encoding
    EXPECT_EQ(text.getReadLockT<char16_t>()[0], u'm');
}

TEST(StringBytes, ReportsWhatCannotBeDone) {
    const String text(u"\u00E4\u00F6\u00FC");
    EXPECT_THROW(text.getBytes(u"no such encoding"), text::charset::UnknownEncodingException);
    EXPECT_EQ(failureOf([] { decoded("x", u"no such encoding"); }), result::UnknownEncoding);
    signed char bytes[5];
    for (const int32_t size : {5, 0})
        EXPECT_EQ(failureOf([&] { text.getBytes(bytes, size, Utf8); }), result::BufferTooSmall);

    // A failing conversion leaves string, cache and buffer as they were, and no lock held.
    const String half(u"x\xD800");
    util::MTByteBuffer buffer(reinterpret_cast<const signed char*>("old"), 3);
    for (const char16_t* encoding : {Utf8, u"AMP-7"}) {
        EXPECT_EQ(failureOf([&] { half.getBytes(encoding); }), result::InvalidCharacter);
        EXPECT_EQ(failureOf([&] { half.getBytes(&buffer, encoding); }), result::InvalidCharacter);
        EXPECT_EQ(failureOf([&] { half.getBytes(bytes, 5, encoding); }), result::InvalidCharacter);
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
    const std::pair<std::string, std::u16string> cases[] = {
        {"a\0b"s, u"a\0b"s},
        {"\xEF\xBF\xBD", u"\xD800"},                       // half a pair
        {"a\xEF\xBF\xBD\xEF\xBF\xBDz", u"a\xDC00\xD800z"}, // a pair the wrong way round
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(String(text).toUtf8(), bytes);
        EXPECT_EQ((std::ostringstream() << String(text)).str(), bytes);
    }
    const std::pair<std::string, std::u16string> others[] = {
        {"a\0\xC3\xA4\xF0\x9F\x98\x80"s, u"a\0\u00E4\U0001F600"s},
        {"a\xC0\x80z", u"a\uFFFD\uFFFDz"}, // over-long
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xF0\x9F\x98z", u"\uFFFDz"}, // one for the maximal subpart
        {"z\xF0\x9F\x98", u"z\uFFFD"}, // also at the end
    };
    for (const auto& [bytes, text] : others)
        EXPECT_EQ(String::fromUtf8(bytes), text);
}

TEST(StringFormat, ReplacesNumberedPlaces) {
    EXPECT_EQ(String::format(u"{0} and {1}", u"a", u"b"), u"a and b");
    EXPECT_EQ(String::format(u"{1} and {0}", String(u"a"), std::u16string_view(u"b")), u"b and a");
    EXPECT_EQ(String::format(u"{0}{0}{0}", u"ab"), u"ababab");
    EXPECT_EQ(String::format(u"{1}", u"a", u"b"), u"{1}");           // 0 does not occur
    EXPECT_EQ(String::format(u"{0}{2}", u"a", u"b", u"c"), u"a{2}"); // nor does 1
    EXPECT_EQ(String::format(u"{0}{1}", u"{1}", u"{0}"), u"{1}{0}"); // not searched again
    EXPECT_EQ(String::format(u"{0}{1}", u"a"), u"a{1}");             // no argument
    EXPECT_EQ(String::format(u"{0"), u"{0");
    EXPECT_EQ(String::format(u"{{0}} {00} { 0}", u"a"), u"{a} {00} { 0}");
    EXPECT_EQ(String::format(u"", u"a"), u"");
    EXPECT_EQ(String::format(u"{0}", static_cast<const char16_t*>(nullptr)), u"");
    EXPECT_EQ(String::format(u"{0}{1}{2}{3}{4}{5}{6}{7}{8}{9}{10}{11}", u"a", u"b", u"c", u"d",
                             u"e", u"f", u"g", u"h", u"i", u"j", u"k", u"l"),
              u"abcdefghijkl");
    EXPECT_EQ(formatted(u"{1}-{0}-{1}", u"a", u"b"), u"b-a-b");
    EXPECT_EQ(formatted(u"no places"), u"no places");
}

TEST(StringFormat, NumbersPrintAsTheyDoInTheCLocale) {
    const auto check = [](long long value) {
        const auto bits = static_cast<unsigned long long>(value);
        EXPECT_TRUE(printAsDecimal(value, bits, static_cast<int>(value),
                                   static_cast<unsigned>(value), static_cast<long>(value),
                                   static_cast<unsigned long>(value)))
            << value;
    };
    for (long long power = 1; power < LLONG_MAX / 10; power *= 10) {
        for (const long long near : {power - 1, power, power + 1})
            check(near), check(-near);
    }
    for (const long long limit : {LLONG_MIN, LLONG_MAX, 0LL + INT_MIN, 0LL + INT_MAX})
        check(limit);
    for (const double value : std::initializer_list<double>{
             0.0, -0.0, 999999.5, 1e6, 1e-4, 9.9999e-5, 1e100, 5e-324, -INFINITY, NAN, -NAN})
        EXPECT_EQ(String::valueOf(value).toUtf8(), printed(value));
    EXPECT_EQ(String::valueOf(0.1f), u"0.1");
    std::mt19937_64 random(1);
    for (int i = 0; i < 20'000; ++i) {
        const auto value = std::bit_cast<double>(random());
        ASSERT_EQ(String::valueOf(value).toUtf8(), printed(value));
    }
    EXPECT_EQ(String(u"n=").append(-5).append(u' ').append(5u).append(7L).append(8LL).append(9ULL),
              u"n=-5 5789");
    EXPECT_EQ(String(u"b=").append(true).append(1.5), u"b=true1.5");
    EXPECT_EQ(String::valueOf(u'x'), u"x");
    EXPECT_EQ(String::valueOf(false), u"false");
}
