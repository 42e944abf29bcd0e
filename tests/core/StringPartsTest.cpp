#include <climits>
#include <cmath>
#include <cstdio>
#include <random>

#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;

namespace {

/// A text of few different units, so that parts of it meet often.
std::u16string randomText(std::u16string_view alphabet, size_t longest) {
    static std::mt19937 random(3);
    std::u16string text(random() % (longest + 1), u'\0');
    for (char16_t& unit : text)
        unit = alphabet[random() % alphabet.size()];
    return text;
}

struct Named {
    String toString() const { return String(u"named"); }
};

} // namespace

TEST(StringParts, SplitJoinAndReplaceFindTheSameSeparators) {
    for (int i = 0; i < 3'000; ++i) {
        const String text(randomText(u"ab,", 12)), with(randomText(u"a,", 3));
        const String separator(u',' + String(randomText(u"ab,", 1)));
        const auto parts = text.split(separator);
        ASSERT_EQ(String::join(separator, parts), text);
        ASSERT_EQ(String(text).replaceAll(separator, with), String::join(with, parts));
        const auto few = text.split(separator, 2);
        ASSERT_EQ(parts.size() > 1, text.contains(separator));
        ASSERT_EQ(few.size(), std::min<size_t>(parts.size(), 2));
        ASSERT_EQ(String::join(separator, few), text);
        ASSERT_EQ(few[0], text.substring(0, text.indexOf(separator)));
    }
    String text(u"a-b");
    EXPECT_EQ(text.replaceAll(TextView(text).substr(1, 1), text), u"aa-bb"); // its own text
    EXPECT_EQ(text.replaceAll(u"", u"x"), u"aa-bb");
    EXPECT_THROW(static_cast<void>(text.split(u"")), RangeErrorException);
    EXPECT_EQ(String::join(u", ", {text, u"b"}), u"aa-bb, b");
    EXPECT_EQ(String::join(u"", std::vector<std::string>{"a", "\xC3\xA4"}), u"a\u00E4");
}

TEST(StringParts, NumbersAreTheWholeTextOrNone) {
    const struct {
        const char16_t* text;
        std::optional<int64_t> value;
        int32_t radix = 10;
    } cases[] = {
        // clang-format off
        {u"-0", 0}, {u"+12", 12}, {u"007", 7}, {u"-2147483648", INT_MIN}, {u"2147483648", 1LL << 31},
        {u"7F", 127, 16}, {u"-zZ", -1295, 36}, {u"9223372036854775807", LLONG_MAX},
        {u"", {}}, {u"-", {}}, {u"+-1", {}}, {u"--1", {}}, {u" 1", {}}, {u"1 ", {}}, {u"1.0", {}},
        {u"0x1", {}, 16}, {u"12", {}, 2}, {u"1\u0661", {}}, {u"9223372036854775808", {}},
        // clang-format on
    };
    for (const auto& [text, value, radix] : cases) {
        EXPECT_EQ(String(text).toInt64(radix), value) << String(text);
        const bool isSmall = value && *value >= INT_MIN && *value <= INT_MAX;
        EXPECT_EQ(String(text).toInt(radix).has_value(), isSmall);
    }
    EXPECT_EQ(String(u"1\0", 2).toInt(), std::nullopt);
    EXPECT_THROW(static_cast<void>(String(u"1").toInt(37)), RangeErrorException);
    for (const auto* const text : {u"", u" 1", u"1 ", u"1e", u"x", u"-", u"1,5", u"1e999"})
        EXPECT_EQ(String(text).toDouble(), std::nullopt) << String(text);
    EXPECT_EQ(String(u"-.5e1").toDouble(), -5);
    EXPECT_EQ(String(u"-inf").toDouble(), -INFINITY);
    EXPECT_EQ(String(u"1e-999").toDouble(), 0);

    EXPECT_EQ(qxtest::descriptionOf([] { String(u"1e999").toDoubleOrThrow(); }),
              "too large for a number: \"1e999\"");
}

TEST(StringParts, TheShortestDigitsReadBack) {
    std::mt19937_64 random(5);
    for (int i = 0; i < 5'000; ++i) {
        const auto value = std::bit_cast<double>(random());
        const auto single = std::bit_cast<float>(static_cast<uint32_t>(random()));
        if (std::isnan(value) || std::isnan(single))
            continue;
        const String text = String::valueOf(single, String::SHORTEST);
        ASSERT_EQ(static_cast<float>(text.toDoubleOrThrow()), single);
        ASSERT_EQ(String::valueOf(value, String::SHORTEST).toDoubleOrThrow(), value);
    }
    for (const auto* const text :
         {u"0.1", u"100000", u"1000000000000000", u"1e+16", u"0.0001", u"1e-05", u"-0"})
        EXPECT_EQ(String::valueOf(String(text).toDoubleOrThrow(), String::SHORTEST), text);
    EXPECT_EQ(String::valueOf(-5e-324, 100).getLength(), 107);
    EXPECT_THROW(String::valueOf(1.0, 101), RangeErrorException);
}

TEST(StringParts, CodePointsAndWellFormedTextAgreeWithUtf8) {
    for (int i = 0; i < 3'000; ++i) {
        const String text(randomText(u"a\xD83D\xDE00\uFFFF", 7));
        String copy;
        bool hasHalf = false;
        for (const char32_t point : text.codePoints()) {
            copy.append(point);
            hasHalf |= point == 0xD83D || point == 0xDE00;
        }
        ASSERT_EQ(copy, text);
        ASSERT_EQ(text.isWellFormed(), !hasHalf);
        ASSERT_EQ(String(text).toWellFormed(), String::fromUtf8(text.toUtf8()));
    }
    EXPECT_THROW(String().append(char32_t{0x110000}), RangeErrorException);
}

TEST(StringParts, Utf8IsDecodedAndNamedWhereItIsMalformed) {
    for (const size_t length : {0u, 58u, 59u, 61u, 62u, 64u, 1000u}) { // around the room inside
        const std::string ascii(length, 'x');
        const std::string utf8 = ascii + "\xC3\xA4\xF0\x9F\x98\x80";
        const std::u16string units = std::u16string(length, u'x') + u"\u00E4\U0001F600";
        EXPECT_EQ((String(u"<") += utf8) + ">", u'<' + String(units) + u'>');
        const AnyText narrow(utf8), wide(std::u16string_view(units).substr(1)), plain(ascii);
        EXPECT_EQ(narrow.view(), units);
        EXPECT_EQ(std::u16string_view(narrow.terminated()), units);
        EXPECT_EQ(std::u16string_view(wide.terminated()), units.substr(1));
        EXPECT_EQ(std::u16string_view(plain.terminated()), units.substr(0, length));
        const std::string place = "malformed UTF-8 at byte " + std::to_string(length) + ": \"";
        String text(u"kept");
        for (const auto& message : {qxtest::descriptionOf([&] { String(ascii + "\xE4z"); }),
                                    qxtest::descriptionOf([&] { AnyText(ascii + "\xC3"); }),
                                    qxtest::descriptionOf([&] { text += ascii + "\xED\xA0\x80"; })})
            EXPECT_TRUE(message.starts_with(place)) << message;
        EXPECT_EQ(text, u"kept");
    }
    EXPECT_EQ(qxtest::descriptionOf([] { String(std::string_view("a\xFF")); }),
              "malformed UTF-8 at byte 1: \"a\\xFF\"");
    EXPECT_THROW(AnyText(std::string_view("a\0b", 3)).terminated(), ResultException);
    String text(u"\u00E4b");
    EXPECT_EQ(text.append(reinterpret_cast<const char*>(text.getBytes(u"UTF-8"))),
              u"\u00E4b\u00E4b");

    const int64_t before = qxtest::allocationCount();
    const AnyText few("few enough"), any(text), view(u"of any length: UTF-16 is read where it is");
    EXPECT_EQ(qxtest::allocationCount(), before);
    EXPECT_EQ(any.view().data(), text.getData());
}

TEST(Format, ShowsWhateverHasAText) {
    const auto number = makeReference<Integer32>(-7);
    const Reference<Integer32> none;
    const Object* const object = number;
    const char* const missing = nullptr;
    const std::pair<String, std::string> cases[] = {
        {String::format(u"{1}{0}{1}", true, 1.5f), "1.5true1.5"},
        {String::format(u"{0} {1} {2}", short{-3}, uint8_t{200}, ULLONG_MAX),
         "-3 200 18446744073709551615"},
        {String::format(u"{0} {1} {2}", LLONG_MIN, 1e100, 0.1), "-9223372036854775808 1e+100 0.1"},
        {String::format(u"{0}{1}", u'x', U'\U0001F600'), "x\xF0\x9F\x98\x80"},
        {String::format(u"{0} {1} {2} {3}", "na\xC3\xAFve", std::string(100, 'y'),
                        std::string_view("z\0", 1), u8"\u00e4"),
         ("na\xC3\xAFve " + std::string(100, 'y') + " z \xC3\xA4")},
        {String::format(u"[{0}{1}]", missing, 0), "[0]"},
        {String::format(u"{0} {1} {2}", std::u16string(u"a"), Str1(), 1), "a  1"},
        {String::format(u"{0} {1} {2} {3}", number, object, *number, none), "-7 -7 -7 null"},
        {String::format(u"{0} {1}", Named(), std::make_unique<Named>()), "named named"},
        {String::format(u"{{{0}}} }}{{", 5), "{5} }{"},
        {String::format(u"{10}", 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10), "10"},
        {String::format(u"{0:5}|{0:<5}|{0:05}|{0:1}", -42), "  -42|-42  |-0042|-42"},
        {String::format(u"{0:4}|{0:>4}|{1:6}", "ab", true), "ab  |  ab|true  "},
        {String::format(u"{0:x} {0:X} {0:08x} {1:x}", 0xBEEFu, -255), "beef BEEF 0000beef -ff"},
        {String::format(u"{0:.2f}|{0:9.1f}|{0:.3}|{0:.0f}|{0:010.3e}", 1234.5678),
         "1234.57|   1234.6|1.23e+03|1235|01.235e+03"},
        {String::format(u"{0:06}|{1:6}", -INFINITY, NAN), "  -inf|   nan"},
        // a layout holds for its place alone
        {String::format(u"{0:5}{0}{0:5}{1}{0:5}{2}{0:5}{3}{0:5}{4}{0:5}{5}{0:5}{6}", 7, -8, 9u,
                        true, u'c', u"d", "e"),
         "    77    7-8    79    7true    7c    7d    7e"},
        {String::format(u"{0:.1f}{0}{0:08.1f}{1}{0:.1f}{2}{3:x}{3}{3:08}{2}", 1.5, "a", number, 10),
         "1.51.5000001.5a1.5-7a1000000010-7"},
        {String::formatValues(u"{1}", {u"a", u"b"}), "b"}, // where format would count from 0
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text.toUtf8(), expected);
}

TEST(Format, DigitsAreThoseOfTheCLibrary) {
    const double special[] = {0.0,   -0.0,   999999.5,  1e6, 1e-4, 9.9999e-5,
                              1e100, 5e-324, -INFINITY, NAN, -NAN};
    const auto prints = [](auto... values) {
        return ((String::valueOf(values).toUtf8() == std::to_string(values)) && ...);
    };
    std::mt19937_64 random(7);
    long long power = -1, integer = 0; // also those around the powers of ten
    for (size_t i = 0; i < 20'000; ++i) {
        power = std::abs(power) > LLONG_MAX / 10 ? (power > 0 ? -1 : 1) : power * 10;
        integer = i % 4 == 0 ? static_cast<long long>(random()) >> (random() % 64)
                             : power + static_cast<long long>(i % 4) - 2;
        ASSERT_TRUE(prints(integer, static_cast<unsigned long long>(integer),
                           static_cast<int>(integer), static_cast<unsigned>(integer),
                           static_cast<long>(integer), static_cast<unsigned long>(integer)))
            << integer;
        const double real =
            std::ldexp(static_cast<double>(integer), static_cast<int>(random() % 90) - 45);
        const double any = i < std::size(special) ? special[i] : std::bit_cast<double>(random());
        char text[512];
        std::snprintf(text, sizeof text, "%012lld %18.3f %-14.4e| %llx %.9g %g", integer, real,
                      real, static_cast<unsigned long long>(integer), real, any);
        ASSERT_EQ(String::format(u"{0:012} {1:18.3f} {1:<14.4e}| {2:x} {1:.9} {3}", integer, real,
                                 static_cast<uint64_t>(integer), any)
                      .toUtf8(),
                  text);
        ASSERT_TRUE(std::string(text).ends_with(' ' + String::valueOf(any).toUtf8()));
    }
    EXPECT_EQ(String(u"n=").append(-5).append(u' ').append(5u).append(7L).append(8LL).append(9ULL),
              u"n=-5 5789");
    EXPECT_EQ(String(u"b=").append(true).append(1.5), u"b=true1.5");
    EXPECT_EQ(String::valueOf(u'x') + String::valueOf(false), u"xfalse");
}

TEST(Format, WhatCannotBeMeantNamesThePatternAndThePlace) {
    const std::pair<const char16_t*, const char*> cases[] = {
        {u"{99999999999}", "at position 0: there is no argument 4294967295"},
        {u"{} of {}", "at position 1: the number of an argument expected"},
        {u"{0", "at position 2: \"}\" expected"},
        {u"{0:5xx}", "at position 5: \"}\" expected"},
        {u"a}b", "at position 1: a single \"}\""},
        {u"{0:d}", "at position 3: neither"},
        {u"{0:10001}", "at position 3: more units than 10000"},
        {u"{1:.}", "at position 4: the number of digits expected"},
        {u"{1:.101}", "at position 4: more digits than 100"},
        {u"{0:.2}", "at position 0: only a float or a double"},
        {u"{0:f}", "at position 0: the argument is an integer"},
        {u"{1:x}", "at position 0: the argument is no integer"},
    };
    for (const auto& [pattern, why] : cases) {
        const auto format = [&] { static_cast<void>(String::format(pattern, 1, 2.5)); };
        const String message = u"bad format pattern \"" + String(pattern) + u"\" " + why;
        EXPECT_TRUE(qxtest::descriptionOf(format).starts_with(message.toUtf8())) << message;
    }
    EXPECT_THROW(static_cast<void>(String::format(u"{0:05}", "text")), Exception);
    EXPECT_THROW(static_cast<void>(String::format(u"{0:x}", true)), Exception);
    EXPECT_THROW(static_cast<void>(String::format(u"{0}", "\xFF")),
                 text::charset::InvalidCharacterException);
}
